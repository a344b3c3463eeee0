#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <stop_token>
#include <vector>

#include "OrvikCore/Engine/BackupEvent.h"
#include "OrvikCore/Engine/BackupJob.h"
#include "OrvikCore/Engine/ResumePlan.h"
#include "OrvikCore/Format/BackupManifest.h"
#include "OrvikCore/Jamf/PauseGate.h"
#include "OrvikCore/Jamf/SectionCatalog.h"
#include "OrvikCore/Security/BackupCipher.h"

namespace orvik {

/// What a simulation found.
struct SimulationResult {
  BackupManifest manifest;          ///< as a backup of this moment would have it, files aside
  std::filesystem::path directory;  ///< where its manifest, indexes and audit log are
  std::int64_t bytesToDownload = 0;
  std::optional<BackupCipher>
      cipher;  ///< what its indexes are sealed with; a first sealing's is kept nowhere
};

/// Drives one whole backup of one server: takes the lock, decides on parent and resume, reads all sections in
/// a fixed order, and turns a hidden partial folder into a published backup with one rename.
///
/// The server is read with GET alone. The order of writes: objects, journal lines, a section's index,
/// summaries and state, at the end the manifest, a flush of the file system, the rename. Whatever stops a
/// run, the partial folder stays and a later run takes it up; the lock is released in every case that the
/// process survives.
class BackupEngine {
 public:
  explicit BackupEngine(BackupJob job);

  /// Blocks until the backup is published. One run at a time.
  ///
  /// Throws `BackupEngineError` (cannotConnect; locked, also when another writer took the lock over
  /// meanwhile), `BackupEncryptionError` when a run that seals has no key or no record of it,
  /// `platform::files::FileError` for what could not be written, and `platform::CancellationError` on a stop.
  BackupManifest run(ResumeInterrupted resumeInterrupted, const OnBackupEvent& onEvent,
                     const std::stop_token& stop = {});

  /// The same run with nothing written to the backup folder and no lock taken: it is read, new objects go to
  /// the job's simulation folder, devices that changed and package files are counted and not read. Throws as
  /// `run`, never that the folder is locked.
  SimulationResult simulate(const OnBackupEvent& onEvent, const std::stop_token& stop = {});

  /// Holds new requests; those in flight run to their end. A paused run keeps its lock alive. Any thread may
  /// call.
  void pause() { gate_.pause(); }
  void resume() { gate_.resume(); }

  /// Files last, devices before them, all else first, each in catalog order.
  static std::vector<SectionDefinition> runOrder(std::span<const SectionDefinition> sections);

 private:
  BackupJob job_;
  PauseGate gate_;
};

}  // namespace orvik
