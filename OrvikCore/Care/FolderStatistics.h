#pragma once

#include <cstdint>
#include <stop_token>
#include <string>
#include <vector>

#include "OrvikCore/Care/CareProgress.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Date.h"

namespace orvik {

/// What an instance folder takes, and what takes it. All sizes are bytes as stored: of sealed content those
/// of the sealed form. Each object and package file counts once for a backup, and for the section that had it
/// first.
struct FolderStatistics {
  struct Amount {
    std::int64_t objects = 0;
    std::int64_t files = 0;  ///< package files
    std::int64_t bytes = 0;  ///< of both

    bool operator==(const Amount&) const = default;
  };

  /// A section of any backup.
  struct Section {
    std::string id;
    std::string title;
    std::int64_t items = 0;  ///< of the newest backup
    Amount newest;           ///< what the newest backup refers to
    Amount all;              ///< what all backups refer to
  };

  /// A finished backup.
  struct Backup {
    std::string id;
    platform::Date finishedAt;
    Amount all;     ///< what it refers to
    Amount fresh;   ///< what no backup before it refers to: by this the folder grew
    Amount unique;  ///< what no other backup refers to: this is what its deletion would give back
  };

  /// The store, whoever refers to it.
  struct Store {
    Amount single;           ///< objects in files of their own
    Amount packed;           ///< objects in packs
    std::int64_t packs = 0;  ///< pack files with an index
    Amount packageFiles;
    Amount unreferenced;          ///< what no backup refers to
    std::int64_t allocated = 0;   ///< of the whole instance folder, on its disk
    std::int64_t quarantine = 0;  ///< the same of what repairs put aside
  };

  std::vector<Section> sections;  ///< in the order of the newest backup that has them
  std::vector<Backup> backups;    ///< newest first
  Store store;
  std::int64_t missing = 0;             ///< objects and files that are referred to and not there
  std::vector<std::string> unreadable;  ///< indexes, by their paths; they count nothing
};

/// Lists the store and reads every index of every finished backup once. Takes no lock. A sealed folder is
/// unlocked. Throws `platform::CancellationError`.
FolderStatistics readStatistics(const BackupRepository& repository, const CareProgress& progress = {},
                                const std::stop_token& stop = {});

}  // namespace orvik
