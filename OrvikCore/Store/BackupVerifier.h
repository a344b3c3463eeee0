#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "OrvikCore/Store/BackupRepository.h"

namespace orvik {

/// What a verification found.
struct [[nodiscard]] VerifyResult {
  std::size_t checked = 0;   ///< objects and files
  std::size_t problems = 0;  ///< also indexes that are missing
};

/// Proves that every object and file of one backup is there and reproduces its name: reads every stored byte,
/// on all cores. Nothing is written. An object that is packed meanwhile by another process is not missed:
/// what is missing is looked for once more, a second later, before anything is told.
///
/// `onProblem` gets the sentence of each problem, in the order of the manifest and its indexes, on the
/// calling thread: "<sectionID>: index missing", "<sectionID>/<itemID>: object <hash> missing" or "corrupt",
/// "file <fileName>: <sha256> missing", "file <fileName>: corrupt".
VerifyResult verifyBackup(const BackupRepository& repository, const BackupRepository::Backup& backup,
                          const std::function<void(const std::string&)>& onProblem);

}  // namespace orvik
