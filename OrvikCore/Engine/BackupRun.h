#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "OrvikCore/Engine/BackupEvent.h"
#include "OrvikCore/Engine/BackupJob.h"
#include "OrvikCore/Engine/ResumePlan.h"
#include "OrvikCore/Engine/RunContext.h"
#include "OrvikCore/Engine/RunPlace.h"
#include "OrvikCore/Format/BackupManifest.h"
#include "OrvikCore/Jamf/PauseGate.h"
#include "OrvikCore/Jamf/RequestLimiter.h"
#include "OrvikCore/Jamf/RequestPipeline.h"
#include "OrvikCore/Security/BackupCipher.h"
#include "OrvikCore/Security/EncryptionInfo.h"
#include "OrvikCore/Store/AuditLog.h"
#include "OrvikCore/Store/BackupJournal.h"
#include "OrvikCore/Store/BackupLock.h"
#include "OrvikCore/Store/BackupRepository.h"

namespace orvik {

/// What is settled before a run begins.
struct RunStart {
  ResumePlan plan;
  std::optional<std::string> parentID;   ///< of a fresh run
  std::optional<BackupCipher> cipher;    ///< seals the run
  std::optional<EncryptionInfo> record;  ///< of a run that seals
  platform::Date now;
  bool heldBackups = false;  ///< the folder had some before it was locked
};

/// One run: from its working folder to the published backup, or to the end of a simulation. Made for one
/// `execute`.
class BackupRun {
 public:
  /// Makes the working folder and its state, and looks at what an interrupted run left. A run has the
  /// folder's lock; a simulation, which writes nothing there, has none: null. Throws
  /// `platform::files::FileError` and `platform::CancellationError`.
  BackupRun(const BackupJob& job, const BackupRepository& repository, BackupLock::Holder* lock,
            const PauseGate& gate, RunStart start, const OnBackupEvent& onEvent, const std::stop_token& stop);

  /// See `BackupEngine::run` for what it throws. The state file knows the requests made, however it ends.
  BackupManifest execute(const std::stop_token& stop);

  /// Of package files that a simulation left, in bytes.
  std::int64_t pendingBytes() const { return pendingBytes_.value(); }

 private:
  BackupManifest readAndPublish(const std::stop_token& stop);
  void announce();
  SectionSummary readSection(const SectionDefinition& section, const std::stop_token& stop);
  void noteRetired(const SectionSummary& summary) const;
  void saveProgress();
  std::vector<SectionSummary> summariesToKeep() const;
  void requireOwnLock() const;
  void requireIndexes() const;
  void requireRecord() const;
  BackupManifest makeManifest() const;
  void countFiles(BackupManifest::Totals& totals) const;
  void endSimulation(const BackupManifest& manifest);

  int requests() const { return requestsBefore_ + pipeline_.requestCount(); }

  // Constant after construction.
  const BackupRepository& repository_;
  const ResumePlan plan_;
  const OnBackupEvent onEvent_;
  const RunPlace place_;
  const std::vector<SectionDefinition> order_;
  const std::optional<EncryptionInfo> record_;  ///< of a run that seals
  const bool heldBackups_;
  const std::optional<BackupManifest> parent_;
  int requestsBefore_ = 0;  ///< of earlier attempts

  BackupLock::Holder* const lock_;  ///< null in a simulation
  PartialBackupState state_;
  AuditLog audit_;
  RequestLimiter limiter_;
  RequestPipeline pipeline_;
  BackupJournal journal_;
  tuv::Locked<std::int64_t> bytes_{0};
  tuv::Locked<std::int64_t> pendingBytes_{0};
  RunContext context_;
  std::map<std::string, SectionSummary> earlier_;  ///< summaries of an earlier attempt
  std::vector<SectionSummary> summaries_;          ///< so far, in run order
  std::optional<std::string> jamfProVersion_;
  std::optional<std::vector<std::string>> privileges_;
};

}  // namespace orvik
