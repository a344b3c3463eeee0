#include "OrvikCore/Store/StoreLeftovers.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>

#include "OrvikCore/Store/PackStore.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/FaultSeam.h"
#include "tests/Support/SampleFolder.h"

namespace {

using namespace orvik;
namespace files = platform::files;
using Kind = StoreLeftovers::File::Kind;
using std::chrono::hours;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr const char* id = "6F9619FF-8B86-D011-B42D-00CF4FC964FF";

class Leftovers : public testing::Test {
 protected:
  ~Leftovers() override { files::disarmFaultSeam(); }

  static std::string temporary(const std::string& name) { return "." + name + "." + id + ".tmp"; }
  /// A file of three bytes that is as old as `written`.
  void place(const std::string& path) const {
    test::write(root / path, "abc");
    const auto seconds = std::chrono::floor<std::chrono::seconds>(written).time_since_epoch().count();
    const timespec times[2] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, (root / path).c_str(), times, 0), 0);
  }
  std::vector<std::string> oldPaths(platform::Date now) const { return paths(find(now).old); }
  StoreLeftovers find(platform::Date now) const { return findLeftovers(sample.repository, now); }
  static std::vector<std::string> paths(const std::vector<StoreLeftovers::File>& found) {
    std::vector<std::string> paths;
    for (const auto& file : found) paths.push_back(file.path);
    return paths;
  }

  test::SampleFolder sample;
  const files::Path root = sample.folder.path();
  const platform::Date written = test::date("2025-03-01T00:00:00Z");
  const platform::Date later = written + hours(24) + milliseconds(1);
};

TEST_F(Leftovers, AreFoundWhereverThisSystemWrites) {
  const std::string backup = std::string("backups/") + test::SampleFolder::backupID;
  const std::string run = std::string("backups/") + test::SampleFolder::partialID + ".partial";
  std::vector<std::string> all;
  for (const std::string& folder :
       {std::string(), backup + "/", backup + "/sections/", run + "/", run + "/sections/",
        std::string("store/objects/ab/"), std::string("store/files/ab/"), std::string("store/downloads/"),
        std::string("store/packs/")})
    all.push_back(folder + temporary("x"));
  for (const auto& path : all) place(path);
  EXPECT_THAT(oldPaths(later), testing::UnorderedElementsAreArray(all));
  EXPECT_EQ(find(later).oldBytes(), static_cast<std::int64_t>(3 * all.size()));
}

TEST_F(Leftovers, AreNotLookedForElsewhere) {
  for (const std::string folder :
       {"backups/", "backups/.hidden/", "store/", "store/objects/", "store/files/", "store/downloads/ab/",
        "store/objects/ab/cd/", "store/packs/sub/", "mine/"})
    place(folder + temporary("x"));
  EXPECT_THAT(find(later).old, IsEmpty());
}

TEST_F(Leftovers, OtherDotNamedFilesAreNotOurs) {
  for (const std::string name : {".DS_Store", ".nfs0001", ".x.tmp", ".gitignore"})
    place("store/objects/ab/" + name);
  place("x." + std::string(id) + ".tmp");
  EXPECT_THAT(find(later).old, IsEmpty());
  EXPECT_THAT(find(later).recent, IsEmpty());
}

TEST_F(Leftovers, AreOldWhenTheyAreOlderThanADay) {
  place(temporary("x"));
  EXPECT_THAT(oldPaths(written + hours(24)), IsEmpty());
  EXPECT_THAT(paths(find(written + hours(24)).recent), ElementsAre(temporary("x")));
  EXPECT_THAT(oldPaths(written - hours(1000)), IsEmpty()) << "a clock that was wrong";
  EXPECT_THAT(oldPaths(later), ElementsAre(temporary("x")));
}

TEST_F(Leftovers, APackWithoutAnIndexIsOne) {
  place("store/packs/lost.pack");
  place("store/packs/.hidden.pack");
  const auto found = find(later);
  ASSERT_THAT(paths(found.old), ElementsAre("store/packs/lost.pack"));
  EXPECT_EQ(found.old[0].kind, Kind::packWithoutIndex);
}

TEST_F(Leftovers, APackThatAnyIndexNamesOrThatHasOneBesideItIsNone) {
  place("store/packs/own.pack");
  test::write(root / "store/packs/own.idx", "torn");
  place("store/packs/foreign.pack");
  test::write(root / "store/packs/another.idx", R"({"formatVersion":1,"objects":{},"pack":"foreign.pack"})");
  EXPECT_THAT(find(later).old, IsEmpty());
}

TEST_F(Leftovers, APackWithoutAnIndexStaysWhileAnObjectIsFoundNowhere) {
  place("store/packs/lost.pack");
  place(temporary("x"));
  const auto object = sample.repository.store().objectURL(sample.json);
  const auto bytes = files::read(object);
  files::remove(object);
  auto found = find(later);
  EXPECT_THAT(paths(found.old), ElementsAre(temporary("x")));
  EXPECT_THAT(paths(found.needed), ElementsAre("store/packs/lost.pack"));
  test::write(object, bytes);
  EXPECT_EQ(find(later).old.size(), 2u);

  auto entry = test::journalEntry("policies", "3");
  entry.item.objects = {{"json", ObjectStore::sha256("nowhere")}};
  BackupJournal(sample.partial()).append(entry);
  EXPECT_EQ(find(later).old.size(), 1u) << "an interrupted run needs it";
  files::removeTree(sample.partial());
  test::write(sample.index(), "torn");
  EXPECT_EQ(find(later).old.size(), 1u) << "nobody knows what the index names";
}

TEST_F(Leftovers, LinksAreNeitherFollowedNorDeleted) {
  const files::TempFolder outside;
  const auto foreign = outside / temporary("x");
  test::write(foreign, "x");
  test::write(outside / "sections" / temporary("y"), "x");
  test::write(outside / "lost.pack", "x");
  std::filesystem::create_symlink(outside.path(), root / "backups/linked");
  std::filesystem::create_symlink(outside.path(), root / "store/objects/cd");
  std::filesystem::create_symlink(outside.path(), root / "store/packs");
  std::filesystem::create_symlink(foreign, root / temporary("z"));
  const auto before = test::contentOf(outside.path());
  const auto found = find(platform::now() + hours(48));
  EXPECT_THAT(found.old, IsEmpty());
  removeLeftovers(found, sample.repository);
  EXPECT_EQ(test::contentOf(outside.path()), before);
}

TEST_F(Leftovers, AWholeStoreBehindALinkIsLeftAlone) {
  const files::TempFolder outside;
  std::filesystem::create_directories(outside / "objects/ab");
  test::write(outside / "objects/ab" / temporary("x"), "x");
  files::removeTree(root / "store");
  std::filesystem::create_symlink(outside.path(), root / "store");
  EXPECT_THAT(find(platform::now() + hours(48)).old, IsEmpty());
}

TEST_F(Leftovers, BackupFoldersWithoutAManifestAreReported) {
  std::filesystem::create_directories(root / "backups/2025-03-06T091500Z/sections");
  std::filesystem::create_directories(root / "backups/.hidden");
  EXPECT_THAT(find(later).withoutManifest, ElementsAre("2025-03-06T091500Z"));
}

TEST_F(Leftovers, RemovingDeletesTheOldOnesAloneAndTellsHowMany) {
  place(temporary("old"));
  place("store/packs/lost.pack");
  test::write(root / temporary("recent"), "recent");
  const auto found = find(later);
  auto expected = test::contentOf(root);
  expected.erase(temporary("old"));
  expected.erase("store/packs/lost.pack");
  const auto removed = removeLeftovers(found, sample.repository);
  EXPECT_EQ(removed, (RemovedLeftovers{2, 6}));
  EXPECT_EQ(test::contentOf(root), expected);
}

TEST_F(Leftovers, WhatChangedSinceTheyWereFoundStays) {
  place(temporary("written"));
  place("store/packs/indexed.pack");
  place(temporary("replaced"));
  const auto found = find(later);
  ASSERT_EQ(found.old.size(), 3u);
  test::write(root / temporary("written"), "somebody works on it");
  test::write(root / "store/packs/indexed.idx", "x");
  files::remove(root / temporary("replaced"));
  std::filesystem::create_directory(root / temporary("replaced"));
  EXPECT_EQ(removeLeftovers(found, sample.repository), RemovedLeftovers());
  EXPECT_TRUE(files::exists(root / "store/packs/indexed.pack"));
  EXPECT_TRUE(files::exists(root / temporary("written")));
}

TEST_F(Leftovers, WhatCannotBeDeletedIsNotCounted) {
  place(temporary("a"));
  place(temporary("b"));
  const auto found = find(later);
  files::armFaultSeam(1, files::FaultAction::fail);
  const auto removed = removeLeftovers(found, sample.repository);
  files::disarmFaultSeam();
  EXPECT_EQ(removed, (RemovedLeftovers{1, 3}));
}

TEST_F(Leftovers, AStopEndsTheSearchAndTheDeletion) {
  place(temporary("a"));
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THROW(findLeftovers(sample.repository, later, stop.get_token()), platform::CancellationError);
  EXPECT_THROW(removeLeftovers(find(later), sample.repository, stop.get_token()),
               platform::CancellationError);
  EXPECT_TRUE(files::exists(root / temporary("a")));
}

}  // namespace
