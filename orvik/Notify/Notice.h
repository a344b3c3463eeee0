#pragma once

#include <chrono>
#include <functional>
#include <stop_token>
#include <utility>
#include <vector>

#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/Instances/BackupRound.h"
#include "orvik/Notify/RunEnd.h"

namespace orvik::host {

/// Tells a command and an address what became of a run, once, when it is over. Whatever goes wrong with that
/// is a remark on standard error and changes nothing about the run.
class Notice {
 public:
  /// Makes backups, with an entry in `round` for each server that it comes to; one that has neither outcome
  /// nor reason yet shares the failure that the run throws.
  using Run = std::function<ExitStatus(std::vector<RoundEntry>& round)>;

  /// The arguments must outlive it. `patience` is how long each of the two may take.
  Notice(const BackupArguments& arguments, std::stop_token stop,
         std::chrono::milliseconds patience = std::chrono::seconds(30))
      : arguments_(arguments), stop_(std::move(stop)), patience_(patience) {}

  /// Lets it run and tells how it ended; gives and throws what it does.
  ExitStatus after(const Run& run) const;
  /// Tells those who are to be told.
  void tell(const RunEnd& end) const;

 private:
  void runCommand(const RunEnd& end) const;
  void post(const RunEnd& end) const;
  void attempt(void (Notice::*telling)(const RunEnd&) const, const RunEnd& end) const;

  const BackupArguments& arguments_;
  const std::stop_token stop_;
  const std::chrono::milliseconds patience_;
};

}  // namespace orvik::host
