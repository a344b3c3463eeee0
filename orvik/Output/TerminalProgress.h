#pragma once

#include <string>

#include "TuvCore/Locked.h"
#include "orvik/Backup/RunState.h"
#include "orvik/Output/ProgressView.h"
#include "orvik/Output/Ticker.h"

namespace orvik::host {

/// A run as one line in motion at the foot of a terminal, drawn at most ten times a second and wiped at the
/// end; remarks and the summary stand above it.
class TerminalProgress : public ProgressView {
 public:
  explicit TerminalProgress(Verbosity verbosity);
  ~TerminalProgress() override;

  void step(const std::string& text) override;
  void remark(const std::string& text) override;
  void progress(std::size_t done, std::size_t total) override;
  void aside(const std::function<void()>& print) override;
  void event(const BackupEvent& event) override;
  void finished(const BackupOutcome& outcome) override;
  void finished(const SimulationOutcome& outcome) override;

 private:
  struct State {
    RunState run;
    std::string drawn;  ///< the line that stands there; empty for none
    bool isOver = false;
  };

  static void wipe(State& state);
  static void say(State& state, std::string_view lines);
  void draw();

  const Verbosity verbosity_;
  tuv::Locked<State> state_;  // its lock also keeps the screen whole
  Ticker ticker_;             // last, so that it ends first
};

}  // namespace orvik::host
