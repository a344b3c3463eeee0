#include "OrvikCore/Explore/ObjectHistory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Platform/Concurrency/Cancellation.h"
#include "tests/Support/StoredBackups.h"

namespace orvik::test {
namespace {

using ChangeKind = BackupReader::ChangeKind;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

struct ObjectHistoryTest : testing::Test {
  StoredBackups stored;

  void publish(const char* id, const std::vector<IndexItem>& items) const {
    stored.publish(id, {StoredBackups::section("scripts", items)});
  }
  IndexItem script(const char* value) const {
    return stored.item("1", "x", {{"pro", std::string(R"({"a":)") + value + "}"}});
  }
  std::vector<std::pair<std::string, ChangeKind>> versions() const {
    std::vector<std::pair<std::string, ChangeKind>> found;
    for (const auto& version : objectHistory(stored.repository, "scripts", "1"))
      found.emplace_back(version.backupID, version.kind);
    return found;
  }
};

TEST_F(ObjectHistoryTest, BackupsInWhichNothingChangedAreLeftOut) {
  publish(StoredBackups::first, {});
  publish(StoredBackups::second, {script("1")});
  publish(StoredBackups::third, {script("1")});
  publish(StoredBackups::fourth, {script("2")});
  const auto history = objectHistory(stored.repository, "scripts", "1");
  ASSERT_EQ(history.size(), 2U);
  EXPECT_EQ(history[0].backupID, StoredBackups::second);
  EXPECT_EQ(history[0].kind, ChangeKind::new_);
  EXPECT_THAT(history[0].changes, IsEmpty());
  EXPECT_EQ(history[0].item, script("1"));
  EXPECT_EQ(history[1].backupID, StoredBackups::fourth);
  EXPECT_EQ(history[1].kind, ChangeKind::changed);
  EXPECT_THAT(history[1].changes, ElementsAre(FieldChange{"A", "1", "2"}));
}

TEST_F(ObjectHistoryTest, AnObjectCanGoAndComeBack) {
  publish(StoredBackups::first, {script("1")});
  publish(StoredBackups::second, {});
  publish(StoredBackups::third, {});
  publish(StoredBackups::fourth, {script("1")});
  EXPECT_THAT(versions(), ElementsAre(Pair(StoredBackups::first, ChangeKind::new_),
                                      Pair(StoredBackups::second, ChangeKind::removed),
                                      Pair(StoredBackups::fourth, ChangeKind::new_)));
}

TEST_F(ObjectHistoryTest, ABackupThatDidNotReadTheObjectSaysNothing) {
  publish(StoredBackups::first, {script("1")});
  auto index = StoredBackups::section("scripts", {});
  index.errors = {{"1", "x", "HTTP 500"}};
  stored.publish(StoredBackups::second, {index});
  stored.publish(StoredBackups::third, {}, {}, {summaryOf("scripts", false)});
  publish(StoredBackups::fourth, {script("1")});
  write(stored.repository.backupDirectory("2025-03-08T091500Z") / BackupFormat::manifestFile, "{}");
  EXPECT_THAT(versions(), ElementsAre(Pair(StoredBackups::first, ChangeKind::new_)));
}

TEST_F(ObjectHistoryTest, ADamagedIndexSaysNothing) {
  publish(StoredBackups::first, {script("1")});
  publish(StoredBackups::second, {script("2")});
  write(stored.repository.backupDirectory(StoredBackups::second) / BackupFormat::sectionPath("scripts"), "[");
  EXPECT_THAT(versions(), ElementsAre(Pair(StoredBackups::first, ChangeKind::new_)));
}

TEST_F(ObjectHistoryTest, AnObjectThatNoBackupHasHasNoHistory) {
  publish(StoredBackups::first, {script("1")});
  EXPECT_THAT(objectHistory(stored.repository, "scripts", "7"), IsEmpty());
  EXPECT_THAT(objectHistory(stored.repository, "../x", "1"), IsEmpty());
}

TEST_F(ObjectHistoryTest, AStopEndsIt) {
  publish(StoredBackups::first, {script("1")});
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THROW(objectHistory(stored.repository, "scripts", "1", stop.get_token()),
               platform::CancellationError);
}

}  // namespace
}  // namespace orvik::test
