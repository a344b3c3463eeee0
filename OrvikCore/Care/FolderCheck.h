#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <vector>

#include "OrvikCore/Care/BackupsExam.h"
#include "OrvikCore/Care/CareProgress.h"
#include "OrvikCore/Care/ContentShare.h"
#include "OrvikCore/Care/Finding.h"
#include "OrvikCore/Care/StoreExam.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Date.h"

namespace orvik {

/// What a check found of one instance folder.
struct [[nodiscard]] FolderCheck {
  std::vector<Finding> findings;  ///< records, backups, store, then what lies about
  StoreExam store;
  BackupsExam backups;

  std::size_t damage() const;  ///< findings of damage
  std::size_t warnings() const { return findings.size() - damage(); }
  /// Objects in the store: single files, and entries of packs.
  std::size_t storedObjects() const;
};

/// Looks at everything in an instance folder: records, manifests, indexes, interrupted runs, single objects,
/// packs and their indexes, package files, and what lies about. Structure, existence and lengths are always
/// looked at; of content what `reading` asks for. `cipher` opens what is sealed; without it that is looked at
/// as far as can be.
///
/// Nothing is written and no lock is taken: what another writer moves or deletes meanwhile is no finding.
/// Throws `platform::CancellationError`.
FolderCheck checkFolder(const BackupRepository& repository, const std::optional<BackupCipher>& cipher,
                        const Reading& reading, platform::Date now, const CareProgress& progress = {},
                        const std::stop_token& stop = {});

}  // namespace orvik
