#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "Platform/Concurrency/Cancellation.h"
#include "tests/Support/FileFaults.h"

// Garbage collection minds an interrupted run in the folder. Of a staged one it knows nothing: what it takes
// from that, the run gets again.

namespace orvik {
namespace {

namespace files = platform::files;

struct CollectedRun : test::FileFaults, testing::WithParamInterface<bool> {
  /// A run that has the first file and waits for the second one.
  void interrupt() {
    spoil("cdn/second.pkg*", sample::FaultHang{}, {});
    std::stop_source stop;
    std::jthread stopper([&] {
      const auto stored = run.repository().store().fileURL(run.server.packageSHA256("first.pkg"));
      while (!files::exists(stored) || run.server.log().count("cdn/second.pkg") == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
      stop.request_stop();
    });
    EXPECT_THROW(backup(stop.get_token()), platform::CancellationError);
    run.server.faults().clear();
  }
};

TEST_P(CollectedRun, IsTakenUpWhole) {
  const files::TempFolder stagingFolder;
  if (GetParam()) staging = stagingFolder.path();
  add("old.pkg", 1000);
  backup();
  add("first.pkg", 1000);
  add("second.pkg", 1000);
  interrupt();
  const auto collected = run.repository().collectGarbage();
  EXPECT_EQ(collected.removedFiles, GetParam() ? 1 : 0);

  const auto manifest = backup();
  expectWhole(manifest, "first.pkg");
  expectWhole(manifest, "second.pkg");
  EXPECT_EQ(filesOf(manifest).at("old.pkg").status, FileRef::Status::reused);
  expectNothingInProgress();
}

INSTANTIATE_TEST_SUITE_P(StagedOrNot, CollectedRun, testing::Bool());

}  // namespace
}  // namespace orvik
