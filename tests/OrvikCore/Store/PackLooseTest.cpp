#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "OrvikCore/Store/BackupRepository.h"
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

}  // namespace
