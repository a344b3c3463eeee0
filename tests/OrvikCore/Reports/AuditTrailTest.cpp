#include "OrvikCore/Reports/AuditTrail.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Reports/AuditSummary.h"
#include "tests/Support/Folders.h"
#include "tests/Support/SampleRecords.h"

namespace orvik {
namespace {

using test::auditEntry;
using testing::ElementsAre;
using testing::IsEmpty;
namespace files = platform::files;

class Trail : public testing::Test {
 protected:
  static std::string line(const std::string& target) {
    return BackupFormat::makeLineEncoder().encode(auditEntry(target)) + "\n";
  }

  /// The targets of all entries.
  std::vector<std::string> walk(const AuditTrail& trail) {
    std::vector<std::string> targets;
    damaged = trail.forEach([&](const AuditEntry& entry) { targets.push_back(entry.target); });
    return targets;
  }
  std::vector<std::string> walk() { return walk(AuditTrail::in(folder.path())); }

  files::TempFolder folder;
  const files::Path path = folder / "audit.jsonl";
  std::size_t damaged = 0;
};

TEST_F(Trail, WalksTheEntriesOfAFileAsOftenAsAsked) {
  test::write(path, line("a") + line("b"));
  const auto trail = AuditTrail::in(folder.path());
  EXPECT_THAT(walk(trail), ElementsAre("a", "b"));
  EXPECT_THAT(walk(trail), ElementsAre("a", "b"));
  EXPECT_EQ(damaged, 0U);
}

TEST_F(Trail, WalksEntriesThatAreHeld) {
  EXPECT_THAT(walk(AuditTrail({auditEntry("a"), auditEntry("b")})), ElementsAre("a", "b"));
}

TEST_F(Trail, AMissingFileAndAFolderInItsPlaceAreEmpty) {
  EXPECT_THAT(walk(), IsEmpty());
  std::filesystem::create_directory(path);
  EXPECT_THAT(walk(), IsEmpty());
}

TEST_F(Trail, APipeInPlaceOfTheFileBlocksNobody) {
  test::makePipe(path);
  EXPECT_THAT(walk(), IsEmpty());
}

TEST_F(Trail, DamagedLinesAreCountedAndCostNoOther) {
  test::write(path, line("a") + "{\"time\":1}\n\xff\n\n" + line("b") + "[[[[[[\n" + line("c") + "{\"ti");
  EXPECT_THAT(walk(), ElementsAre("a", "b", "c"));
  EXPECT_EQ(damaged, 4U);
}

TEST_F(Trail, LinesAcrossThePiecesOfTheFileAreWhole) {
  std::string content;
  std::vector<std::string> targets;
  for (std::size_t length = 1; content.size() < 400'000; length = length * 7 % 9973) {
    targets.emplace_back(length, 'x');
    content += line(targets.back());
  }
  test::write(path, content);
  EXPECT_EQ(walk(), targets);
}

TEST_F(Trail, ALineOfAHundredMegabytesIsPassedOverWithoutBeingHeld) {
  test::makeSparse(path, 100'000'000);
  files::AppendFile(path).append("\n" + line("behind it"));
  std::size_t longest = 0;
  const auto leftOut = LineFile::forEachLine(
      path, 1000, [&](std::string_view each) { longest = std::max(longest, each.size()); });
  EXPECT_EQ(leftOut, 1U);
  EXPECT_LT(longest, 1000U);
  EXPECT_THAT(walk(), ElementsAre("behind it"));
  EXPECT_EQ(damaged, 1U);
}

TEST_F(Trail, ALineAsLongAsAllowedIsReadAndALongerOneIsNot) {
  const auto limit = static_cast<std::size_t>(BackupFormat::recordLimit);
  const auto frame = line("").size() - 1;
  test::write(path,
              line(std::string(limit - frame, 'a')) + line(std::string(limit - frame + 1, 'b')) + line("c"));
  const auto targets = walk();
  ASSERT_EQ(targets.size(), 2U);
  EXPECT_EQ(targets.front().front(), 'a');
  EXPECT_EQ(damaged, 1U);
}

TEST_F(Trail, WhatTheVisitorThrowsComesOut) {
  test::write(path, line("a"));
  EXPECT_THROW(
      AuditTrail::in(folder.path()).forEach([](const AuditEntry&) { throw std::runtime_error("stop"); }),
      std::runtime_error);
}

TEST(PathTemplate, PutsWordsInPlaceOfWhatNamesAnObject) {
  EXPECT_EQ(templateOf("JSSResource/policies/id/123"), "JSSResource/policies/id/{id}");
  EXPECT_EQ(templateOf("api/v1/x/6f9619ff-8b86-d011-b42d-00cf4fc964ff/y"), "api/v1/x/{id}/y");
  EXPECT_EQ(templateOf("/api/v2/x/6F9619FF-8B86-D011-B42D-00CF4FC964FF"), "/api/v2/x/{id}");
  EXPECT_EQ(templateOf("api/v1/jcds/files/Tool 1.pkg"), "api/v1/jcds/files/{file}");
  EXPECT_EQ(templateOf("api/v1/jcds/files/123"), "api/v1/jcds/files/{file}");
  EXPECT_EQ(templateOf("api/v1/jcds/files"), "api/v1/jcds/files");
  EXPECT_EQ(templateOf("api/v1/jcds/files/"), "api/v1/jcds/files/");
  EXPECT_EQ(templateOf("api/v1/other/files/name"), "api/v1/other/files/name");
  EXPECT_EQ(templateOf("api/v1/12a/x//"), "api/v1/12a/x//");
  EXPECT_EQ(templateOf(""), "");
}

TEST(Sums, AddWhatEntriesTellMostFrequentFirst) {
  AuditSums sums(10);
  auto entry = auditEntry("x");
  entry.bytes = 10;
  entry.milliseconds = 5;
  sums.add("rare", entry);
  for (int i = 0; i < 3; ++i) sums.add("often", entry);
  entry.outcome = "failed";
  entry.bytes.reset();
  sums.add("often", entry);
  const auto rows = sums.rows();
  ASSERT_THAT(sums.names(), ElementsAre("often", "rare"));
  EXPECT_EQ(rows[0].count, 4);
  EXPECT_EQ(rows[0].errors, 1);
  EXPECT_EQ(rows[0].bytes, 30);
  EXPECT_EQ(rows[0].milliseconds, 20);
}

TEST(Sums, BeyondTheirNamesAllElseIsOneRow) {
  AuditSums sums(2);
  for (const auto* name : {"a", "b", "c", "d", "a"}) sums.add(name, auditEntry(name));
  EXPECT_THAT(sums.names(), ElementsAre("a", "b", "others"));
  EXPECT_EQ(sums.rows().back().count, 2);
}

TEST(Sums, NumbersOfAForeignLogNeverOverflow) {
  AuditSums sums(1);
  auto entry = auditEntry("x");
  entry.bytes = std::numeric_limits<std::int64_t>::max();
  entry.milliseconds = std::numeric_limits<std::int64_t>::min();
  sums.add("a", entry);
  sums.add("a", entry);
  EXPECT_EQ(sums.rows()[0].bytes, std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(sums.rows()[0].milliseconds, 0);
}

}  // namespace
}  // namespace orvik
