#pragma once

#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "OrvikCore/Engine/BackupEngine.h"
#include "OrvikCore/Engine/BackupEvent.h"
#include "OrvikCore/Reports/ReportContext.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "TuvCore/Locked.h"
#include "orvik/Output/ProgressView.h"

namespace orvik::host {

/// The reports of one run. Listens to it for what no folder tells: its notes and what retention deleted.
class RunReports {
 public:
  /// Who is reading the server, and where the secret for that came from.
  RunReports(std::string clientID, std::string credentialSource);

  /// Any thread may call.
  void listen(const BackupEvent& event);

  /// Writes both reports into the folder of a backup. Whatever goes wrong becomes a note of `view` and
  /// changes nothing about the backup.
  void write(const BackupRepository& repository, const std::string& backupID, ProgressView& view,
             const std::stop_token& stop) const;

  /// Writes the report of a simulation of that folder, in place of what file has the name. Throws
  /// `platform::Error`.
  void writeSimulation(const BackupRepository& repository, const SimulationResult& result,
                       const std::filesystem::path& file) const;

 private:
  struct Told {
    std::vector<std::string> notes;
    std::size_t unkeptNotes = 0;
    std::optional<CleanupResult> retention;
  };
  ReportContext context() const;

  const std::string clientID_;
  const std::string credentialSource_;
  tuv::Locked<Told> told_;
};

}  // namespace orvik::host
