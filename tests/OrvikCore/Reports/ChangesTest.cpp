#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Platform/Files/Files.h"
#include "tests/Support/Reporting.h"
#include "tests/Support/StoredBackups.h"

namespace orvik::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Change = IndexItem::Change;

/// Two backups, of which the second is reported.
struct ChangesTest : testing::Test {
  StoredBackups stored;
  SectionIndex before = emptyIndex("policies");
  SectionIndex now = emptyIndex("policies");

  void add(const std::string& id, const std::string& name, const std::string& old,
           const std::string& changed) {
    before.items.push_back(stored.item(id, name, {{"pro", old}}));
    now.items.push_back(stored.item(id, name, {{"pro", changed}}, Change::changed));
  }
  void addNew(int count, const std::string& name = "Object") {
    for (int i = 1; i <= count; ++i)
      now.items.push_back(stored.item(fmt::format("{} {}", name, i), fmt::format("{} {}!", name, i)));
  }
  BackupReader reader() const {
    stored.publish(StoredBackups::first, {before});
    return stored.publish(StoredBackups::second, {now}, StoredBackups::first);
  }
  /// From the changes on, without what comes behind them.
  std::string changes() const { return changesOf(backupReportOf(reader())); }
  static std::string changesOf(const PDFText& report) {
    const auto text = report.flowing();
    const auto begin = text.find("Changes since");
    return begin == text.npos ? "" : text.substr(begin);
  }
};

TEST_F(ChangesTest, ASectionWithSeventyNewEntriesShowsSixtyAndALineWithTheRemainder) {
  addNew(70);
  const auto text = changes();
  EXPECT_THAT(
      text, HasSubstr("Changes since backup 2025-03-04T091500Z Policies New (70) – first 60 shown (10 more) "
                      "• Object 1! • Object 2! • Object 3!"));
  EXPECT_THAT(text, HasSubstr("• Object 60! … and 10 more"));
  EXPECT_THAT(text, Not(HasSubstr("Object 61!")));
}

TEST_F(ChangesTest, ASimulationShowsTwentyFive) {
  addNew(30);
  const auto text = changesOf(simulationReportOf(reader()));
  EXPECT_THAT(text, HasSubstr("New (30) – first 25 shown (5 more) • Object 1!"));
  EXPECT_THAT(text, HasSubstr("• Object 25! … and 5 more"));
}

TEST_F(ChangesTest, NothingChangedIsSaid) {
  now.items.push_back(stored.item("1", "Same", {}, Change::unchanged));
  EXPECT_THAT(changes(), HasSubstr("Nothing changed."));
}

TEST_F(ChangesTest, NewChangedAndRemovedStandByNameInNaturalOrder) {
  addNew(1, "Fresh");
  add("1", "b 10", R"({"name":"a"})", R"({"name":"b"})");
  add("2", "b 9", R"({"name":"a"})", R"({"name":"b"})");
  now.removed = {{"4", "z 10"}, {"3", "z 9"}, {"5", std::nullopt}};
  EXPECT_THAT(changes(),
              HasSubstr("Policies New (1) • Fresh 1! Changed (2) • b 9 Name: a → b • b 10 Name: a → b "
                        "Removed (3) • #5 • z 9 • z 10"));
}

TEST_F(ChangesTest, ChangedFieldsStandBelowTheirObject) {
  add("1", "One", R"({"general":{"enabled":true,"note":"","site":null}})",
      R"({"general":{"enabled":false,"note":"x","site":"North"}})");
  const auto text = changes();
  EXPECT_THAT(text, HasSubstr("Changed (1) • One Enabled: Yes → No Note: \"\" → x Site: "
                              "(none) → North"));
}

TEST_F(ChangesTest, OfManyFieldsEightAreShown) {
  std::string old = "{", changed = "{";
  for (int i = 10; i < 30; ++i) {
    old += fmt::format("{}\"field{}\":\"a\"", i == 10 ? "" : ",", i);
    changed += fmt::format("{}\"field{}\":\"b\"", i == 10 ? "" : ",", i);
  }
  add("1", "One", old + "}", changed + "}");
  const auto text = changes();
  EXPECT_EQ(occurrences(text, "a → b"), 8U);
  EXPECT_THAT(text, HasSubstr("… and 12 more field(s)"));
}

TEST_F(ChangesTest, ALongValueIsShownFromShortlyBeforeTheDifference) {
  const std::string same = "echo the same line of a script\\n";
  std::string script;
  for (int i = 0; i < 50; ++i) script += same;
  add("1", "One", R"({"script":")" + script + R"(exit 0\n"})", R"({"script":")" + script + R"(exit 1\n"})");
  EXPECT_THAT(changes(), HasSubstr("Script: …ne of a script exit 0 → …ne of a script exit 1"));
}

TEST_F(ChangesTest, AnObjectWhoseOrderAloneDiffersSaysSo) {
  add("1", "One", R"({"l":[{"name":"a"},{"name":"b"}]})", R"({"l":[{"name":"b"},{"name":"a"}]})");
  EXPECT_THAT(changes(), HasSubstr("• One Only the order of something differs."));
}

TEST_F(ChangesTest, FieldsOfFortyChangedObjectsAreShown) {
  for (int i = 1; i <= 75; ++i)
    add(std::to_string(i), fmt::format("Object {}!", i), R"({"name":"a"})", R"({"name":"b"})");
  const auto text = changes();
  EXPECT_THAT(text, HasSubstr("Changed (75) – first 60 shown (15 more) • Object 1! Name: a → b"));
  EXPECT_EQ(occurrences(text, "Name: a → b"), 40U);
  EXPECT_THAT(text, HasSubstr("35 more changed objects."));
  EXPECT_THAT(text, HasSubstr("• Object 60! … and 15 more"));
  EXPECT_EQ(occurrences(text, "• Object "), 60U);
}

TEST_F(ChangesTest, ASimulationShowsNoFields) {
  add("1", "One", R"({"name":"a"})", R"({"name":"b"})");
  const auto text = changesOf(simulationReportOf(reader()));
  EXPECT_THAT(text, HasSubstr("Changed (1) • One"));
  EXPECT_THAT(text, Not(HasSubstr("→")));
}

TEST_F(ChangesTest, DeviceSectionsTellHowManyInventoriesCame) {
  before.sectionID = now.sectionID = "computers";
  add("1", "Mac 1", R"({"name":"a"})", R"({"name":"b"})");
  addNew(1, "Mac new");
  now.removed = {{"9", "Mac old"}};
  const auto text = changes();
  EXPECT_THAT(text,
              HasSubstr("Computers • Inventory updated (1) New (1) • Mac new 1! Removed (1) • Mac old"));
  EXPECT_THAT(text, Not(HasSubstr("Mac 1 ")));
  EXPECT_THAT(text, Not(HasSubstr("Changed (")));
}

TEST_F(ChangesTest, AnEarlierVersionThatIsGoneIsNoChangeOfItsFields) {
  add("1", "One", R"({"name":"a"})", R"({"name":"b"})");
  now.items.push_back(stored.item("2", "Two", {{"pro", "{}"}}, Change::changed));
  before.items.push_back(itemWithID("3"));
  now.items.push_back(stored.item("3", "Three", {}, Change::changed));
  now.items.back().objects["pro"] = std::string(64, 'a');
  const auto both = reader();
  EXPECT_THAT(changesOf(backupReportOf(both)),
              HasSubstr("• One Name: a → b • Three This version can't be read. • Two "
                        "The earlier version can't be read."));
  platform::files::removeTree(stored.repository.backupDirectory(StoredBackups::first));
  EXPECT_THAT(changesOf(backupReportOf(both)), HasSubstr("• One The earlier version can't be read."));
}

TEST_F(ChangesTest, AnIndexThatCannotBeReadLeavesTheCounts) {
  addNew(3);
  const auto both = reader();
  platform::files::atomicWrite("{", both.directory() / BackupFormat::sectionPath("policies"));
  EXPECT_THAT(
      changesOf(backupReportOf(both)),
      HasSubstr("Policies • New (3) The section's index can't be read, so the objects are not named."));
}

TEST_F(ChangesTest, AnItemThatIsNoRecordIsNamedAllTheSame) {
  add("1", "One", R"({"name":"a"})", R"({"name":"b"})");
  const auto both = reader();
  const auto path = both.directory() / BackupFormat::sectionPath("policies");
  auto text = platform::files::read(path);
  const std::string id = R"("id": "1")";
  ASSERT_NE(text.find("\"name\""), text.npos);
  text.replace(text.find("\"name\""), 6, "\"marker\" : 5,\n\"name\"");
  platform::files::atomicWrite(text, path);
  EXPECT_THAT(changesOf(backupReportOf(both)), HasSubstr("• One Its record can't be read."));
}

TEST_F(ChangesTest, AnUnknownSectionIsComparedLikeAnother) {
  before.sectionID = now.sectionID = "fromTheFuture";
  add("1", "One", R"({"name":"a"})", R"({"name":"b"})");
  EXPECT_THAT(changes(), HasSubstr("fromTheFuture Changed (1) • One Name: a → b"));
}

}  // namespace
}  // namespace orvik::test
