#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "OrvikCore/Engine/BackupEvent.h"
#include "OrvikCore/Engine/BackupJob.h"
#include "OrvikCore/Format/SectionIndex.h"
#include "OrvikCore/Jamf/FileDownloader.h"
#include "OrvikCore/Jamf/RequestPipeline.h"
#include "OrvikCore/Store/AuditLog.h"
#include "OrvikCore/Store/BackupJournal.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "OrvikCore/Store/ObjectStore.h"
#include "TuvCore/Locked.h"

namespace orvik {

/// Finished items of an interrupted run: section ID to object ID to item.
using JournaledItems = std::map<std::string, std::map<std::string, IndexItem, std::less<>>, std::less<>>;

/// What a section gets of the run that it belongs to. Lives as long as the run.
struct RunContext {
  BackupJob job;  ///< with the options that are in force
  ObjectStore store;
  BackupRepository repository;
  RequestPipeline& pipeline;
  BackupJournal& journal;
  std::filesystem::path partial;  ///< the run's working folder
  std::optional<std::string> parentID;
  JournaledItems journaled;
  FileDownloader downloader;
  tuv::Locked<std::int64_t>& bytes;         ///< of package files that arrived
  tuv::Locked<std::int64_t>& pendingBytes;  ///< of package files that a simulation leaves
  AuditLog& audit;
  std::optional<BackupCipher> cipher;
  bool reuseParentObjects = false;  ///< a parent manifest could be read, and it is sealed if this run seals
  OnBackupEvent onEvent;

  bool isSimulation() const { return job.simulationDirectory.has_value(); }

  /// The parent backup's index of a section; nothing when there is no parent or it can't be read, so that all
  /// items count as new.
  std::optional<SectionIndex> parentIndex(std::string_view section) const;

  void emit(const BackupEvent& event) const {
    if (onEvent) onEvent(event);
  }
};

}  // namespace orvik
