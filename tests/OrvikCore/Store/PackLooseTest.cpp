#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "OrvikCore/Store/BackupRepository.h"
#include "tests/Support/Faults.h"
#include "tests/Support/Packs.h"
#include "tests/Support/SmallBackups.h"

namespace {

using namespace orvik;
using testing::ElementsAre;
namespace files = platform::files;
using Packed = BackupRepository::Packed;

struct PackLoose : testing::Test {
  files::TempFolder folder;
  BackupRepository repository{folder.path()};
  ObjectStore store = repository.store();

  std::string hashOf(const std::string& text) const { return ObjectStore::sha256(text); }
  std::vector<std::string> indexes() const { return PackStore::indexNames(store.packsDirectory()); }
};

TEST_F(PackLoose, MovesEverythingAndDeletesTheShardsThatBecameEmpty) {
  store.put("1");
  store.put("[]");
  EXPECT_EQ(repository.packLooseObjects(), (Packed{2, 5}));
  EXPECT_TRUE(files::visibleNames(folder / "store/objects").empty());
  EXPECT_EQ(test::onlyIndex(folder.path()).objects.entries.size(), 2U);
  EXPECT_EQ(store.object(hashOf("1")), "1");
  EXPECT_EQ(repository.packLooseObjects(), Packed());
}

TEST_F(PackLoose, AFolderThatDoesNotExistIsNotMade) {
  EXPECT_EQ(BackupRepository(folder / "none").packLooseObjects(), Packed());
  EXPECT_FALSE(files::exists(folder / "none"));
}

TEST_F(PackLoose, AFileWithWrongContentStaysWithItsShard) {
  const auto hash = store.put("1");
  store.put("2");
  test::write(store.objectURL(hash), "wrong");
  EXPECT_EQ(repository.packLooseObjects(), (Packed{1, 6})) << "the bytes are those of all files";
  EXPECT_EQ(files::read(store.objectURL(hash)), "wrong");
  EXPECT_THAT(files::visibleNames(folder / "store/objects"), ElementsAre(hash.substr(0, 2)));
}

TEST_F(PackLoose, AHiddenFileKeepsItsShard) {
  const auto hash = store.put("1");
  const auto hidden = store.objectURL(hash).parent_path() / ".x.tmp";
  test::write(hidden, "x");
  EXPECT_EQ(repository.packLooseObjects().objects, 1);
  EXPECT_TRUE(files::exists(hidden));
}

TEST_F(PackLoose, WhatAPackHoldsAlreadyIsNotPackedASecondTime) {
  store.put("1");
  test::writePack(folder.path(), "a", {{hashOf("1"), "1"}});
  EXPECT_EQ(repository.packLooseObjects(), (Packed{1, 1}));
  EXPECT_FALSE(files::exists(store.objectURL(hashOf("1"))));
  EXPECT_THAT(indexes(), ElementsAre("a.idx"));
}

TEST_F(PackLoose, AGoodFileIsNotPackedBehindADamagedCopy) {
  store.put("1");
  test::writePack(folder.path(), "zzz", {{hashOf("1"), "!"}});
  test::writeBackup(repository, "1", {hashOf("1")});
  EXPECT_EQ(repository.packLooseObjects(), (Packed{0, 1}));
  EXPECT_EQ(files::read(store.objectURL(hashOf("1"))), "1");
  EXPECT_EQ(test::problemsOf(repository, "1"), 0U);
}

TEST_F(PackLoose, ADamagedFileStaysAlsoWhereAPackHoldsAGoodCopy) {
  store.put("1");
  test::write(store.objectURL(hashOf("1")), "!");
  test::writePack(folder.path(), "a", {{hashOf("1"), "1"}});
  EXPECT_EQ(repository.packLooseObjects(), (Packed{0, 1}));
  EXPECT_EQ(files::read(store.objectURL(hashOf("1"))), "!");
}

TEST_F(PackLoose, AFileIsPackedAnewWhereTheIndexOfItsCopyHasNoPackAnyMore) {
  store.put("1");
  test::writePack(folder.path(), "a", {{hashOf("1"), "1"}});
  files::remove(store.packsDirectory() / "a.pack");
  EXPECT_EQ(repository.packLooseObjects(), (Packed{1, 1}));
  EXPECT_EQ(store.object(hashOf("1")), "1");
}

std::ptrdiff_t countOf(const std::vector<std::string>& sentences, const std::string& part) {
  return std::ranges::count_if(sentences,
                               [&](const auto& each) { return each.find(part) != std::string::npos; });
}

TEST(PackLooseOrder, PackIndexAndFoldersAreFlushedBeforeASingleFileGoes) {
  const auto hash = ObjectStore::sha256("1");
  const auto sentences =
      test::failuresOf([](const files::Path& folder) { BackupRepository(folder).store().put("1"); },
                       [](const files::Path& folder) { BackupRepository(folder).packLooseObjects(); },
                       [&](const files::Path& folder) {
                         EXPECT_TRUE(files::exists(BackupRepository(folder).store().objectURL(hash)));
                       });
  EXPECT_EQ(countOf(sentences, ".pack: "), 4) << "made, written, flushed, named";
  EXPECT_EQ(countOf(sentences, ".idx: "), 4) << "made, written, flushed, named";
  EXPECT_EQ(countOf(sentences, "Can't flush the folder"), 3) << "packs, store and the instance's own";
}

TEST(PackLooseOrder, APackOfABrokenOffPackingIsFlushedBeforeASingleFileGoes) {
  const auto hash = ObjectStore::sha256("1");
  const auto sentences = test::failuresOf(
      [&](const files::Path& folder) {
        BackupRepository(folder).store().put("1");
        test::writePack(folder, "a", {{hash, "1"}});
      },
      [](const files::Path& folder) { BackupRepository(folder).packLooseObjects(); },
      [&](const files::Path& folder) {
        EXPECT_TRUE(files::exists(BackupRepository(folder).store().objectURL(hash)));
      });
  EXPECT_EQ(countOf(sentences, "Can't flush the file system"), 1);
}

TEST(PackLooseOrder, ARewriteThatIsTakenUpIsFlushedBeforeTheOldPackGoes) {
  const auto keep = ObjectStore::sha256("keep");
  const auto sentences = test::failuresOf(
      [&](const files::Path& folder) {
        test::writeBackup(BackupRepository(folder), "1", {keep});
        test::writePack(folder, "a", {{keep, "keep"}, {ObjectStore::sha256("drop"), "drop"}});
        test::writePack(folder, "a-0123abcd", {{keep, "keep"}});
      },
      [](const files::Path& folder) { BackupRepository(folder).collectGarbage(); },
      [](const files::Path& folder) {
        EXPECT_TRUE(files::exists(test::packsOf(folder) / "a.idx"));
        EXPECT_TRUE(files::exists(test::packsOf(folder) / "a.pack"));
      });
  EXPECT_EQ(countOf(sentences, "Can't flush the file system"), 1);
}

}  // namespace
