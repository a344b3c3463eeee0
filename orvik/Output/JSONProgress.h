#pragma once

#include <string>

#include "orvik/ExitStatus.h"
#include "orvik/Output/ProgressView.h"

namespace orvik::host {

/// Events as JSON lines: `{"event": CASE, ...}` with the payload under its names. A name once printed keeps
/// its meaning. When quiet only the last line is printed.
class JSONProgress : public ProgressView {
 public:
  JSONProgress(Verbosity verbosity, Results& results) : verbosity_(verbosity), results_(results) {}

  void remark(const std::string& text) override;
  void event(const BackupEvent& event) override;
  void finished(const BackupOutcome& outcome) override;
  void finished(const SimulationOutcome& outcome) override;

  /// The lines, without their ends.
  static std::string lineFor(const BackupEvent& event);
  static std::string lineFor(const BackupManifest& manifest);
  static std::string lineFor(const SimulationOutcome& outcome);
  static std::string lineFor(const Failure& failure);

 private:
  const Verbosity verbosity_;
  Results& results_;
};

}  // namespace orvik::host
