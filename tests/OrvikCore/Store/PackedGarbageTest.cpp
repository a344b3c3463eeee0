#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/GarbageCollection.h"
#include "Platform/Files/FaultSeam.h"
#include "tests/Support/Packs.h"
#include "tests/Support/SmallBackups.h"

namespace {

using namespace orvik;
using test::problemsOf;
using test::writeBackup;
using testing::ElementsAre;
namespace files = platform::files;
using Fate = CollectionPlan::Pack::Fate;

const CleanupResult nothing;

/// A pack of the objects of a backup and of garbage.
struct PackedGarbage : testing::Test {
  files::TempFolder folder;
  BackupRepository repository{folder.path()};
  ObjectStore store = repository.store();
  const files::Path packs = test::packsOf(folder.path());
  static constexpr const char* id = "2025-03-04T091500Z";

  /// `live` and `dead` bytes in one pack.
  std::string writeMixed(std::size_t live, std::size_t dead) {
    const std::string keep = "k" + std::string(live - 1, 'x');
    const std::string drop = "d" + std::string(dead - 1, 'x');
    writeBackup(repository, id, {ObjectStore::sha256(keep)});
    test::writePack(folder.path(), "a",
                    {{ObjectStore::sha256(drop), drop}, {ObjectStore::sha256(keep), keep}});
    return keep;
  }
};

TEST_F(PackedGarbage, APackWith49PercentDeadStaysUnchanged) {
  writeMixed(51, 49);
  const auto before = test::contentOf(folder.path());
  const auto plan = planCollection(repository);
  ASSERT_EQ(plan.packs.size(), 1U);
  EXPECT_EQ(plan.packs[0].fate, Fate::kept);
  EXPECT_EQ(repository.collectGarbage(), nothing);
  EXPECT_EQ(test::contentOf(folder.path()), before);
}

TEST_F(PackedGarbage, APackWith50PercentDeadIsRewritten) {
  const auto keep = writeMixed(50, 50);
  EXPECT_EQ(repository.collectGarbage(), (CleanupResult{{}, 1, 0, 50}));
  const auto names = files::visibleNames(packs);
  ASSERT_EQ(names.size(), 2U);
  EXPECT_THAT(names[0], testing::MatchesRegex("a-[0-9a-f]{8}\\.idx"));
  EXPECT_EQ(test::onlyIndex(folder.path()).pack, names[1]);
  EXPECT_EQ(files::read(packs / names[1]), keep);
  EXPECT_EQ(problemsOf(repository, id), 0U);
  EXPECT_EQ(repository.collectGarbage(), nothing);
}

TEST_F(PackedGarbage, APackWithNoLiveEntryIsDeleted) {
  writeMixed(50, 50);
  files::removeTree(repository.backupDirectory(id));
  EXPECT_EQ(repository.collectGarbage(), (CleanupResult{{}, 2, 0, 100}));
  EXPECT_TRUE(files::visibleNames(packs).empty());
}

TEST_F(PackedGarbage, LooseAndPackedGarbageIsCountedTogether) {
  writeMixed(50, 50);
  const auto loose = store.put("[1]");
  const auto size = files::size(store.objectURL(loose)).value();
  EXPECT_EQ(repository.collectGarbage(), (CleanupResult{{}, 2, 0, 50 + size}));
}

TEST_F(PackedGarbage, ADamagedLiveEntryKeepsTheOldPackAndCountsNothing) {
  const auto keep = writeMixed(50, 50);
  auto bytes = files::read(packs / "a.pack");
  bytes.back() = '!';
  test::write(packs / "a.pack", bytes);
  const auto before = test::contentOf(folder.path());
  EXPECT_EQ(repository.collectGarbage(), nothing);
  EXPECT_EQ(test::contentOf(folder.path()), before);
}

TEST_F(PackedGarbage, ARewriteThatCameOutShortIsNotRepeatedForNothing) {
  const std::string good = "good";
  const std::string bad = "bad!";
  const std::string garbage(100, 'g');
  const auto name = [](const std::string& text) { return ObjectStore::sha256(text); };
  writeBackup(repository, id, {name(good), name(bad)});
  test::writePack(folder.path(), "a", {{name(good), good}, {name(bad), "BAD!"}, {name(garbage), garbage}});
  EXPECT_EQ(repository.collectGarbage(), nothing);
  const auto after = test::contentOf(folder.path());
  EXPECT_EQ(PackStore::indexNames(packs).size(), 2U) << "the old pack, and the good entry anew";
  EXPECT_EQ(repository.collectGarbage(), nothing);
  EXPECT_EQ(test::contentOf(folder.path()), after);

  // Healed by hand, it is rewritten at last.
  test::writePack(folder.path(), "a", {{name(good), good}, {name(bad), bad}, {name(garbage), garbage}});
  EXPECT_EQ(repository.collectGarbage().removedObjects, 1);
  EXPECT_FALSE(files::exists(packs / "a.idx"));
  EXPECT_EQ(problemsOf(repository, id), 0U);
}

TEST_F(PackedGarbage, ARewriteThatWasBrokenOffBeforeTheOldPackWentIsTakenUp) {
  const auto keep = writeMixed(50, 50);
  test::writePack(folder.path(), "a-0123abcd", {{ObjectStore::sha256(keep), keep}});
  EXPECT_EQ(repository.collectGarbage(), (CleanupResult{{}, 1, 0, 50}));
  EXPECT_THAT(files::visibleNames(packs), ElementsAre("a-0123abcd.idx", "a-0123abcd.pack"));
  EXPECT_EQ(problemsOf(repository, id), 0U);
}

TEST_F(PackedGarbage, ALiveEntryThatCanNotBeReadKeepsItsPack) {
  const auto keep = ObjectStore::sha256("keep");
  const std::string dead(64, 'd');
  writeBackup(repository, id, {keep});
  test::write(packs / "a.pack", "keep and garbage");
  for (const auto* range :
       {"[0,4,4]", "[-1,4]", "[0,-4]", "[0,400]", "[]", "[4]", "[9223372036854775807,9223372036854775807]"}) {
    SCOPED_TRACE(range);
    test::write(packs / "a.idx",
                test::indexText("a.pack", {{keep, range}, {dead, "[4,9223372036854775807]"}}));
    EXPECT_EQ(repository.collectGarbage(), nothing);
    EXPECT_EQ(files::read(packs / "a.pack"), "keep and garbage");
    EXPECT_TRUE(files::exists(packs / "a.idx"));
  }
}

TEST_F(PackedGarbage, ALiveNameThatIsNoHashKeepsItsPack) {
  writeBackup(repository, id, {"odd name"});
  test::write(packs / "a.pack", "xy");
  test::write(packs / "a.idx",
              test::indexText("a.pack", {{"odd name", "[0,1]"}, {std::string(64, 'd'), "[1,1]"}}));
  EXPECT_EQ(repository.collectGarbage(), nothing);
  EXPECT_TRUE(files::exists(packs / "a.pack"));
}

TEST_F(PackedGarbage, LengthsThatSumPast64BitsDoNotConfuseTheCount) {
  writeBackup(repository, id, {ObjectStore::sha256("k")});
  test::write(packs / "a.pack", "k");
  test::write(packs / "a.idx",
              test::indexText("a.pack", {{ObjectStore::sha256("k"), "[0,1]"},
                                         {std::string(64, 'd'), "[0,9223372036854775807]"},
                                         {std::string(64, 'e'), "[0,9223372036854775807]"}}));
  EXPECT_EQ(repository.collectGarbage(), (CleanupResult{{}, 2, 0, 1}));
  EXPECT_EQ(problemsOf(repository, id), 0U);
}

TEST_F(PackedGarbage, AnIndexNeverCostsAFileOutsideItsFolderNorThePackOfAnother) {
  const auto keep = writeMixed(99, 1);
  test::write(folder / "store/secret", "secret");
  const std::string dead(64, 'd');
  int number = 0;
  for (const auto* pack : {"../secret", "/etc/hostname", "..", ".hidden", "", "below/x"})
    test::write(packs / ("i" + std::to_string(number++) + ".idx"), test::indexText(pack, {{dead, "[0,6]"}}));
  test::write(packs / "z.idx", test::indexText("a.pack", {{dead, "[0,1]"}}));
  const auto result = repository.collectGarbage();
  EXPECT_EQ(result.removedObjects, 1) << "z.idx alone could go";
  EXPECT_EQ(result.bytesFreed, 0);
  EXPECT_FALSE(files::exists(packs / "z.idx"));
  EXPECT_TRUE(files::exists(packs / "a.pack"));
  EXPECT_EQ(files::read(folder / "store/secret"), "secret");
  EXPECT_EQ(problemsOf(repository, id), 0U);
}

TEST_F(PackedGarbage, APackThatIsRewrittenAgainAndAgainKeepsItsObject) {
  const std::string keep = "kept";
  writeBackup(repository, id, {ObjectStore::sha256(keep)});
  std::string stem = "loose-0123abcd";
  for (int i = 0; i < 25; ++i) {
    const std::string garbage = std::to_string(1000 + i);
    test::writePack(folder.path(), stem,
                    {{ObjectStore::sha256(garbage), garbage}, {ObjectStore::sha256(keep), keep}});
    ASSERT_EQ(repository.collectGarbage(), (CleanupResult{{}, 1, 0, 4})) << stem;
    ASSERT_EQ(problemsOf(repository, id), 0U) << stem;
    const auto names = PackStore::indexNames(packs);
    ASSERT_EQ(names.size(), 1U);
    ASSERT_NE(names[0], stem + ".idx");
    stem = names[0].substr(0, names[0].size() - 4);
  }
  EXPECT_LT(stem.size(), 200U);
}

TEST_F(PackedGarbage, AnIndexThatWasRenamedCostsItsPackNothing) {
  writeMixed(50, 50);
  files::rename(packs / "a.idx", packs / "a-0123abcd.idx");
  for (int pass = 0; pass < 3; ++pass) {
    EXPECT_NO_THROW(repository.collectGarbage());
    EXPECT_EQ(problemsOf(repository, id), 0U);
  }
}

TEST_F(PackedGarbage, TwoIndexesForOnePackCostItNothing) {
  writeMixed(50, 50);
  test::write(packs / "a (copy).idx", files::read(packs / "a.idx"));
  for (int pass = 0; pass < 3; ++pass) {
    EXPECT_NO_THROW(repository.collectGarbage());
    EXPECT_EQ(problemsOf(repository, id), 0U);
  }
}

TEST_F(PackedGarbage, AnIndexThatNamesAnotherIndexTakesItNotAlong) {
  writeMixed(99, 1);
  test::write(packs / "evil.idx", test::indexText("a.idx", {{std::string(64, 'd'), "[0,1]"}}));
  repository.collectGarbage();
  EXPECT_FALSE(files::exists(packs / "evil.idx"));
  EXPECT_EQ(problemsOf(repository, id), 0U);
}

TEST_F(PackedGarbage, AForeignIndexTakesNoPackAlongWhoseOwnCanNotBeReadNow) {
  writeMixed(99, 1);
  const auto index = files::read(packs / "a.idx");
  test::write(packs / "a.idx", "");
  test::write(packs / "z.idx", test::indexText("a.pack", {{std::string(64, 'd'), "[0,1]"}}));
  repository.collectGarbage();
  test::write(packs / "a.idx", index);
  EXPECT_EQ(problemsOf(repository, id), 0U);
}

TEST_F(PackedGarbage, ShortRewritesDoNotPileUp) {
  const std::string first = "first";
  const std::string second = "second";
  const std::string garbage(100, 'g');
  const auto name = [](const std::string& text) { return ObjectStore::sha256(text); };
  writeBackup(repository, id, {name(first), name(second)});
  // One entry can be read now, the other one later: two rewrites come out short.
  test::writePack(folder.path(), "a",
                  {{name(first), first}, {name(second), "SECOND"}, {name(garbage), garbage}});
  repository.collectGarbage();
  test::writePack(folder.path(), "a",
                  {{name(first), "FIRST"}, {name(second), second}, {name(garbage), garbage}});
  EXPECT_EQ(repository.collectGarbage(), nothing);
  const auto after = PackStore::indexNames(packs).size();
  for (int pass = 0; pass < 4; ++pass) repository.collectGarbage();
  EXPECT_LE(PackStore::indexNames(packs).size(), after);
  EXPECT_EQ(problemsOf(repository, id), 0U);
}

TEST_F(PackedGarbage, AnEarlierRewriteThatIsDamagedIsNotTakenForACopy) {
  const auto keep = writeMixed(50, 50);
  test::writePack(folder.path(), "a-0123abcd", {{ObjectStore::sha256(keep), std::string(keep.size(), '!')}});
  EXPECT_EQ(repository.collectGarbage(), (CleanupResult{{}, 1, 0, 50}));
  files::removeTree(packs / "a-0123abcd.idx");
  EXPECT_EQ(problemsOf(repository, id), 0U) << "it was written anew";
}

TEST_F(PackedGarbage, PacksWithoutAReadableIndexAreUnknown) {
  writeMixed(50, 50);
  test::write(packs / "stray.pack", "x");
  test::write(packs / "b.pack", "x");
  test::write(packs / "b.idx", "{");
  repository.collectGarbage();
  EXPECT_TRUE(files::exists(packs / "stray.pack"));
  EXPECT_TRUE(files::exists(packs / "b.pack"));
  EXPECT_TRUE(files::exists(packs / "b.idx"));
}

TEST_F(PackedGarbage, AnIndexThatCanNotBeDeletedEndsTheCollection) {
  writeMixed(50, 50);
  files::removeTree(repository.backupDirectory(id));
  files::armFaultSeam(1, files::FaultAction::failFromThen, EACCES);
  EXPECT_THROW(repository.collectGarbage(), files::FileError);
  files::disarmFaultSeam();
  EXPECT_EQ(files::visibleNames(packs).size(), 2U);
}

}  // namespace
