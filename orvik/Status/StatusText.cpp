#include "orvik/Status/StatusText.h"

#include <chrono>
#include <utility>

#include "Platform/JSON/Codable.h"
#include "Platform/Locale/Text.h"
#include "orvik/Output/TextTable.h"
#include "orvik/Output/Wording.h"
#include "orvik/Schedule/RunText.h"

namespace orvik::host::statusText {

namespace {

using platform::json::Value;

/// A number is the shorter word for what has been.
std::string ageText(platform::Date date, platform::Date now) {
  return date > now ? "ahead" : wording::distance(now - date);
}

}  // namespace

std::vector<std::string> table(const std::vector<JudgedInstance>& instances, platform::Date now,
                               const Paint& paint) {
  using Align = TextTable::Align;
  TextTable table({{"INSTANCE"},
                   {"STATE"},
                   {"LAST BACKUP"},
                   {"AGE", Align::right},
                   {"ID"},
                   {"SIZE", Align::right},
                   {"NEXT RUN"}});
  for (const auto& [state, verdict] : instances) {
    const auto& last = state.last;
    const auto word = verdict.isOverdue ? "overdue" : verdict.troubles.empty() ? "good" : "trouble";
    table.add({state.name, word, last ? platform::locale::dateText(last->finishedAt) : "none",
               last ? ageText(last->finishedAt, now) : "", last ? last->id : "",
               state.bytes ? platform::locale::byteCount(*state.bytes) : "",
               state.nextRun ? runText::when(*state.nextRun, now) : ""});
    const auto ink = verdict.isOverdue ? Paint::Ink::bad : Paint::Ink::warning;
    for (const auto& trouble : verdict.troubles) table.remark(trouble.text, ink);
  }
  return table.lines(paint);
}

Value json(const JudgedInstance& instance, platform::Date now) {
  const auto& [state, verdict] = instance;
  auto line = Value::object({{"event", "instance"},
                             {"instance", state.name},
                             {"instanceID", state.id.text()},
                             {"folder", state.folder.string()}});
  if (state.last) {
    const auto age = std::chrono::floor<std::chrono::seconds>(now - state.last->finishedAt);
    line.set("backup", state.last->id)
        .set("finishedAt", platform::iso8601(state.last->finishedAt))
        .set("status", platform::json::textOf(state.last->status))
        .set("ageSeconds", static_cast<std::int64_t>(age.count()));
  }
  if (state.nextRun) line.set("nextRun", platform::iso8601(*state.nextRun));
  if (state.bytes) line.set("bytes", *state.bytes);
  Value::Array troubles;
  for (const auto& trouble : verdict.troubles)
    troubles.push_back(Value::object({{"kind", trouble.kind}, {"text", trouble.text}}));
  return line.set("overdue", verdict.isOverdue).set("troubles", std::move(troubles));
}

}  // namespace orvik::host::statusText
