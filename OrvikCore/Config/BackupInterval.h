#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Date.h"

namespace orvik {

/// The least time between two backups of a server, so that an administrator can keep it from being read too
/// often.
struct BackupInterval {
  /// Whether a backup may begin; when not, the last one and the moment from which one may.
  struct Decision {
    struct TooSoon {
      platform::Date last;
      platform::Date next;
      bool operator==(const TooSoon&) const = default;
    };

    std::optional<TooSoon> tooSoon;

    bool isAllowed() const { return !tooSoon; }
    bool operator==(const Decision&) const = default;
  };

  BackupInterval() = delete;

  /// No limit with fewer than one hour. An interrupted backup may always go on.
  static Decision check(const std::optional<platform::Date>& lastBackup, std::int64_t minimumHours,
                        bool hasInterrupted, platform::Date now);
  /// The same of a folder: its newest finished backup, and whether it has an unfinished run.
  static Decision check(const BackupRepository& repository, std::int64_t minimumHours, platform::Date now);

  /// "36 hours", "2 days", "1 week".
  static std::string describe(std::int64_t hours);
};

}  // namespace orvik
