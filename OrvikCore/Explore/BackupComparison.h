#pragma once

#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "OrvikCore/Explore/BackupReader.h"
#include "OrvikCore/Explore/FieldChange.h"

namespace orvik {

/// What differs between two backups of a folder, whichever they are. Only objects whose names in the store
/// differ are read.
struct BackupComparison {
  /// An object that is not the same in both.
  struct Difference {
    BackupReader::ChangeKind kind = BackupReader::ChangeKind::changed;  ///< new, changed, removed or failed
    BackupReader::Entry entry;         ///< of the later backup; of the earlier one when it was removed
    std::vector<FieldChange> changes;  ///< of a changed one; empty when only the order of something differs
  };

  struct Section {
    std::string id;
    std::string title;
    std::vector<Difference> differences;  ///< by name, in the natural order of the user's locale
    /// Why the section can't be compared: one of the backups didn't read it, or its index can't be read.
    std::optional<std::string> problem;
  };

  BackupComparison() = delete;

  using OnSection = std::function<void(Section section)>;
  /// Calls `onSection` for every section that one of the backups has and that differs or has a problem, in
  /// catalog order; for the one section alone when it is named. Both readers are of one folder. Throws
  /// `platform::CancellationError`.
  static void compare(const BackupReader& from, const BackupReader& to,
                      const std::optional<std::string>& sectionID, const OnSection& onSection,
                      const std::stop_token& stop = {});
};

}  // namespace orvik
