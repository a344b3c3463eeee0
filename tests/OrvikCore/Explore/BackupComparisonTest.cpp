#include "OrvikCore/Explore/BackupComparison.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Concurrency/Cancellation.h"
#include "tests/Support/StoredBackups.h"
#include "tests/Support/TestKeys.h"

namespace orvik::test {
namespace {

using ChangeKind = BackupReader::ChangeKind;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

std::vector<BackupComparison::Section> compared(const BackupReader& from, const BackupReader& to,
                                                const std::optional<std::string>& section = {}) {
  std::vector<BackupComparison::Section> sections;
  BackupComparison::compare(from, to, section,
                            [&](BackupComparison::Section each) { sections.push_back(std::move(each)); });
  return sections;
}

struct BackupComparisonTest : testing::Test {
  StoredBackups stored;
};

TEST_F(BackupComparisonTest, NewRemovedAndChangedObjectsAreToldByName) {
  const auto from = stored.publish(
      StoredBackups::first,
      {StoredBackups::section("scripts", {stored.item("1", "same", {{"pro", R"({"a":1})"}}),
                                          stored.item("2", "changed", {{"pro", R"({"a":1})"}}),
                                          stored.item("3", "gone", {{"pro", R"({"a":3})"}})})});
  const auto to = stored.publish(
      StoredBackups::third,
      {StoredBackups::section("scripts", {stored.item("1", "same", {{"pro", R"({"a":1})"}}),
                                          stored.item("2", "changed", {{"pro", R"({"a":2})"}}),
                                          stored.item("4", "added", {{"pro", R"({"a":4})"}})})});
  const auto sections = compared(from, to);
  ASSERT_THAT(sections, SizeIs(1));
  EXPECT_EQ(sections[0].id, "scripts");
  EXPECT_EQ(sections[0].problem, std::nullopt);
  const auto& differences = sections[0].differences;
  ASSERT_THAT(differences, SizeIs(3));
  EXPECT_EQ(differences[0].entry.displayName(), "added");
  EXPECT_EQ(differences[0].kind, ChangeKind::new_);
  EXPECT_EQ(differences[1].entry.displayName(), "changed");
  EXPECT_EQ(differences[1].kind, ChangeKind::changed);
  EXPECT_THAT(differences[1].changes, ElementsAre(FieldChange{"A", "1", "2"}));
  EXPECT_EQ(differences[2].entry.displayName(), "gone");
  EXPECT_EQ(differences[2].kind, ChangeKind::removed);
  EXPECT_EQ(differences[2].entry.change(), ChangeKind::removed);
}

TEST_F(BackupComparisonTest, BackupsWithTheSameContentHaveNoDifferences) {
  const auto section = StoredBackups::section("scripts", {stored.item("1", "same", {{"pro", R"({"a":1})"}})});
  const auto from = stored.publish(StoredBackups::first, {section});
  const auto to = stored.publish(StoredBackups::second, {section});
  EXPECT_THAT(compared(from, to), IsEmpty());
  EXPECT_THAT(compared(to, from), IsEmpty());
}

TEST_F(BackupComparisonTest, SectionsComeInCatalogOrderAndOneAloneWhenItIsNamed) {
  const auto object = [&](const char* value) {
    return std::vector{stored.item("1", "x", {{"pro", std::string(R"({"a":)") + value + "}"}})};
  };
  const auto from = stored.publish(StoredBackups::first, {StoredBackups::section("webhooks", object("1")),
                                                          StoredBackups::section("computers", object("1"))});
  const auto to = stored.publish(StoredBackups::second, {StoredBackups::section("computers", object("2")),
                                                         StoredBackups::section("webhooks", object("2"))});
  const auto sections = compared(from, to);
  ASSERT_THAT(sections, SizeIs(2));
  EXPECT_EQ(sections[0].id, "computers");
  EXPECT_EQ(sections[1].id, "webhooks");
  EXPECT_THAT(compared(from, to, "webhooks"), SizeIs(1));
}

TEST_F(BackupComparisonTest, ASectionThatOneBackupDidNotReadIsNoRemoval) {
  const auto from = stored.publish(
      StoredBackups::first, {StoredBackups::section("scripts", {stored.item("1", "x", {{"pro", "{}"}})})});
  auto unread = summaryOf("scripts", false);
  unread.status = SectionSummary::Status::notPermitted;
  unread.message = "HTTP 403";
  const auto to = stored.publish(StoredBackups::second, {}, {}, {unread});
  for (const auto& sections : {compared(from, to), compared(to, from)}) {
    ASSERT_THAT(sections, SizeIs(1));
    EXPECT_THAT(sections[0].differences, IsEmpty());
    EXPECT_THAT(sections[0].problem.value_or(""), HasSubstr("notPermitted"));
    EXPECT_THAT(sections[0].problem.value_or(""), HasSubstr("HTTP 403"));
    EXPECT_THAT(sections[0].problem.value_or(""), HasSubstr(StoredBackups::second));
  }
  EXPECT_THAT(compared(to, to), IsEmpty());
}

TEST_F(BackupComparisonTest, ADamagedIndexIsAProblemOfItsSectionAlone) {
  const auto object = [&](const char* value) {
    return std::vector{stored.item("1", "x", {{"pro", std::string(R"({"a":)") + value + "}"}})};
  };
  const auto from = stored.publish(StoredBackups::first, {StoredBackups::section("scripts", object("1")),
                                                          StoredBackups::section("webhooks", object("1"))});
  const auto to = stored.publish(StoredBackups::second, {StoredBackups::section("scripts", object("2")),
                                                         StoredBackups::section("webhooks", object("2"))});
  write(to.directory() / BackupFormat::sectionPath("scripts"), "{");
  const auto sections = compared(from, to);
  ASSERT_THAT(sections, SizeIs(2));
  EXPECT_THAT(sections[0].problem.value_or(""), HasSubstr("can't be read"));
  EXPECT_THAT(sections[1].differences, SizeIs(1));
}

TEST_F(BackupComparisonTest, AnObjectThatOneBackupCouldNotReadIsNeitherNewNorRemoved) {
  const auto from = stored.publish(
      StoredBackups::first, {StoredBackups::section("scripts", {stored.item("1", "x", {{"pro", "{}"}})})});
  auto index = StoredBackups::section("scripts", {});
  index.errors = {{"1", "x", "HTTP 500"}};
  const auto to = stored.publish(StoredBackups::second, {index});
  for (const auto& sections : {compared(from, to), compared(to, from)}) {
    ASSERT_THAT(sections, SizeIs(1));
    ASSERT_THAT(sections[0].differences, SizeIs(1));
    EXPECT_EQ(sections[0].differences[0].kind, ChangeKind::failed);
    EXPECT_EQ(sections[0].differences[0].entry.error, "HTTP 500 (in 2025-03-05T091500Z)");
  }
}

TEST_F(BackupComparisonTest, OnlyObjectsWhoseNamesDifferAreRead) {
  const auto same = stored.item("1", "same", {{"pro", R"({"a":"same"})"}});
  const auto from = stored.publish(StoredBackups::first, {StoredBackups::section("scripts", {same})});
  const auto to = stored.publish(
      StoredBackups::second,
      {StoredBackups::section("scripts", {same, stored.item("2", "new", {{"pro", R"({"a":"new"})"}})})});
  std::filesystem::remove_all(stored.folder / "store");
  ASSERT_THAT(compared(from, to), SizeIs(1));
  EXPECT_THAT(compared(from, to)[0].differences, SizeIs(1));
}

TEST_F(BackupComparisonTest, TheSameContentUnderASealedNameIsNoDifference) {
  const auto from =
      stored.publish(StoredBackups::first,
                     {StoredBackups::section("scripts", {stored.item("1", "x", {{"pro", R"({"a":1})"}})})});
  stored.cipher = sealFolder(stored.folder.path());
  const auto to =
      stored.publish(StoredBackups::second,
                     {StoredBackups::section("scripts", {stored.item("1", "x", {{"pro", R"({"a":1})"}})})});
  ASSERT_NE(from.item("scripts", "1")->objects, to.item("scripts", "1")->objects);
  EXPECT_THAT(compared(from, to), IsEmpty());
}

TEST_F(BackupComparisonTest, ItemsInAnotherOrderAreTheSame) {
  std::vector<IndexItem> items;
  for (int i = 0; i < 20; ++i) {
    const auto id = std::to_string(i);
    items.push_back(stored.item(id, "name", {{"pro", R"({"id":)" + id + "}"}}));
  }
  const auto from = stored.publish(StoredBackups::first, {StoredBackups::section("scripts", items)});
  std::ranges::reverse(items);
  std::swap(items[3], items[11]);
  const auto to = stored.publish(StoredBackups::second, {StoredBackups::section("scripts", items)});
  EXPECT_THAT(compared(from, to), IsEmpty());
  items.erase(items.begin() + 5);
  items[7] = stored.item(items[7].id, "name", {{"pro", R"({"id":"other"})"}});
  const auto last = stored.publish(StoredBackups::third, {StoredBackups::section("scripts", items)});
  ASSERT_THAT(compared(from, last), SizeIs(1));
  EXPECT_THAT(compared(from, last)[0].differences, SizeIs(2));
}

TEST_F(BackupComparisonTest, OfItemsWithTheSameIDEachIsMetOnce) {
  const auto item = [&](const char* value) {
    return stored.item("1", "x", {{"pro", std::string(R"({"a":)") + value + "}"}});
  };
  const auto from =
      stored.publish(StoredBackups::first, {StoredBackups::section("scripts", {item("1"), item("2")})});
  EXPECT_THAT(compared(from, from), IsEmpty());
  const auto to = stored.publish(StoredBackups::second, {StoredBackups::section("scripts", {item("1")})});
  ASSERT_THAT(compared(from, to), SizeIs(1));
  EXPECT_THAT(compared(from, to)[0].differences, SizeIs(1));
}

TEST_F(BackupComparisonTest, AnIndexWithItemsOfAnotherShapeIsAProblemOfItsSection) {
  const auto from = stored.publish(
      StoredBackups::first, {StoredBackups::section("scripts", {stored.item("1", "x", {{"pro", "{}"}})})});
  const auto to = stored.publish(
      StoredBackups::second, {StoredBackups::section("scripts", {stored.item("1", "x", {{"pro", "1"}})})});
  const auto path = to.directory() / BackupFormat::sectionPath("scripts");
  const auto head =
      std::string(R"({"sectionID":"scripts","title":"x","sources":{},"removed":[],"errors":[],"items":)");
  for (const auto* items :
       {"{}", "[1]", R"([{"id":1,"objects":{}}])", R"([{"id":"1"}])", R"([{"id":"1","objects":[]}])",
        R"([{"id":"1","objects":{"pro":"x"},"change":"odd"}])", R"([{"id":"2","objects":{}}])"}) {
    write(path, head + items + "}");
    const auto sections = compared(from, to);
    ASSERT_THAT(sections, SizeIs(1)) << items;
    EXPECT_THAT(sections[0].problem.value_or(""), HasSubstr("can't be read")) << items;
    EXPECT_THAT(sections[0].differences, IsEmpty()) << items;
  }
}

TEST_F(BackupComparisonTest, AStopEndsIt) {
  const auto from = stored.publish(
      StoredBackups::first, {StoredBackups::section("scripts", {stored.item("1", "x", {{"pro", "{}"}})})});
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THROW(BackupComparison::compare(
                   from, from, {}, [](auto) {}, stop.get_token()),
               platform::CancellationError);
}

}  // namespace
}  // namespace orvik::test
