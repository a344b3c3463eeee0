#include "orvik/Status/Metrics.h"

#include <fmt/format.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string_view>

#include "Platform/JSON/Codable.h"
#include "Platform/Locale/UTF8.h"

namespace orvik::host {

namespace {

using Number = std::optional<std::int64_t>;
using Status = BackupManifest::Status;

std::string escaped(std::string_view text) {
  std::string out;
  for (const char c : platform::locale::wellFormed(text)) {
    if (c == '\n') {
      out += "\\n";
      continue;
    }
    if (c == '\\' || c == '"') out += '\\';
    out += c;
  }
  return out;
}

std::int64_t secondsOf(platform::Date date) {
  return std::chrono::floor<std::chrono::seconds>(date.time_since_epoch()).count();
}

/// "instance" is what the collector calls itself.
std::string labelsOf(const InstanceState& state) {
  return fmt::format(R"(name="{}",instance_id="{}")", escaped(state.name), state.id.text());
}

class Exposition {
 public:
  /// A folder that was copied beside itself tells of the same instance; two samples of the same labels would
  /// make the whole file worthless, so the first counts.
  explicit Exposition(const std::vector<JudgedInstance>& instances) {
    std::set<std::string> seen;
    for (const auto& each : instances)
      if (auto labels = labelsOf(each.state); seen.insert(labels).second)
        instances_.push_back({&each, std::move(labels)});
  }

  void total(std::string_view name, std::string_view help, std::int64_t value) {
    head(name, help);
    text_ += fmt::format("{} {}\n", name, value);
  }

  using Value = std::function<Number(const JudgedInstance&)>;
  void each(std::string_view name, std::string_view help, const Value& value) {
    head(name, help);
    for (const auto& [instance, labels] : instances_)
      if (const auto number = value(*instance)) text_ += fmt::format("{}{{{}}} {}\n", name, labels, *number);
  }

  /// A sample for each status that a backup may have: 1 for the one that it has.
  void statuses(std::string_view name, std::string_view help) {
    head(name, help);
    for (const auto& [instance, labels] : instances_) {
      if (!instance->state.last) continue;
      for (const auto status : {Status::complete, Status::completeWithWarnings})
        text_ += fmt::format("{}{{{},status=\"{}\"}} {}\n", name, labels, platform::json::textOf(status),
                             instance->state.last->status == status ? 1 : 0);
    }
  }

  std::string text() && { return std::move(text_); }

 private:
  struct Labelled {
    const JudgedInstance* instance;
    std::string labels;
  };

  void head(std::string_view name, std::string_view help) {
    text_ += fmt::format("# HELP {0} {1}\n# TYPE {0} gauge\n", name, help);
  }

  std::vector<Labelled> instances_;
  std::string text_;
};

}  // namespace

std::string metricsText(const std::vector<JudgedInstance>& instances, platform::Date now) {
  const auto ofLast = [](const std::function<std::int64_t(const InstanceState::Backup&)>& value) {
    return [value](const JudgedInstance& each) -> Number {
      if (!each.state.last) return std::nullopt;
      return value(*each.state.last);
    };
  };
  Exposition out(instances);
  out.total("orvik_status_timestamp_seconds", "When this was found out.", secondsOf(now));
  out.total("orvik_instances", "Servers whose backups were looked at.",
            static_cast<std::int64_t>(instances.size()));
  out.each("orvik_overdue", "Whether a backup is missing or too old, or a scheduled run is late.",
           [](const auto& each) -> Number { return each.verdict.isOverdue ? 1 : 0; });
  out.each("orvik_last_backup_timestamp_seconds", "When the last finished backup ended.",
           ofLast([](const auto& last) { return secondsOf(last.finishedAt); }));
  out.each("orvik_last_backup_age_seconds", "How long ago that was when this was found out.",
           ofLast([now](const auto& last) { return secondsOf(now) - secondsOf(last.finishedAt); }));
  out.statuses("orvik_last_backup_status", "How the last finished backup ended: 1 for its status.");
  out.each("orvik_last_backup_objects", "Objects in the last finished backup.",
           ofLast([](const auto& last) { return last.objects; }));
  out.each("orvik_last_backup_warnings", "Sections that it lacks, or has in part.",
           ofLast([](const auto& last) { return last.warnings; }));
  out.each("orvik_folder_bytes", "What the folder of all backups takes on the disk.",
           [](const auto& each) { return each.state.bytes; });
  out.each("orvik_next_run_timestamp_seconds", "When the next scheduled run is due.",
           [](const auto& each) -> Number {
             if (!each.state.nextRun) return std::nullopt;
             return secondsOf(*each.state.nextRun);
           });
  return std::move(out).text();
}

}  // namespace orvik::host
