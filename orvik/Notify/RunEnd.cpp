#include "orvik/Notify/RunEnd.h"

#include <algorithm>

#include "Platform/Host.h"
#include "orvik/Output/JSONRecord.h"
#include "orvik/Output/VisibleText.h"

namespace orvik::host {

using platform::json::Value;

bool RunEnd::isNews() const {
  if (status == ExitStatus::cancelled) return false;
  return failure || std::ranges::any_of(round, [](const RoundEntry& each) { return !each.tooSoon; });
}

std::string_view RunEnd::outcome() const {
  if (status == ExitStatus::done) return "success";
  return status == ExitStatus::warnings ? "warnings" : "failure";
}

std::string RunEnd::sentence() const {
  std::string text;
  for (const auto& entry : round) text += (text.empty() ? "" : "; ") + sentenceOf(entry);
  // What ended the run aside from its servers stands in no entry.
  const bool isTold =
      std::ranges::any_of(round, [](const RoundEntry& each) { return each.failure.has_value(); });
  if (failure && !isTold) text += (text.empty() ? "" : "; ") + failure->message;
  return oneLine(text);
}

Value RunEnd::json() const {
  Value::Array instances;
  for (const auto& entry : round) {
    auto record = recordOf(entry);
    if (entry.outcome) record.set("totals", jsonOf(entry.outcome->manifest.totals));
    instances.push_back(std::move(record));
  }
  return Value::object({{"event", "run"},
                        {"outcome", outcome()},
                        {"exit", static_cast<int>(status)},
                        {"message", sentence()},
                        {"host", platform::machineName()},
                        {"version", ORVIK_VERSION},
                        {"startedAt", platform::iso8601(startedAt)},
                        {"finishedAt", platform::iso8601(finishedAt)},
                        {"instances", Value::array(std::move(instances))}});
}

}  // namespace orvik::host
