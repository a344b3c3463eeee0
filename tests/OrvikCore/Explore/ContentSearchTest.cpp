#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "OrvikCore/Explore/BackupReader.h"
#include "OrvikCore/Explore/SearchText.h"
#include "OrvikCore/Explore/SearchTextCache.h"
#include "OrvikCore/Jamf/JSONTree.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "tests/Support/StoredBackups.h"
#include "tests/Support/TestKeys.h"

namespace orvik::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

std::vector<std::string> namesOf(const std::vector<SearchHit>& hits) {
  std::vector<std::string> names;
  for (const auto& hit : hits) names.push_back(hit.entry.displayName());
  return names;
}

std::vector<std::string> excerptsOf(const std::string& json, const std::string& needle) {
  return searchText::excerpts(JSONTree::parse(json).raw().value(), needle);
}

struct ContentSearch : testing::Test {
  StoredBackups stored;

  /// A section of that many objects, each with its number in words of its own.
  BackupReader publishMany(int count) const {
    std::vector<IndexItem> items;
    for (int i = 0; i < count; ++i) {
      const auto number = std::to_string(i);
      items.push_back(
          stored.item(number, "Object " + number, {{"pro", R"({"text":"common word )" + number + R"(x"})"}}));
    }
    return stored.publish(StoredBackups::first, {StoredBackups::section("policies", std::move(items))});
  }
};

TEST(SearchText, TextsAndNumbersAreTakenAndKeysTruthValuesAndNullsAreNot) {
  EXPECT_EQ(searchText::of(R"({"KEY":"Some TEXT","l":[1,2.50,"ÄÖ"],"t":true,"n":null,"o":{"p":"deep"}})"),
            "some text\n1\n2.5\näö\ndeep");
  EXPECT_EQ(searchText::of("{}"), "");
  EXPECT_EQ(searchText::of("\"Bare\""), "bare");
  EXPECT_THROW(searchText::of("<xml/>"), platform::json::ParseError);
}

TEST(SearchText, AnAccentedLetterIsTheSameHoweverItIsWritten) {
  EXPECT_EQ(searchText::of("\"Zoe\u0308\""), searchText::folded("ZOË"));
}

TEST(SearchText, AnExcerptShowsThePathAndTheSurroundings) {
  EXPECT_THAT(excerptsOf(R"({"general":{"name":"The Needle here"}})", "needle"),
              ElementsAre("General › Name: The Needle here"));
}

TEST(SearchText, AnExcerptIsCutFortyCharactersAheadAndSixtyBehind) {
  const std::string ahead(50, 'a');
  const std::string behind(70, 'b');
  EXPECT_THAT(excerptsOf("{\"k\":\"" + ahead + "needle" + behind + "\"}", "needle"),
              ElementsAre("K: …" + std::string(40, 'a') + "needle" + std::string(60, 'b') + "…"));
  EXPECT_THAT(
      excerptsOf("{\"k\":\"" + std::string(40, 'a') + "needle" + std::string(60, 'b') + "\"}", "needle"),
      ElementsAre("K: " + std::string(40, 'a') + "needle" + std::string(60, 'b')));
  std::string letters;
  for (int i = 0; i < 50; ++i) letters += "e\u0301🧑‍🚀";
  const auto excerpts = excerptsOf("{\"k\":\"" + letters + "needle\"}", "needle");
  ASSERT_THAT(excerpts, SizeIs(1));
  std::string twenty;
  for (int i = 0; i < 20; ++i) twenty += "é🧑‍🚀";
  EXPECT_EQ(excerpts[0], "K: …" + twenty + "needle");
}

TEST(SearchText, LineFeedsOfAnExcerptAreShown) {
  EXPECT_THAT(excerptsOf(R"({"k":"\none\nneedle\n two \n"})", "needle"),
              ElementsAre("K: ⏎ one ⏎ needle ⏎  two  ⏎"));
}

TEST(SearchText, ThreeExcerptsOfAnObjectAreEnough) {
  EXPECT_THAT(excerptsOf(R"({"a":"x1","b":"x2","c":"x3","d":"x4"})", "x"),
              ElementsAre("A: x1", "B: x2", "C: x3"));
}

TEST_F(ContentSearch, ObjectsAreFoundByTheirTextInWhateverCase) {
  const auto reader = stored.publish(
      StoredBackups::first,
      {StoredBackups::section("scripts", {stored.item("1", "b", {{"pro", R"({"s":"run THE thing"})"}}),
                                          stored.item("2", "a", {{"pro", R"({"s":"the thing"})"}})}),
       StoredBackups::section(
           "policies",
           {stored.item("9", "z", {{"classic", R"({"policy":{"p":{"q":"The Thing!"},"r":1}})"}})})});
  const auto hits = reader.searchContents(" The THING ", 10);
  EXPECT_THAT(namesOf(hits), ElementsAre("a", "b", "z"));
  EXPECT_THAT(hits[2].excerpts, ElementsAre("P › Q: The Thing!"));
  EXPECT_EQ(hits[2].id(), "policies:9");
}

TEST_F(ContentSearch, AHitByNameHasNoExcerpts) {
  const auto reader =
      stored.publish(StoredBackups::first,
                     {StoredBackups::section("scripts", {stored.item("1", "The Needle", {{"pro", "{}"}})})});
  const auto hits = reader.searchContents("needle", 10);
  ASSERT_THAT(hits, SizeIs(1));
  EXPECT_THAT(hits[0].excerpts, IsEmpty());
}

TEST_F(ContentSearch, AnExactIDIsFoundWhenItIsInLowerCase) {
  const auto reader = stored.publish(
      StoredBackups::first, {StoredBackups::section("scripts", {stored.item("abc", "1", {{"pro", "{}"}}),
                                                                stored.item("ABC", "2", {{"pro", "{}"}})})});
  EXPECT_THAT(namesOf(reader.searchContents("ABC", 10)), ElementsAre("1"));
  EXPECT_THAT(namesOf(reader.searchContents("ab", 10)), IsEmpty());
}

TEST_F(ContentSearch, ThreeExcerptsOfAllVariantsAreKept) {
  const auto reader = stored.publish(
      StoredBackups::first,
      {StoredBackups::section("computers", {stored.item("1", "Mac",
                                                        {{"pro", R"({"a":"x1","b":"x2"})"},
                                                         {"classic", R"({"c":"x3","d":"x4"})"}})})});
  EXPECT_THAT(reader.searchContents("x", 10).at(0).excerpts, SizeIs(3));
}

TEST_F(ContentSearch, ObjectsThatCannotBeReadAreSkipped) {
  auto missing = stored.item("1", "a");
  missing.objects["pro"] = std::string(64, '0');
  const auto reader =
      stored.publish(StoredBackups::first,
                     {StoredBackups::section("scripts", {missing, stored.item("2", "b", {{"pro", "<word/>"}}),
                                                         stored.item("3", "c", {{"pro", "\"word\""}})})});
  EXPECT_THAT(namesOf(reader.searchContents("word", 10)), ElementsAre("c"));
}

TEST_F(ContentSearch, HitsKeepTheOrderOfNamesOnAllProcessors) {
  const auto reader = publishMany(1500);
  const auto hits = reader.searchContents("common", 10'000);
  ASSERT_THAT(hits, SizeIs(1500));
  for (int i = 0; i < 1500; ++i)
    EXPECT_EQ(hits[static_cast<std::size_t>(i)].entry.item.id, std::to_string(i));
}

TEST_F(ContentSearch, TheLimitTakesTheFirstHits) {
  const auto reader = publishMany(1000);
  const auto hits = reader.searchContents("common", 450);
  ASSERT_THAT(hits, SizeIs(450));
  EXPECT_EQ(hits.back().entry.item.id, "449");
  EXPECT_THAT(reader.searchContents("common", 0), IsEmpty());
}

TEST_F(ContentSearch, ProgressComesOnceInTwoHundredEntries) {
  const auto reader = publishMany(450);
  std::vector<std::pair<std::size_t, std::size_t>> steps;
  reader.searchContents(
      "nowhere", 10, [] { return false; },
      [&](std::size_t position, std::size_t total) { steps.emplace_back(position, total); });
  EXPECT_THAT(steps, ElementsAre(Pair(0, 450), Pair(200, 450), Pair(400, 450)));
  const auto even = publishMany(400);
  steps.clear();
  even.searchContents("nowhere", 10, {},
                      [&](std::size_t position, std::size_t total) { steps.emplace_back(position, total); });
  EXPECT_THAT(steps, ElementsAre(Pair(0, 400), Pair(200, 400)));
}

TEST_F(ContentSearch, ACancelledSearchGivesWhatItHasFound) {
  const auto reader = publishMany(1000);
  int asked = 0;
  int told = 0;
  const auto hits = reader.searchContents(
      "common", 10'000, [&] { return ++asked == 3; }, [&](std::size_t, std::size_t) { ++told; });
  EXPECT_THAT(hits, SizeIs(400));
  EXPECT_EQ(told, 2);
  EXPECT_THAT(reader.searchContents("common", 10, [] { return true; }), IsEmpty());
}

TEST_F(ContentSearch, ASecondSearchReadsNothing) {
  const auto reader = publishMany(10);
  ASSERT_THAT(reader.searchContents("common word 7x", 10), SizeIs(1));
  std::filesystem::remove_all(stored.folder / "store");
  const auto again = reader.searchContents("common word 7x", 10);
  ASSERT_THAT(again, SizeIs(1));
  EXPECT_THAT(again[0].excerpts, IsEmpty()) << "it can't be read again";
  EXPECT_THAT(reader.searchContents("nowhere", 10), IsEmpty());
}

TEST_F(ContentSearch, SealedObjectsAreSearchedWithTheKeyAlone) {
  stored.cipher = sealFolder(stored.folder.path());
  const auto reader = stored.publish(
      StoredBackups::first,
      {StoredBackups::section("scripts", {stored.item("1", "a", {{"pro", "\"sealed word\""}})})});
  EXPECT_THAT(reader.searchContents("sealed", 10), SizeIs(1));
  BackupEncryption::forgetKeys();
  EXPECT_THAT(reader.searchContents("sealed", 10), IsEmpty());
}

TEST(SearchTextCacheTest, ATextIsMadeOnce) {
  SearchTextCache cache;
  int made = 0;
  const auto load = [&] { return "text " + std::to_string(++made); };
  EXPECT_EQ(*cache.text("a", load), "text 1");
  EXPECT_EQ(*cache.text("a", load), "text 1");
  EXPECT_EQ(*cache.text("b", load), "text 2");
  EXPECT_EQ(cache.bytesHeld(), 12U);
}

TEST(SearchTextCacheTest, ATextLongerThanTheWholeLimitIsReturnedAndNeverStored) {
  SearchTextCache cache(10);
  int made = 0;
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(*cache.text("a", [&] { return ++made, std::string(11, 'x'); }), std::string(11, 'x'));
  EXPECT_EQ(made, 2);
  EXPECT_EQ(cache.bytesHeld(), 0U);
}

TEST(SearchTextCacheTest, AFullCacheTakesNoMoreAndStaysAsItIs) {
  SearchTextCache cache(10);
  cache.text("a", [] { return std::string(6, 'x'); });
  cache.text("b", [] { return std::string(5, 'y'); });
  cache.text("c", [] { return std::string(4, 'z'); });
  EXPECT_EQ(cache.bytesHeld(), 10U);
  EXPECT_EQ(*cache.text("b", [] { return std::string("again"); }), "again");
  EXPECT_EQ(*cache.text("a", [] { return std::string("again"); }), "xxxxxx");
}

TEST(SearchTextCacheTest, ATextThatCannotBeMadeIsNotRemembered) {
  SearchTextCache cache;
  EXPECT_THROW(cache.text("a", []() -> std::string { throw tuv::Error("no"); }), tuv::Error);
  EXPECT_EQ(*cache.text("a", [] { return std::string("yes"); }), "yes");
}

}  // namespace
}  // namespace orvik::test
