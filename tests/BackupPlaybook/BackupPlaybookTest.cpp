#include "BackupPlaybook/BackupPlaybook.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"
#include "tests/Support/WrittenBackup.h"

namespace orvik {
namespace {

using test::StoredBackups;
using test::WrittenBackup;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* backupID = "2025-03-03T091500Z";

std::string script(const std::string& name, const std::string& contents = "x") {
  return R"({"name":")" + name + R"(","scriptContents":")" + contents + R"("})";
}

/// A group whose members are in these others.
std::string group(const std::string& name, const std::vector<std::string>& others = {}) {
  std::string criteria;
  for (std::size_t i = 0; i < others.size(); ++i)
    criteria += (i == 0 ? "" : ",") + (R"({"name":"Computer Group","priority":)" + std::to_string(i)) +
                R"(,"and_or":"or","search_type":"member of","value":")" + others[i] + R"("})";
  return R"({"computer_group":{"name":")" + name + R"(","is_smart":true,"criteria":[)" + criteria + "]}}";
}

struct Made {
  std::vector<std::string> names;
  std::vector<PlaybookLoss> losses;
};

Made made(const StoredBackups& stored) {
  const BackupReader backup(stored.repository, backupID);
  std::vector<const PlaybookSection*> sections;
  for (const auto& each : playbookSections())
    if (backup.index(each.id)) sections.push_back(&each);
  Made result;
  for (const auto& each :
       playbookResources(backup, sections, [&](const PlaybookLoss& loss) { result.losses.push_back(loss); }))
    result.names.push_back(std::string(each.type()) + " " + each.name());
  return result;
}

TEST(BackupPlaybook, OfTwoObjectsWithOneNameTheSecondIsLeftOut) {
  StoredBackups stored;
  WrittenBackup(stored, backupID)
      .section("scripts")
      .item("1", "A", script("A", "first"))
      .item("2", "A", script("A", "second"))
      .section("policies")
      .item("3", "A", R"({"policy":{"general":{"name":"A"}}})")
      .publish();
  const auto result = made(stored);
  EXPECT_THAT(result.names, ElementsAre("script A", "policy A")) << "names count in one section";
  ASSERT_EQ(result.losses.size(), 1U);
  EXPECT_EQ(result.losses[0].id, "2");
  EXPECT_EQ(result.losses[0].reason, "another one has its name");
}

TEST(BackupPlaybook, WhatTheBackupCouldNotReadIsLeftOutAndWhatWasRemovedIsNoLoss) {
  StoredBackups stored;
  WrittenBackup(stored, backupID)
      .section("scripts")
      .item("1", "A", script("A"))
      .item("2", "B", script(""))
      .removed("3", "Gone")
      .failed("4", "F", "HTTP 500")
      .publish();
  const auto result = made(stored);
  EXPECT_THAT(result.names, ElementsAre("script A"));
  ASSERT_EQ(result.losses.size(), 2U);
  EXPECT_EQ(result.losses[0].reason, "it has no name");
  EXPECT_THAT(result.losses[1].reason, HasSubstr("HTTP 500"));
}

TEST(BackupPlaybook, AnObjectThatIsDamagedIsLeftOutWithAReason) {
  StoredBackups stored;
  WrittenBackup(stored, backupID).section("scripts").item("1", "A", "no JSON").publish();
  const auto result = made(stored);
  EXPECT_THAT(result.names, IsEmpty());
  ASSERT_EQ(result.losses.size(), 1U);
  EXPECT_FALSE(result.losses[0].reason.empty());
}

TEST(BackupPlaybook, GroupsStandBehindThoseThatTheyReferTo) {
  StoredBackups stored;
  WrittenBackup(stored, backupID)
      .section("computerGroups")
      .item("1", "A", group("A", {"C", "B"}))
      .item("2", "B", group("B", {"C", "not there"}))
      .item("3", "C", group("C"))
      .item("4", "D", group("D", {"D", "E"}))
      .item("5", "E", group("E", {"D"}))
      .publish();
  EXPECT_THAT(made(stored).names,
              ElementsAre("smartGroup C", "smartGroup B", "smartGroup A", "smartGroup E", "smartGroup D"));
}

TEST(BackupPlaybook, AStopEndsIt) {
  StoredBackups stored;
  WrittenBackup(stored, backupID).section("scripts").item("1", "A", script("A")).publish();
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THROW(playbookResources(
                   BackupReader(stored.repository, backupID), {playbookSection("scripts")},
                   [](const PlaybookLoss&) {}, stop.get_token()),
               platform::CancellationError);
}

}  // namespace
}  // namespace orvik
