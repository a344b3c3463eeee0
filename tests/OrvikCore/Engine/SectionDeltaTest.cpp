#include "OrvikCore/Engine/SectionDelta.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orvik {
namespace {

using Change = IndexItem::Change;

IndexItem item(std::string id, std::string hash, std::optional<std::string> fileHash = {}) {
  IndexItem made;
  made.id = std::move(id);
  made.name = "name of " + made.id;
  made.objects = {{"classic", std::move(hash)}};
  if (fileHash) made.file = FileRef{"f", *fileHash, {}, {}, FileRef::Status::reused, {}, {}, {}};
  return made;
}

SectionIndex indexOf(std::vector<IndexItem> items) {
  SectionIndex index;
  index.items = std::move(items);
  return index;
}

TEST(SectionDelta, WithoutAParentEveryItemIsNewAndNothingIsRemoved) {
  auto index = indexOf({item("1", "a"), item("2", "b")});
  const auto counts = applyDelta(index, nullptr);
  EXPECT_EQ(counts, (ChangeCounts{2, 2, 0, 0, 0, 0}));
  EXPECT_TRUE(index.removed.empty());
}

TEST(SectionDelta, ComparesObjectsAndFileHashes) {
  const auto parent =
      indexOf({item("same", "a"), item("object", "a"), item("file", "a", "f1"), item("lost", "a", "f1")});
  auto index = indexOf(
      {item("same", "a"), item("object", "b"), item("file", "a", "f2"), item("lost", "a"), item("new", "a")});
  const auto counts = applyDelta(index, &parent);
  std::vector<Change> changes;
  for (const auto& each : index.items) changes.push_back(each.change);
  EXPECT_THAT(changes, testing::ElementsAre(Change::unchanged, Change::changed, Change::changed,
                                            Change::changed, Change::new_));
  EXPECT_EQ(counts, (ChangeCounts{5, 1, 3, 1, 0, 0}));
}

TEST(SectionDelta, AnotherVariantIsAChange) {
  const auto parent = indexOf({item("1", "a")});
  auto index = indexOf({item("1", "a")});
  index.items[0].objects.emplace("xml", "b");
  EXPECT_EQ(applyDelta(index, &parent).changed, 1);
}

TEST(SectionDelta, TheMarkerTakesNoPart) {
  const auto parent = indexOf({item("1", "a")});
  auto index = indexOf({item("1", "a")});
  index.items[0].marker = "later";
  EXPECT_EQ(applyDelta(index, &parent).unchanged, 1);
}

TEST(SectionDelta, RemovedItemsStandInTheParentsOrder) {
  const auto parent = indexOf({item("9", "a"), item("1", "a"), item("5", "a")});
  auto index = indexOf({item("1", "a")});
  EXPECT_EQ(applyDelta(index, &parent).removed, 2);
  EXPECT_THAT(index.removed,
              testing::ElementsAre(RemovedItem{"9", "name of 9"}, RemovedItem{"5", "name of 5"}));
}

TEST(SectionDelta, AnObjectThatFailedIsInErrorsAndInRemoved) {
  const auto parent = indexOf({item("1", "a")});
  auto index = indexOf({});
  index.errors.push_back({"1", "x", "failed"});
  const auto counts = applyDelta(index, &parent);
  EXPECT_EQ(counts.failed, 1);
  EXPECT_EQ(counts.removed, 1);
}

TEST(SectionDelta, OfAnIdThatOccursTwiceInTheParentTheLaterWins) {
  const auto parent = indexOf({item("1", "old"), item("1", "newer")});
  auto index = indexOf({item("1", "newer")});
  EXPECT_EQ(applyDelta(index, &parent).unchanged, 1);
}

}  // namespace
}  // namespace orvik
