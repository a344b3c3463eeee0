#include "orvik/Schedule/ScheduleFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/FileLock.h"
#include "TuvCore/Error.h"
#include "tests/Support/Folders.h"

namespace orvik::host {
namespace {

using Runs = std::vector<ScheduledRun>;
namespace files = platform::files;

class ScheduleFileTest : public testing::Test {
 protected:
  ScheduleFileTest() { places.data = folder / "data"; }

  static ScheduledRun someRun() {
    return {platform::UUID::random(), platform::UUID::random(),
            std::chrono::floor<std::chrono::seconds>(platform::now())};
  }
  void add(const ScheduledRun& run) const {
    ScheduleFile::change(places, [&](Runs& runs) { runs.push_back(run); }, {});
  }

  files::TempFolder folder;
  HostPlaces places = HostPlaces::own();
  ScheduleStore store() const { return ScheduleStore(places.data); }
};

TEST_F(ScheduleFileTest, AMissingFileIsAnEmptyScheduleAndIsMade) {
  EXPECT_TRUE(ScheduleFile::load(places).empty());
  const auto run = someRun();
  add(run);
  EXPECT_EQ(ScheduleFile::load(places), Runs{run});
}

TEST_F(ScheduleFileTest, ADamagedFileStaysAsItIs) {
  test::write(store().fileURL, "[{]");
  EXPECT_FALSE(ScheduleFile::isReadable(store()));
  EXPECT_THROW(ScheduleFile::load(places), tuv::Error);
  EXPECT_THROW(add(someRun()), tuv::Error);
  EXPECT_EQ(files::read(store().fileURL), "[{]");
}

TEST_F(ScheduleFileTest, WhatIsNoFileIsDamaged) {
  files::createDirectories(store().fileURL);
  EXPECT_FALSE(ScheduleFile::isReadable(store()));
  files::removeTree(store().fileURL);
  test::makePipe(store().fileURL);
  EXPECT_FALSE(ScheduleFile::isReadable(store()));
}

TEST_F(ScheduleFileTest, AChangeThatThrowsWritesNothing) {
  add(someRun());
  const auto before = files::read(store().fileURL);
  EXPECT_THROW(ScheduleFile::change(places,
                                    [](Runs& runs) {
                                      runs.clear();
                                      throw tuv::Error("no");
                                    },
                                    {}),
               tuv::Error);
  EXPECT_EQ(files::read(store().fileURL), before);
}

TEST_F(ScheduleFileTest, ChangesAtTheSameTimeAreAllKept) {
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 8; ++i) threads.emplace_back([&] { add(someRun()); });
  }
  EXPECT_EQ(ScheduleFile::load(places).size(), 8u);
}

TEST_F(ScheduleFileTest, AStopEndsTheWaitForAnotherChange) {
  const files::FileLock other(places.data / "schedule.lock");
  std::stop_source source;
  source.request_stop();
  EXPECT_THROW(ScheduleFile::change(
                   places, [](Runs&) {}, source.get_token()),
               platform::CancellationError);
}

}  // namespace
}  // namespace orvik::host
