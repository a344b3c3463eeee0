#pragma once

namespace orvik {

/// Which backups a clean-up keeps; zero or less is no limit of that kind.
struct RetentionPolicy {
  int keepCount = 0;  ///< so many newest ones
  int keepDays = 0;   ///< those that finished within so many days
  bool operator==(const RetentionPolicy&) const = default;
};

}  // namespace orvik
