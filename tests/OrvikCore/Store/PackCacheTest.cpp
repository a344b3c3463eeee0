#include "OrvikCore/Store/PackCache.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "OrvikCore/Store/BackupRepository.h"
#include "tests/Support/Packs.h"

namespace {

using namespace orvik;
namespace files = platform::files;

const std::string one(64, '1');
const std::string two(64, '2');

struct PackCacheTest : testing::Test {
  files::TempFolder folder;
  PackCache cache;
  const files::Path packs = test::packsOf(folder.path());

  void writeIndex(const std::string& name, const std::string& text) const {
    test::write(packs / (name + ".idx"), text);
  }
  void waitUntilListedAnew() const { std::this_thread::sleep_for(std::chrono::milliseconds(1'050)); }
};

TEST_F(PackCacheTest, AnEmptyOrMissingFolderHasNoLocationsAndIsNoError) {
  EXPECT_FALSE(cache.location(one, packs));
  EXPECT_FALSE(cache.contains(one, packs));
  EXPECT_FALSE(cache.data(one, packs));
  std::filesystem::create_directories(packs);
  cache.invalidate(packs);
  EXPECT_FALSE(cache.location(one, packs));
}

TEST_F(PackCacheTest, GivesThePlaceAndTheBytesOfAPackedObject) {
  test::writePack(folder.path(), "a", {{one, "first"}, {two, "second"}});
  EXPECT_EQ(cache.location(two, packs), (PackStore::Location{packs / "a.pack", 5, 6}));
  EXPECT_EQ(cache.data(two, packs), "second");
  EXPECT_EQ(cache.data(one, packs), "first");
  EXPECT_TRUE(cache.holds(one, packs));
  EXPECT_FALSE(cache.data(std::string(64, '3'), packs));
}

TEST_F(PackCacheTest, ANewPackOfAnotherProcessIsSeenAboutASecondLaterAndNotBefore) {
  EXPECT_FALSE(cache.contains(one, packs));
  test::writePack(folder.path(), "a", {{one, "x"}});
  EXPECT_FALSE(cache.contains(one, packs)) << "the folder was listed within the second";
  waitUntilListedAnew();
  EXPECT_EQ(cache.data(one, packs), "x");
}

TEST_F(PackCacheTest, InvalidatedItListsAtOnce) {
  EXPECT_FALSE(cache.contains(one, packs));
  test::writePack(folder.path(), "a", {{one, "x"}});
  cache.invalidate(packs);
  EXPECT_EQ(cache.data(one, packs), "x");
}

TEST_F(PackCacheTest, ALookUpRightAfterAWriteOfThisProcessFindsTheObject) {
  const auto store = BackupRepository(folder.path()).store();
  const auto hash = store.put("[1]");
  EXPECT_FALSE(PackCache::shared().contains(hash, packs));
  PackStore::write(PackStore::looseObjects(folder.path()), store, "a", PackStore::SkipExisting::no);
  EXPECT_TRUE(PackCache::shared().contains(hash, packs));
  files::remove(store.objectURL(hash));
  EXPECT_EQ(store.object(hash), "[\n  1\n]");
}

TEST_F(PackCacheTest, APackThatGoesTakesItsObjectsAlongAndAnEarlierCopyCountsAgain) {
  test::writePack(folder.path(), "a", {{one, "copy"}});
  const auto index = test::writePack(folder.path(), "b", {{one, "copy"}, {two, "only here"}});
  EXPECT_EQ(cache.location(one, packs)->pack, packs / "b.pack") << "the later name wins";
  PackStore::remove(index, packs / "b.pack");
  waitUntilListedAnew();
  EXPECT_EQ(cache.location(one, packs)->pack, packs / "a.pack");
  EXPECT_EQ(cache.data(one, packs), "copy");
  EXPECT_FALSE(cache.contains(two, packs));
}

TEST_F(PackCacheTest, AnIndexThatCouldNotBeReadIsReadAgainWhenTheFolderChanges) {
  test::write(packs / "a.pack", "x");
  writeIndex("a", "{");
  EXPECT_FALSE(cache.contains(one, packs));
  writeIndex("a", test::indexText("a.pack", {{one, "[0,1]"}}));
  writeIndex("b", "{");
  waitUntilListedAnew();
  EXPECT_EQ(cache.data(one, packs), "x");
}

TEST_F(PackCacheTest, EntriesThatCanNotBeReadAreAbsent) {
  test::write(packs / "a.pack", "0123456789");
  const std::vector<std::pair<std::string, std::string>> bad{
      {std::string(64, '3'), "[0,1,2]"}, {std::string(64, '4'), "[1]"},
      {std::string(64, '5'), "[]"},      {std::string(64, '6'), "[-1,2]"},
      {std::string(64, '7'), "[2,-1]"},  {std::string(64, '8'), "[9223372036854775807,9223372036854775807]"},
      {std::string(64, 'A'), "[0,1]"},   {"../a", "[0,1]"}};
  auto ranges = bad;
  ranges.emplace_back(one, "[2,3]");
  writeIndex("a", test::indexText("a.pack", ranges));
  for (const auto& [name, range] : bad) {
    EXPECT_FALSE(cache.location(name, packs)) << name;
    EXPECT_FALSE(cache.data(name, packs)) << name;
  }
  EXPECT_EQ(cache.data(one, packs), "234");
}

TEST_F(PackCacheTest, ALocationBehindTheEndOfTheFileReturnsNothing) {
  test::write(packs / "a.pack", "0123456789");
  writeIndex("a", test::indexText("a.pack", {{one, "[5,6]"}, {two, "[5,5]"}}));
  EXPECT_TRUE(cache.location(one, packs));
  EXPECT_FALSE(cache.holds(one, packs));
  EXPECT_FALSE(cache.data(one, packs));
  EXPECT_EQ(cache.data(two, packs), "56789");
}

TEST_F(PackCacheTest, AGoodCopyIsFoundBehindAPackThatIsCutOrGone) {
  test::writePack(folder.path(), "a", {{one, "good"}});
  test::write(packs / "b.pack", "go");
  writeIndex("b", test::indexText("b.pack", {{one, "[0,4]"}}));
  writeIndex("c", test::indexText("none.pack", {{one, "[0,4]"}}));
  EXPECT_EQ(cache.data(one, packs), "good");
  EXPECT_TRUE(cache.holds(one, packs));
}

TEST_F(PackCacheTest, AnIndexNeverLeadsOutOfItsFolder) {
  test::write(folder / "store/secret", "secret");
  test::write(packs / ".hidden", "hidden");
  test::write(packs / "below/b.pack", "below");
  int number = 0;
  for (const auto* pack : {"../secret", "/etc/hostname", ".hidden", "below/b.pack", "..", ""})
    writeIndex("i" + std::to_string(number++), test::indexText(pack, {{one, "[0,5]"}}));
  EXPECT_FALSE(cache.location(one, packs));
  EXPECT_FALSE(cache.data(one, packs));
}

TEST_F(PackCacheTest, MorePacksThanAProcessMayKeepOpenAreReadAllTheSame) {
  constexpr int count = 200;
  const auto hashOf = [](int i) { return ObjectStore::sha256(std::to_string(i)); };
  for (int i = 0; i < count; ++i)
    test::writePack(folder.path(), "p" + std::to_string(i), {{hashOf(i), std::to_string(i)}});
  const auto before = files::list("/proc/self/fd").size();
  for (int round = 0; round < 2; ++round)
    for (int i = 0; i < count; ++i) EXPECT_EQ(cache.data(hashOf(i), packs), std::to_string(i));
  EXPECT_LT(files::list("/proc/self/fd").size(), before + 100);
}

TEST_F(PackCacheTest, HundredsOfCopiesOfOneObjectAreNoBurdenAndAnyServes) {
  for (int i = 0; i < 300; ++i) test::writePack(folder.path(), "p" + std::to_string(i), {{one, "copy"}});
  EXPECT_EQ(cache.data(one, packs), "copy");
  EXPECT_TRUE(cache.holds(one, packs));
  for (int i = 0; i < 299; ++i) files::remove(packs / ("p" + std::to_string(i) + ".idx"));
  cache.invalidate(packs);
  EXPECT_EQ(cache.location(one, packs)->pack, packs / "p299.pack");
}

TEST_F(PackCacheTest, ManyThreadsReadWhilePacksComeAndGo) {
  const auto hashOf = [](int i) { return ObjectStore::sha256(std::to_string(i)); };
  test::writePack(folder.path(), "stays", {{one, "stays"}});
  std::atomic<bool> over = false;
  std::vector<std::jthread> readers;
  for (int reader = 0; reader < 4; ++reader)
    readers.emplace_back([&] {
      while (!over) {
        EXPECT_EQ(cache.data(one, packs), "stays");
        for (int i = 0; i < 20; ++i)
          EXPECT_EQ(cache.data(hashOf(i), packs).value_or(std::to_string(i)), std::to_string(i));
      }
    });
  for (int i = 0; i < 60; ++i) {
    const auto index = test::writePack(folder.path(), "p" + std::to_string(i % 20),
                                       {{hashOf(i % 20), std::to_string(i % 20)}});
    cache.invalidate(packs);
    if (i % 3 == 0) PackStore::remove(index, packs / ("p" + std::to_string(i % 20) + ".pack"));
  }
  over = true;
}

}  // namespace
