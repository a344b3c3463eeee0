#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Concurrency/Cancellation.h"
#include "tests/Support/FileFaults.h"

namespace orvik {
namespace {

namespace files = platform::files;
using namespace std::chrono_literals;
using test::FileFaults;
using testing::SizeIs;

/// Where a run is when it is stopped.
struct Moment {
  const char* name;
  std::function<void(FileFaults&, std::stop_source&)> arrange;
};

void stopAfterBytes(FileFaults& faults, std::stop_source& stop, std::int64_t bytes) {
  faults.onEvent = [&stop, bytes](const BackupEvent& event) {
    const auto* moved = std::get_if<BackupEvents::BytesTransferred>(&event);
    if (moved && moved->bytes >= bytes) stop.request_stop();
  };
}
const std::vector<Moment> moments{
    {"waiting for the URL",
     [](FileFaults& faults, std::stop_source&) {
       faults.spoil("api/v1/jcds/files/a.pkg", sample::FaultHang{}, {});
     }},
    {"waiting for the head",
     [](FileFaults& faults, std::stop_source&) { faults.spoil("cdn/a.pkg*", sample::FaultHang{}, {}); }},
    {"sleeping before a repeat",
     [](FileFaults& faults, std::stop_source&) {
       faults.baseDelay = 50;
       faults.spoil("cdn/a.pkg*", sample::FaultAnswer{503}, {});
     }},
    {"in a slow body",
     [](FileFaults& faults, std::stop_source&) { faults.run.server.setDownloadRate(1'000'000); }},
    {"in a fast body",
     [](FileFaults& faults, std::stop_source& stop) { stopAfterBytes(faults, stop, 4'000'000); }},
    {"with the last byte",
     [](FileFaults& faults, std::stop_source& stop) { stopAfterBytes(faults, stop, 39'900'000); }},
};

using FileStop = FileFaults;
struct StoppedFiles : FileFaults, testing::WithParamInterface<std::tuple<int, bool>> {};

TEST_P(StoppedFiles, EndWithinTwoSecondsAndAreTakenUp) {
  const auto& moment = moments[static_cast<std::size_t>(std::get<0>(GetParam()))];
  SCOPED_TRACE(moment.name);
  const files::TempFolder stagingFolder;
  if (std::get<1>(GetParam())) staging = stagingFolder.path();
  add("a.pkg", 40'000'000);
  std::stop_source stop;
  moment.arrange(*this, stop);
  std::atomic<platform::MonotonicTime> stopped{platform::MonotonicTime()};
  const std::stop_callback noticing(stop.get_token(), [&] { stopped = platform::MonotonicClock::now(); });
  std::jthread stopper([&](const std::stop_token& token) {
    // The request is there; a little later the run waits for what doesn't come.
    while (!token.stop_requested() && run.server.log().count("api/v1/jcds/files/a.pkg") == 0)
      std::this_thread::sleep_for(5ms);
    const auto until = platform::MonotonicClock::now() + 100ms;
    while (!token.stop_requested() && platform::MonotonicClock::now() < until)
      std::this_thread::sleep_for(5ms);
    stop.request_stop();
  });
  EXPECT_THROW(backup(stop.get_token()), platform::CancellationError);
  EXPECT_LT(platform::MonotonicClock::now() - stopped.load(), 2s);
  EXPECT_FALSE(files::exists(run.repository().instanceDirectory / BackupFormat::lockFile));
  EXPECT_EQ(run.repository().latestComplete(), std::nullopt);
  const auto place = staging ? BackupRepository(*staging) : run.repository();
  EXPECT_THAT(place.partialBackupIDs(), SizeIs(1));
  expectNowhere("Signature=");

  run.server.faults().clear();
  run.server.setDownloadRate(0);
  onEvent = {};
  expectWhole(backup(), "a.pkg");
  expectNothingInProgress();
}

INSTANTIATE_TEST_SUITE_P(AtEachMoment, StoppedFiles, testing::Combine(testing::Range(0, 6), testing::Bool()));

TEST_F(FileStop, ACopyFromAMountIsStoppedInTheMiddle) {
  add("a.pkg", 1000, false, false);
  mount = (run.folder.path() / "mount").string();
  const auto file = std::filesystem::path(*mount) / "Packages/a.pkg";
  files::createDirectories(file.parent_path());
  files::atomicWrite("", file);
  ASSERT_EQ(::truncate(file.c_str(), std::int64_t{1} << 40), 0);
  std::stop_source stop;
  stopAfterBytes(*this, stop, 8'000'000);
  const auto begin = platform::MonotonicClock::now();
  EXPECT_THROW(backup(stop.get_token()), platform::CancellationError);
  EXPECT_LT(platform::MonotonicClock::now() - begin, 2s);
  EXPECT_FALSE(files::exists(run.repository().instanceDirectory / BackupFormat::lockFile));

  // What another source left off is not gone on from.
  onEvent = {};
  files::tryRemove(file);
  files::atomicWrite("the file", file);
  const auto found = filesOf(backup()).at("a.pkg");
  EXPECT_EQ(found.sha256, ObjectStore::sha256("the file"));
  expectNothingInProgress();
}

}  // namespace
}  // namespace orvik
