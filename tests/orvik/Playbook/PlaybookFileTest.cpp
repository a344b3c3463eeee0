#include "orvik/Playbook/PlaybookFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Platform/Files/Files.h"
#include "orvik/ExitStatus.h"

namespace orvik::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(PlaybookFile, AFileIsReadAsItIsAndOneThatIsNotThereIsNotFound) {
  const platform::files::TempFolder folder("orvik-playbook");
  platform::files::atomicWrite("\xef\xbb\xbfname: P\r\n", folder / "p.yaml");
  EXPECT_EQ(readPlaybookFile((folder / "p.yaml").string(), {}), "\xef\xbb\xbfname: P\r\n");
  EXPECT_THROW(readPlaybookFile((folder / "no.yaml").string(), {}), NotFoundError);
  EXPECT_THROW(readPlaybookFile(folder.path().string(), {}), platform::Error);
}

TEST(PlaybookFile, KeysThatMeanNothingAreNamedWithTheirLines) {
  EXPECT_THAT(unknownKeys("name: P\nauthor: me\n"
                          "schedule: {recurrence: daily, time: '7:00', day: 1}\n"
                          "resources:\n"
                          "  - type: policy\n"
                          "    name: A\n"
                          "    triger: login\n"
                          "  - type: smartGroup\n"
                          "    name: G\n"
                          "    criteria:\n"
                          "      - {field: a, searchType: is, value: b, not: c}\n"),
              ElementsAre(UnknownKey{"author", "the playbook", 2}, UnknownKey{"day", "the schedule", 3},
                          UnknownKey{"triger", "a resource of the type policy", 7},
                          UnknownKey{"not", "a criterion", 11}));
}

TEST(PlaybookFile, EveryKeyOfEveryTypeIsKnown) {
  EXPECT_THAT(unknownKeys("name: P\ndescription: d\nschedule: {recurrence: once, time: '7:00', date: x,\n"
                          "  dayOfWeek: 1, dayOfMonth: 1}\n"
                          "resources:\n"
                          "  - {type: script, name: A, info: a, notes: b, priority: AFTER, categoryName: c,\n"
                          "     osRequirements: d, scriptContents: e, state: absent}\n"
                          "  - {type: package, name: A, fileName: a, priority: 1, suppressEula: true}\n"),
              IsEmpty());
}

}  // namespace
}  // namespace orvik::host
