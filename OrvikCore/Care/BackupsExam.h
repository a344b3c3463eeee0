#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "OrvikCore/Care/CareProgress.h"
#include "OrvikCore/Care/Finding.h"
#include "OrvikCore/Care/StoreExam.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "OrvikCore/Store/References.h"
#include "Platform/Date.h"

namespace orvik {

/// What the backups and interrupted runs of a folder refer to, and what they lack.
struct BackupsExam {
  std::vector<Finding> findings;
  NameSet objects;         ///< all that backups and runs refer to
  NameSet files;           ///< the same of package files
  bool isComplete = true;  ///< no index or journal line was left out of these

  /// Who needs what the store's exam found bad; not what nobody needs.
  std::map<ObjectKey, Need> needs;
  std::map<ObjectKey, Need> fileNeeds;
  KeySet missing;  ///< objects that backups refer to and that are nowhere

  std::size_t backups = 0;  ///< finished ones that can be read
  std::size_t indexes = 0;  ///< that could be read
  std::size_t sealed = 0;   ///< indexes that nobody could look into
};

/// Reads every manifest, and every index once, newest backups first, a few at a time. What an interrupted run
/// refers to may be missing: it is looked for when the run is taken up. Takes no lock: a backup that is
/// deleted meanwhile is passed over, and what seems to be missing while packs change is looked for again.
/// Throws `platform::CancellationError`.
BackupsExam examineBackups(const BackupRepository& repository, const std::optional<BackupCipher>& cipher,
                           const StoreExam& store, platform::Date now, const CareProgress& progress,
                           const std::stop_token& stop = {});

}  // namespace orvik
