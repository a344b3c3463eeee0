#pragma once

#include "TuvCore/Locked.h"
#include "orvik/Backup/RunState.h"
#include "orvik/Output/ProgressView.h"
#include "orvik/Output/Ticker.h"

namespace orvik::host {

/// A run as plain lines on standard error: one for each section, a sign of life where a step takes long, and
/// a summary.
class PlainProgress : public ProgressView {
 public:
  explicit PlainProgress(Verbosity verbosity);

  void step(const std::string& text) override;
  void remark(const std::string& text) override;
  void progress(std::size_t done, std::size_t total) override;
  void event(const BackupEvent& event) override;
  void finished(const BackupOutcome& outcome) override;
  void finished(const SimulationOutcome& outcome) override;

 private:
  struct State {
    RunState run;
    platform::MonotonicTime lastLine = platform::MonotonicClock::now();
    bool spoke = false;  ///< of the present step, by a sign of life
  };

  static void say(State& state, const std::string& line);
  void tick();

  const Verbosity verbosity_;
  tuv::Locked<State> state_;  // its lock also keeps the lines in order
  Ticker ticker_;             // last, so that it ends first
};

}  // namespace orvik::host
