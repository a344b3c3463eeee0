#include "orvik/Folder/CareReport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/Support/JSONLines.h"

namespace orvik::host {
namespace {

using Fate = CollectionPlan::Pack::Fate;
using test::member;
using testing::ElementsAre;

TEST(CareText, APackIsTakenWrittenAnewOrLeftForAReason) {
  CollectionPlan plan;
  plan.packs = {{"a.idx", "a.pack", Fate::removed, 2000, 0, 1'200'000, true},
                {"b.idx", "b.pack", Fate::rewritten, 10, 4, 600, true},
                {"c.idx", "c.pack", Fate::kept, 10, 9, 0, true}};
  EXPECT_THAT(
      careText::collection(plan),
      ElementsAre(
          "Packs with garbage:", "  a.pack  goes: no backup refers to any of its 2,000 objects; 1.2 MB",
          "  b.pack  is written anew with 4 of 10 objects: half of it or more is garbage; 600 bytes",
          "  c.pack  stays: 1 of its 10 objects are garbage, less than half of its bytes"));
  const auto lines = careJSON::collection(plan);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[1].text(), R"({"event":"garbage","kind":"pack","pack":"b.pack","fate":"rewritten",)"
                             R"("entries":10,"live":4,"bytes":600})");
  EXPECT_EQ(member(lines[0], "fate"), "removed");
  EXPECT_EQ(member(lines[2], "fate"), "kept");
}

TEST(CareText, ManyEntriesAreSummedUpAndScriptsGetThemAll) {
  CollectionPlan plan;
  for (int i = 0; i < 25; ++i) plan.objects.push_back({"store/objects/ab/" + std::to_string(i), 2});
  plan.files = {{"store/files/cd/1", 7}};
  const auto lines = careText::collection(plan);
  ASSERT_EQ(lines.size(), 24u);
  EXPECT_EQ(lines[0], "25 single objects that no backup refers to; 50 bytes");
  EXPECT_EQ(lines[1], "  store/objects/ab/0");
  EXPECT_EQ(lines[21], "  and 5 more");
  EXPECT_EQ(lines[22], "1 package file that no backup refers to; 7 bytes");
  EXPECT_EQ(careJSON::collection(plan).size(), 26u);
}

TEST(CareText, AVerdictSaysWhy) {
  using enum RetentionVerdict::Reason;
  const auto reason = [](RetentionVerdict::Reason given, RetentionPolicy policy) {
    const auto line = careText::verdicts({{"id", {}, given}}, policy).at(0);
    return line.substr(line.rfind("  ") + 2);
  };
  EXPECT_EQ(reason(newest, {1, 1}), "stays: the newest backup always does");
  EXPECT_EQ(reason(withinLimits, {1, 1}), "stays: within the limits");
  EXPECT_EQ(reason(beyondCount, {1, 0}), "goes: only the newest is kept");
  EXPECT_EQ(reason(beyondCount, {30, 0}), "goes: not among the newest 30");
  EXPECT_EQ(reason(tooOld, {0, 90}), "goes: it finished more than 90 days ago");
}

TEST(CareText, NamesOfForeignFilesCannotMoveTheCursor) {
  StoreLeftovers leftovers;
  leftovers.withoutManifest = {"\x1b[2J\n"};
  EXPECT_EQ(careText::leftovers(leftovers).at(1), "  ␛[2J ");
}

}  // namespace
}  // namespace orvik::host
