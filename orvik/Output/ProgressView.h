#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "OrvikCore/Engine/BackupEvent.h"
#include "OrvikCore/Format/BackupManifest.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

/// A published backup and what it took.
struct BackupOutcome {
  BackupManifest manifest;
  std::filesystem::path folder;  ///< of the backup
  std::chrono::duration<double> duration{0};
};

/// What a backup of this moment would be.
struct SimulationOutcome {
  BackupManifest manifest;
  std::int64_t bytesToDownload = 0;
  std::chrono::duration<double> duration{0};
};

/// How a run is shown while it goes on. Any thread may call any operation, also at once. This base shows
/// nothing.
class ProgressView {
 public:
  virtual ~ProgressView() = default;

  /// What is being waited for, until the next step or event: "Connecting to server.example".
  virtual void step(const std::string&) {}
  /// Something a person should know.
  virtual void remark(const std::string&) {}
  /// How many of how many things of the step are done.
  virtual void progress(std::size_t, std::size_t) {}
  /// Prints results while no line in motion stands in their way.
  virtual void aside(const std::function<void()>& print) { print(); }
  virtual void event(const BackupEvent&) {}
  virtual void finished(const BackupOutcome&) {}
  virtual void finished(const SimulationOutcome&) {}
};

enum class OutputForm { text, jsonLines };
/// `brief`: what moves and signs of life, without a line for each section and without the summary.
enum class Verbosity { normal, brief, quiet };

/// The view for this process's streams: JSON lines go to `results`, text to standard error, as a line in
/// motion when that is a terminal. `results` must outlive the view.
std::unique_ptr<ProgressView> makeProgressView(OutputForm form, Verbosity verbosity, Results& results);

}  // namespace orvik::host
