#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "OrvikCore/Format/SectionSummary.h"
#include "OrvikCore/Jamf/SectionCatalog.h"
#include "OrvikCore/Store/CleanupResult.h"

namespace orvik {

/// What a run tells its host while it goes on.
namespace BackupEvents {

/// Once, before the first section.
struct Started {
  std::string backupID;
  bool resumed = false;
  std::optional<std::string> parentBackupID;
  std::vector<SectionDefinition> sections;  ///< in run order
};
/// Ahead of each section that is read.
struct SectionStarted {
  SectionDefinition section;
};
/// `done` of `total` objects of a section are behind it.
struct SectionProgress {
  std::string id;
  std::size_t done = 0;
  std::size_t total = 0;
};
/// After each section, also a skipped one.
struct SectionFinished {
  SectionSummary summary;
};
/// Before package files are fetched: the sizes of those that will be, as far as the server tells them.
struct BytesExpected {
  std::int64_t bytes = 0;
};
/// As package files arrive: the bytes of this run so far, repeated ones included.
struct BytesTransferred {
  std::int64_t bytes = 0;
};
/// Retries and remarks.
struct Note {
  std::string text;
};

/// After the backup is published, when old ones were looked for.
struct Retention {
  CleanupResult result;
};

}  // namespace BackupEvents

using BackupEvent =
    std::variant<BackupEvents::Started, BackupEvents::SectionStarted, BackupEvents::SectionProgress,
                 BackupEvents::SectionFinished, BackupEvents::BytesExpected, BackupEvents::BytesTransferred,
                 BackupEvents::Note, BackupEvents::Retention>;

/// Called from any thread of a run, also at once. Must not throw: the run would take it for a failure of what
/// it was about.
using OnBackupEvent = std::function<void(const BackupEvent&)>;

}  // namespace orvik
