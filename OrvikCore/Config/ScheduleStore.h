#pragma once

#include <filesystem>
#include <utility>
#include <vector>

#include "Platform/Date.h"
#include "Platform/JSON/Codable.h"
#include "Platform/UUID.h"

namespace orvik {

/// A backup that somebody asked for at a moment to come.
struct ScheduledRun {
  platform::UUID id;
  platform::UUID instanceID;
  platform::Date date;

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("id", &ScheduledRun::id), field("instanceID", &ScheduledRun::instanceID),
                     field("date", &ScheduledRun::date));
  }
  bool operator==(const ScheduledRun&) const = default;
};

/// "schedule.json": a JSON array of scheduled runs. A plain value; the caller sees to it that two processes
/// don't change the file at once.
struct ScheduleStore {
  std::filesystem::path fileURL;

  explicit ScheduleStore(const std::filesystem::path& directory);

  /// By date, the earliest first; those of one moment in the file's order. Empty when the file is missing or
  /// can't be decoded.
  std::vector<ScheduledRun> load() const;
  /// Throws `platform::files::FileError`.
  void save(const std::vector<ScheduledRun>& runs) const;

  struct Partition {
    std::vector<ScheduledRun> due;
    std::vector<ScheduledRun> pending;
  };
  /// A run of this very moment is due. Both in the given order.
  static Partition partition(const std::vector<ScheduledRun>& runs, platform::Date now);
};

}  // namespace orvik
