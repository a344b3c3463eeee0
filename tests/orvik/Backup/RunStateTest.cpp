#include "orvik/Backup/RunState.h"

#include <gtest/gtest.h>

#include "OrvikCore/Jamf/SectionCatalog.h"

namespace orvik::host {
namespace {

using namespace std::chrono_literals;

struct RunStateTest : testing::Test {
  RunState state;
  const platform::MonotonicTime start{1h};

  void start3Sections() {
    const auto all = SectionCatalog::all().first(3);
    state.apply(BackupEvents::Started{"id", false, {}, {all.begin(), all.end()}}, start);
  }
  void begin(std::string_view id) {
    state.apply(BackupEvents::SectionStarted{*SectionCatalog::definition(id)}, start);
  }
  std::string lineAt(std::chrono::milliseconds after, std::size_t width = 80) {
    return progressLine(state, start + after, width);
  }
};

TEST_F(RunStateTest, TheLineTellsStepSectionCountRateAndTimeLeft) {
  state.begin("Connecting", start);
  EXPECT_EQ(lineAt(0ms), "Connecting");
  EXPECT_EQ(lineAt(1999ms), "Connecting");
  EXPECT_EQ(lineAt(2600ms), "Connecting  2.0 s");
  EXPECT_EQ(lineAt(75s), "Connecting  1 min 15 s");
  start3Sections();
  EXPECT_EQ(lineAt(0ms), "[1/3] Reading");
  begin("policies");
  EXPECT_EQ(lineAt(0ms), "[1/3] Policies");
  state.apply(BackupEvents::SectionProgress{"policies", 100, 400}, start);
  EXPECT_EQ(lineAt(500ms), "[1/3] Policies  100 of 400");
  EXPECT_EQ(lineAt(4s), "[1/3] Policies  100 of 400  25/s  12 s left");
  state.apply(BackupEvents::SectionProgress{"policies", 400, 400}, start);
  EXPECT_EQ(lineAt(4s), "[1/3] Policies  400 of 400  100/s");
}

TEST_F(RunStateTest, WhereBytesArriveTheyAreTheMeasure) {
  start3Sections();
  state.apply(BackupEvents::BytesTransferred{5'000'000}, start);
  begin("packageFiles");
  state.apply(BackupEvents::BytesExpected{100'000'000}, start);
  state.apply(BackupEvents::SectionProgress{"packageFiles", 0, 3}, start);
  EXPECT_EQ(lineAt(0ms), "[1/3] Package binaries  0 of 3");
  state.apply(BackupEvents::BytesTransferred{25'000'000}, start);
  EXPECT_EQ(lineAt(500ms), "[1/3] Package binaries  0 of 3  20 MB of 100 MB");
  EXPECT_EQ(lineAt(2s), "[1/3] Package binaries  0 of 3  20 MB of 100 MB  10 MB/s  8 s left");
  state.apply(BackupEvents::BytesTransferred{125'000'000}, start);
  EXPECT_EQ(lineAt(2s), "[1/3] Package binaries  0 of 3  120 MB  60 MB/s");
}

TEST_F(RunStateTest, ReportsOutOfOrderDoNotGoBack) {
  start3Sections();
  begin("policies");
  state.apply(BackupEvents::SectionProgress{"policies", 2, 3}, start);
  state.apply(BackupEvents::SectionProgress{"policies", 1, 3}, start);
  EXPECT_EQ(lineAt(0ms), "[1/3] Policies  2 of 3");
}

TEST_F(RunStateTest, TheLastSectionIsFollowedByPublishing) {
  start3Sections();
  for (int i = 0; i < 3; ++i) state.apply(BackupEvents::SectionFinished{}, start);
  EXPECT_EQ(lineAt(0ms), "[3/3] Publishing");
}

TEST(ProgressLine, AStepWithoutASectionCountsToo) {
  RunState state;
  const auto begin = platform::MonotonicClock::now();
  state.begin("Searching", begin);
  state.advance(200, 1000);
  EXPECT_EQ(progressLine(state, begin + std::chrono::seconds(2), 80),
            "Searching  200 of 1000  100/s  8 s left");
  state.begin("Writing", begin);
  EXPECT_EQ(progressLine(state, begin, 80), "Writing");
}

}  // namespace
}  // namespace orvik::host
