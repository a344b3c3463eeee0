#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "OrvikCore/Engine/RunContext.h"
#include "OrvikCore/Format/SectionSummary.h"
#include "OrvikCore/Store/BackupJournal.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Date.h"

namespace orvik {

enum class ResumeInterrupted { no, yes };

/// Which interrupted run is taken up, and which are cleared away. A value computed from the folder; nothing
/// is deleted by computing it.
struct ResumePlan {
  std::optional<PartialBackupState> resumed;     ///< its `backupID` is the name of its folder
  std::string backupID;                          ///< of the run: the resumed one's, or a fresh one
  std::vector<std::filesystem::path> discarded;  ///< partial folders that a new run deletes first

  /// An interrupted run qualifies when its state can be read, it was compared against the backup that is the
  /// newest one now, it seals like this run, and it was not published; of several the newest. A run with a
  /// staging folder looks there and nowhere else. A new run deletes all interrupted ones, in the folder and
  /// in its staging folder, before it starts. A fresh ID is never one that stands in either, published or
  /// partial: it is the next free second.
  static ResumePlan make(const BackupRepository& repository,
                         const std::optional<std::filesystem::path>& staging, ResumeInterrupted resume,
                         const std::optional<std::string>& latestID, bool encrypted, platform::Date now);

  /// A new run that leaves interrupted ones alone.
  static ResumePlan fresh(const BackupRepository& repository, platform::Date now);
};

/// The interrupted run below a staging folder that qualifies.
std::optional<PartialBackupState> resumableStaged(const std::filesystem::path& staging,
                                                  const std::optional<std::string>& latestID, bool encrypted);

/// What an interrupted run left that can be trusted: finished items and finished sections whose content is
/// really in the store. A power cut can leave names without content.
struct Leftovers {
  JournaledItems journaled;
  std::map<std::string, SectionSummary> summaries;  ///< by section ID

  /// Clears away the temporary files of a crash. Throws `platform::CancellationError`.
  static Leftovers load(const std::filesystem::path& partial, const ObjectStore& store,
                        const std::optional<BackupCipher>& cipher, const std::stop_token& stop);
};

/// "summaries.json": the summaries of the finished sections of a run, an array in run order.
/// Throws `platform::files::FileError`.
void saveSummaries(const std::vector<SectionSummary>& summaries, const std::filesystem::path& partial);

}  // namespace orvik
