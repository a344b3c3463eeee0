#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/Support/InterruptedRuns.h"

// Random trouble, the same for the same seed: runs are killed and cancelled, and requests fail in ways that
// pass. Whatever happens, what is published in the end is what a run without trouble publishes.

namespace orvik::test {
namespace {

constexpr int attempts = 4;
constexpr int mostInterruptions = 5;
constexpr int schedulesPerTest = 10;
constexpr int tests = 20;

bool isShort() { return std::getenv("ORVIK_SHORT") != nullptr; }

class Schedule {
 public:
  explicit Schedule(unsigned seed) : random_(seed) {}

  std::size_t below(std::size_t bound) { return random_() % bound; }

  /// A fault that passes when the request is made again.
  sample::FaultAction passingFault() {
    switch (below(6)) {
      case 0:
        return sample::FaultAnswer{.status = 503};
      case 1:
        return sample::FaultAnswer{.status = 500};
      case 2:
        return sample::FaultRule::tooManyRequests(0);
      case 3:
        return sample::FaultCut{.after = below(400), .ending = sample::FaultCut::Ending::close};
      case 4:
        return sample::FaultCut{.after = below(400), .ending = sample::FaultCut::Ending::reset};
      default:
        return sample::FaultDelay{std::chrono::milliseconds(below(20))};
    }
  }

 private:
  std::mt19937 random_;
};

class TroubledRuns : public InterruptedRuns, public testing::WithParamInterface<int> {
 protected:
  TroubledRuns() {
    moreArguments = {"--attempts", std::to_string(attempts), "--base-delay", "0.001", "--max-delay",
                     "0.002",      "--classic-devices"};
  }

  /// Less than `attempts` in a row for any request: each path has one rule at most.
  void breakThings(Schedule& schedule, const std::vector<std::string>& paths) {
    server.faults().clear();
    std::set<std::string> broken;
    for (std::size_t count = schedule.below(12); count > 0; --count) {
      const auto& path = paths[schedule.below(paths.size())];
      if (!broken.insert(path).second) continue;
      server.faults().add({.path = path,
                           .times = 1 + static_cast<int>(schedule.below(attempts - 1)),
                           .action = schedule.passingFault()});
    }
  }

  /// How many interrupted runs there were.
  int runInTrouble(const std::filesystem::path& to, Schedule& schedule,
                   const std::vector<std::string>& paths) {
    for (int interruptions = 0;; ++interruptions) {
      breakThings(schedule, paths);
      if (interruptions == mostInterruptions || schedule.below(4) == 0) {
        runToTheEnd(to);
        server.faults().clear();
        return interruptions;
      }
      const int signal = schedule.below(2) == 0 ? SIGKILL : SIGTERM;
      const int status = runAndInterruptAt(to, 1 + schedule.below(paths.size()), signal);
      // Faults add requests, and what is behind the run takes them away: some get through.
      EXPECT_THAT(status, testing::AnyOf(0, 130, 128 + SIGKILL));
      if (status == 0) {
        server.faults().clear();
        return interruptions;
      }
    }
  }
};

TEST_P(TroubledRuns, EndWithWhatARunWithoutTroublePublishes) {
  server.log().setDetail(sample::LogDetail::all);
  runToTheEnd(folder / "reference");
  std::set<std::string> asked;
  for (const auto& request : server.log().entries())
    if (request.method == "GET" && request.path.find('*') == std::string::npos) asked.insert(request.path);
  server.log().setDetail(sample::LogDetail::totals);
  const std::vector<std::string> paths(asked.begin(), asked.end());
  const auto reference = contentOf(folder / "reference");
  ASSERT_GT(reference.size(), 300u);
  ASSERT_TRUE(std::ranges::any_of(paths, [](const auto& path) { return path.starts_with("cdn/"); }));

  for (int i = 0; i < schedulesPerTest; ++i) {
    const auto seed = static_cast<unsigned>(GetParam() * schedulesPerTest + i);
    SCOPED_TRACE(fmt::format("seed {}", seed));
    Schedule schedule(seed);
    const auto to = folder / fmt::format("run-{}", seed);
    const int interruptions = runInTrouble(to, schedule, paths);
    EXPECT_LE(interruptions, mostInterruptions);
    EXPECT_EQ(contentOf(to), reference);
    EXPECT_TRUE(BackupRepository(to, "127.0.0.1").partialBackupIDs().empty());
    if (HasFailure()) return;
    platform::files::removeTree(to);
  }
}

TEST_P(TroubledRuns, SendNothingButGetAndTheTokenRequest) {
  server.log().setDetail(sample::LogDetail::all);
  Schedule schedule(static_cast<unsigned>(1000 + GetParam()));
  runToTheEnd(folder / "reference");
  std::vector<std::string> paths;
  for (const auto& request : server.log().entries()) paths.push_back(request.path);
  runInTrouble(folder / "run", schedule, paths);
  for (const auto& request : server.log().entries()) {
    if (request.path == "api/oauth/token")
      EXPECT_EQ(request.method, "POST");
    else
      EXPECT_EQ(request.method, "GET") << request.path;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, TroubledRuns, testing::Range(0, isShort() ? 1 : tests));

}  // namespace
}  // namespace orvik::test
