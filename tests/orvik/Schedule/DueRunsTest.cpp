#include "orvik/Schedule/DueRuns.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/Support/SampleRecords.h"

namespace orvik::host {
namespace {

using platform::UUID;
using std::chrono::hours;
using testing::ElementsAre;
using testing::IsEmpty;

const auto now = test::date("2026-11-22T09:30:00Z");
const auto school = UUID::random();
const auto north = UUID::random();

ScheduledRun run(const UUID& instance, platform::Date date) { return {UUID::random(), instance, date}; }

TEST(DueRuns, RunsOfOneInstanceAreOneBackupAndTheLongestWaitingIsFirst) {
  const std::vector runs{run(north, now - hours(3)), run(school, now - hours(2)), run(north, now - hours(1)),
                         run(school, now), run(north, now + hours(1))};
  EXPECT_THAT(DueRuns::of(runs, now),
              ElementsAre(DueRuns{north, {runs[0], runs[2]}}, DueRuns{school, {runs[1], runs[3]}}));
}

TEST(DueRuns, WhatLiesAheadIsNotDue) {
  EXPECT_THAT(DueRuns::of({run(school, now + std::chrono::seconds(1))}, now), IsEmpty());
  EXPECT_THAT(DueRuns::of({}, now), IsEmpty());
}

}  // namespace
}  // namespace orvik::host
