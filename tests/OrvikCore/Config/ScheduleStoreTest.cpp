#include "OrvikCore/Config/ScheduleStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Platform/Files/Files.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

const platform::Date aDay = platform::parseISO8601("2025-03-04T09:15:00Z").value();

ScheduledRun runAt(platform::Date date) { return {platform::UUID::random(), platform::UUID::random(), date}; }

class ScheduleStoreTest : public testing::Test {
 protected:
  platform::files::TempFolder folder;
  ScheduleStore store{folder.path()};
};

TEST_F(ScheduleStoreTest, WhatIsSavedIsReadByDate) {
  const auto late = runAt(aDay + 2h);
  const auto early = runAt(aDay);
  const auto beside = runAt(aDay + 2h);
  store.save({late, early, beside});
  EXPECT_THAT(store.load(), ElementsAre(early, late, beside));
  EXPECT_EQ(store.fileURL, folder / "schedule.json");
}

TEST_F(ScheduleStoreTest, TheFileIsAnArrayOfRunsWithDatesInUTC) {
  const auto run = runAt(aDay);
  store.save({run});
  EXPECT_EQ(platform::files::read(store.fileURL),
            "[\n  {\n    \"date\" : \"2025-03-04T09:15:00Z\",\n    \"id\" : \"" + run.id.text() +
                "\",\n    \"instanceID\" : \"" + run.instanceID.text() + "\"\n  }\n]");
}

TEST_F(ScheduleStoreTest, AMissingOrDamagedFileIsAnEmptySchedule) {
  EXPECT_THAT(store.load(), IsEmpty());
  for (const auto* text : {"", "{}", "[{\"id\":1}]", "[", "[{\"date\":\"yesterday\"}]", "\xFF\xFE"}) {
    platform::files::atomicWrite(text, store.fileURL);
    EXPECT_THAT(store.load(), IsEmpty()) << text;
  }
}

TEST_F(ScheduleStoreTest, AHugeFileIsAnEmptySchedule) {
  platform::files::atomicWrite("[" + std::string(2 << 20, ' ') + "]", store.fileURL);
  EXPECT_THAT(store.load(), IsEmpty());
}

TEST_F(ScheduleStoreTest, AFailureToSaveIsThrown) {
  platform::files::atomicWrite("in the way", folder / "file");
  const ScheduleStore nowhere(folder / "file");
  EXPECT_THROW(nowhere.save({}), platform::files::FileError);
}

TEST_F(ScheduleStoreTest, ARunOfThisVeryMomentIsDue) {
  const auto now = runAt(aDay);
  const auto later = runAt(aDay + 1ms);
  const auto before = runAt(aDay - 1h);
  const auto parts = ScheduleStore::partition({later, now, before}, aDay);
  EXPECT_THAT(parts.due, ElementsAre(now, before));
  EXPECT_THAT(parts.pending, ElementsAre(later));
}

}  // namespace
}  // namespace orvik
