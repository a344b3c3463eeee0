#include "orvik/Schedule/RunText.h"

#include <fmt/format.h>

#include <algorithm>

#include "Platform/Locale/Text.h"
#include "orvik/Output/TextTable.h"
#include "orvik/Output/Wording.h"

namespace orvik::host::runText {

namespace {

using platform::json::Value;
using platform::locale::dateText;

const InstanceConfig* instanceWith(const platform::UUID& id, const KnownInstances& known) {
  const auto found = std::ranges::find(known.all(), id, &InstanceConfig::id);
  return found == known.all().end() ? nullptr : &*found;
}

}  // namespace

std::string shortID(const ScheduledRun& run) { return run.id.text().substr(0, 8); }

std::string instanceName(const platform::UUID& id, const KnownInstances& known) {
  const auto* instance = instanceWith(id, known);
  return instance ? instance->name : fmt::format("unknown ({})", id.text());
}

std::string when(platform::Date date, platform::Date now) {
  return fmt::format("{} ({})", dateText(date),
                     date > now ? "in " + wording::distance(date - now) : "due " + wording::ago(date, now));
}

std::vector<std::string> table(const std::vector<ScheduledRun>& runs, const KnownInstances& known,
                               platform::Date now, const Paint& paint) {
  TextTable table({{"WHEN"}, {"INSTANCE"}, {"ID"}});
  for (const auto& run : runs)
    table.add({when(run.date, now), instanceName(run.instanceID, known), shortID(run)});
  return table.lines(paint);
}

Value json(const ScheduledRun& run, const KnownInstances& known, platform::Date now) {
  auto line = Value::object({{"event", "run"}, {"id", run.id.text()}, {"instanceID", run.instanceID.text()}});
  if (const auto* instance = instanceWith(run.instanceID, known)) line.set("instance", instance->name);
  return line.set("date", platform::iso8601(run.date)).set("due", run.date <= now);
}

}  // namespace orvik::host::runText
