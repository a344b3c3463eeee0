#include "OrvikCore/Store/PackStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "OrvikCore/Store/PackWriter.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/FaultSeam.h"
#include "tests/Support/Faults.h"
#include "tests/Support/Packs.h"
#include "tests/Support/TestKeys.h"

namespace {

using namespace orvik;
using PackStore::SkipExisting;
using testing::ElementsAre;
namespace files = platform::files;

struct PackStoreTest : testing::Test {
  files::TempFolder folder;
  ObjectStore store = BackupRepository(folder.path()).store();

  PackStore::Source source(const std::string& hash) const { return {hash, store.objectURL(hash).native()}; }
  std::vector<PackStore::Source> put(std::initializer_list<const char*> documents) const {
    std::vector<PackStore::Source> sources;
    for (const auto* document : documents) sources.push_back(source(store.put(document)));
    return sources;
  }
  std::vector<std::string> packFiles() const {
    auto names = std::filesystem::exists(store.packsDirectory()) ? files::list(store.packsDirectory())
                                                                 : std::vector<std::string>();
    std::ranges::sort(names);
    return names;
  }
};

TEST_F(PackStoreTest, APackIsTheEntriesOneBehindTheOtherAndItsIndexSaysWhere) {
  const auto objects = put({"1", "22", "[]"});
  const auto written = PackStore::write(objects, store, "a", SkipExisting::no);
  EXPECT_EQ(written.size(), 3U);
  for (const auto& object : objects) EXPECT_TRUE(written.contains(*ObjectKey::parse(object.hash())));

  EXPECT_THAT(packFiles(), ElementsAre("a.idx", "a.pack"));
  EXPECT_EQ(files::read(store.packsDirectory() / "a.pack"), "122[\n\n]");
  std::map<std::string, std::string> ranges{{std::string(objects[0].hash()), "[0,1]"},
                                            {std::string(objects[1].hash()), "[1,2]"},
                                            {std::string(objects[2].hash()), "[3,4]"}};
  EXPECT_EQ(files::read(store.packsDirectory() / "a.idx"),
            test::indexText("a.pack", {ranges.begin(), ranges.end()}));
}

TEST_F(PackStoreTest, WriteOfNothingOrOfWhatIsAllSkippedLeavesNoFile) {
  EXPECT_TRUE(PackStore::write({}, store, "a", SkipExisting::no).empty());
  EXPECT_TRUE(packFiles().empty());

  const auto hash = store.put("1");
  test::write(store.objectURL(hash), "2");
  const std::string foreign = "no digest";
  test::write(folder / "other", "3");
  EXPECT_TRUE(
      PackStore::write({source(hash), {foreign, folder / "other"}}, store, "a", SkipExisting::no).empty());
  EXPECT_TRUE(packFiles().empty());
}

TEST_F(PackStoreTest, WriteOfOneHashTwiceStoresItOnce) {
  auto objects = put({"1"});
  objects.push_back(objects.front());
  EXPECT_EQ(PackStore::write(objects, store, "a", SkipExisting::no).size(), 1U);
  EXPECT_EQ(files::read(store.packsDirectory() / "a.pack"), "1");
}

TEST_F(PackStoreTest, SkippingWhatExistsLeavesOutLooseAndPackedObjectsAndDoesNotReportThem) {
  const files::TempFolder other;
  const auto elsewhere = BackupRepository(other.path()).store();
  std::vector<PackStore::Source> objects;
  for (const auto* document : {"1", "2", "3"}) {
    const auto hash = elsewhere.put(document);
    objects.push_back({hash, elsewhere.objectURL(hash).native()});
  }
  store.put("1");
  test::writePack(folder.path(), "old", {{std::string(objects[1].hash()), "2"}});

  const auto written = PackStore::write(objects, store, "new", SkipExisting::yes);
  EXPECT_EQ(written.size(), 1U);
  EXPECT_TRUE(written.contains(*ObjectKey::parse(objects[2].hash())));
  EXPECT_EQ(files::read(store.packsDirectory() / "new.pack"), "3");
  EXPECT_EQ(PackStore::write(objects, store, "all", SkipExisting::no).size(), 3U);
}

TEST_F(PackStoreTest, SkippingWhatExistsDoesNotBelieveAnIndexWithoutItsPackOrAnEmptyFile) {
  const auto objects = put({"1", "2"});
  test::writePack(folder.path(), "old", {{std::string(objects[0].hash()), "1"}});
  files::remove(store.packsDirectory() / "old.pack");
  const files::TempFolder other;
  const auto elsewhere = BackupRepository(other.path()).store();
  std::vector<PackStore::Source> overlay;
  for (const auto* document : {"1", "2"}) {
    const auto hash = elsewhere.put(document);
    overlay.emplace_back(hash, elsewhere.objectURL(hash).native());
    test::write(store.objectURL(hash), "");
  }
  PackCache::shared().invalidate(store.packsDirectory());
  EXPECT_EQ(PackStore::write(overlay, store, "new", SkipExisting::yes).size(), 2U);
}

TEST_F(PackStoreTest, SealedObjectsArePackedAsTheyAreAndOnlyWhenTheyCanBeChecked) {
  auto sealing = store;
  sealing.cipher = test::cipherOf();
  const auto hash = sealing.put("[]");
  const auto stored = files::read(store.objectURL(hash));
  EXPECT_TRUE(PackStore::write({source(hash)}, store, "locked", SkipExisting::no).empty());
  EXPECT_EQ(PackStore::write({source(hash)}, sealing, "open", SkipExisting::no).size(), 1U);
  EXPECT_EQ(files::read(store.packsDirectory() / "open.pack"), stored);

  auto wrong = store;
  wrong.cipher = test::cipherOf("another");
  EXPECT_TRUE(PackStore::write({source(hash)}, wrong, "wrong", SkipExisting::no).empty());
}

TEST_F(PackStoreTest, ASourceThatCanNotBeReadAbortsThePack) {
  auto objects = put({"1"});
  objects.push_back({std::string(64, 'a'), folder / "none"});
  EXPECT_THROW(PackStore::write(objects, store, "a", SkipExisting::no), files::FileError);
  EXPECT_TRUE(packFiles().empty());
}

TEST_F(PackStoreTest, ACancellationAbortsThePack) {
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THROW(PackStore::write(put({"1"}), store, "a", SkipExisting::no, stop.get_token()),
               platform::CancellationError);
  EXPECT_TRUE(packFiles().empty());
}

TEST_F(PackStoreTest, APackNeverReplacesAnother) {
  PackStore::write(put({"1"}), store, "a", SkipExisting::no);
  const auto before = test::contentOf(folder.path());
  EXPECT_THROW(PackStore::write({source(store.put("1"))}, store, "a", SkipExisting::no), files::FileError);
  EXPECT_EQ(test::contentOf(folder.path()), before);
}

TEST_F(PackStoreTest, AWriterThatFailedOnceRefusesFurtherUse) {
  PackWriter writer(store, "a");
  const std::string large(2'000'000, 'x');
  files::armFaultSeam(1, files::FaultAction::fail, ENOSPC);
  EXPECT_THROW(writer.add(ObjectStore::sha256(large), large), files::FileError);
  files::disarmFaultSeam();
  EXPECT_THROW(writer.add(ObjectStore::sha256("1"), "1"), files::FileError);
  EXPECT_THROW(writer.finish(), files::FileError);
  EXPECT_TRUE(PackStore::indexNames(store.packsDirectory()).empty());
}

TEST(PackFault, OnABreakingDiskAPackIsThereWholeOrNotAtAll) {
  test::atEveryDiskOperation([](const files::Path& folder) {
    const auto store = BackupRepository(folder).store();
    return test::FaultTrial{
        [store] {
          store.put("1");
          store.put("2");
        },
        [store] {
          PackStore::write(PackStore::looseObjects(store.instanceDirectory), store, "a", SkipExisting::no);
        },
        [store](test::Ended ended) {
          PackCache::shared().invalidate(store.packsDirectory());
          const auto names = PackStore::indexNames(store.packsDirectory());
          if (ended == test::Ended::whole) {
            EXPECT_EQ(names.size(), 1U);
          }
          for (const auto* text : {"1", "2"}) {
            const auto hash = ObjectStore::sha256(text);
            EXPECT_EQ(PackCache::shared().data(hash, store.packsDirectory()).has_value(), !names.empty());
            EXPECT_EQ(store.stored(hash), text);
          }
          // What is left never stands in the way of the next try.
          EXPECT_EQ(
              PackStore::write(PackStore::looseObjects(store.instanceDirectory), store, "b", SkipExisting::no)
                  .size(),
              2U);
        }};
  });
}

TEST_F(PackStoreTest, NamesArePlainAndFresh) {
  EXPECT_THAT(PackStore::freshName(), testing::MatchesRegex("loose-[0-9a-f]{8}"));
  EXPECT_NE(PackStore::freshName(), PackStore::freshName());
  EXPECT_THAT(PackStore::rewrittenName("loose-0123abcd.pack"),
              testing::MatchesRegex("loose-0123abcd-[0-9a-f]{8}"));
  EXPECT_THAT(PackStore::rewrittenName("any"), testing::MatchesRegex("any-[0-9a-f]{8}"));
  EXPECT_LT(PackStore::rewrittenName(std::string(250, 'x') + ".pack").size(), 200U);
  const auto cut = PackStore::rewrittenName(std::string(149, 'x') + "\u00e9\u00e9.pack");
  EXPECT_THAT(cut, testing::MatchesRegex("x+-[0-9a-f]{8}")) << "not within a character";
  EXPECT_TRUE(PackStore::isPair("a.idx", "a.pack"));
  EXPECT_FALSE(PackStore::isPair("a-1.idx", "a.pack"));
  EXPECT_FALSE(PackStore::isPair("a.idx", "a.idx"));
}

TEST_F(PackStoreTest, LooseObjectsAreListedByShardAndNameWithoutHiddenAndForeignFiles) {
  EXPECT_TRUE(PackStore::looseObjects(folder.path()).empty());
  for (const auto* path :
       {"bb/b1.json", "aa/a2.json", "aa/a1.json", "aa/.hidden.json", "aa/other.txt", ".cc/c1.json", "file"})
    test::write(folder / "store/objects" / path, "x");
  std::vector<std::string> hashes;
  for (const auto& object : PackStore::looseObjects(folder.path())) {
    hashes.emplace_back(object.hash());
    EXPECT_EQ(files::read(object.path()), "x");
  }
  EXPECT_THAT(hashes, ElementsAre("a1", "a2", "b1"));
}

TEST_F(PackStoreTest, IndexesAreShownByNameAndWhatCanNotBeReadIsPassedOver) {
  const std::string hash(64, 'a');
  test::writePack(folder.path(), "b", {{hash, "x"}});
  test::writePack(folder.path(), "a", {{hash, "y"}});
  const auto packs = store.packsDirectory();
  test::write(packs / ".hidden.idx", files::read(packs / "a.idx"));
  test::write(packs / "empty.idx", "");
  test::write(packs / "cut.idx", files::read(packs / "a.idx").substr(0, 40));
  test::write(packs / "text.idx", test::indexText("a.pack", {{hash, "[\"1\",2]"}}));
  test::write(packs / "map.idx", test::indexText("a.pack", {{hash, "{}"}}));
  test::write(packs / "half.idx", test::indexText("a.pack", {{hash, "[0.5,1]"}}));
  test::write(packs / "beyond.idx", test::indexText("a.pack", {{hash, "[0,18446744073709551615]"}}));
  std::filesystem::create_directory(packs / "folder.idx");
  test::makePipe(packs / "pipe.idx");
  std::vector<std::string> shown;
  PackStore::indexes(packs, [&](const auto& path, const PackIndex& index) {
    shown.push_back(path.filename().string() + ">" + index.pack);
  });
  EXPECT_THAT(shown, ElementsAre("a.idx>a.pack", "b.idx>b.pack"));
  EXPECT_TRUE(PackStore::indexNames(folder / "none").empty());
}

TEST(PackIndexTest, EntriesAreSortedAndOfARepeatedNameTheLastCounts) {
  const std::string a(64, 'a');
  const std::string b(64, 'b');
  const auto index = BackupFormat::makeDecoder().decode<PackIndex>(test::indexText(
      "x.pack", {{b, "[1,2]"}, {"odd", "[7]"}, {a, "[3,4]"}, {b, "[5,6]"}, {"odd", "[]"}, {"a", "[1,2,3]"}}));
  ASSERT_EQ(index.objects.entries.size(), 2U);
  EXPECT_EQ(index.objects.entries[0], (PackObjects::Entry{*ObjectKey::parse(a), {3, 4, true}}));
  EXPECT_EQ(index.objects.entries[1], (PackObjects::Entry{*ObjectKey::parse(b), {5, 6, true}}));
  ASSERT_EQ(index.objects.others.size(), 2U);
  EXPECT_EQ(index.objects.others[0], std::pair(std::string("a"), PackRange{1, 3, false}));
  EXPECT_EQ(index.objects.others[1], std::pair(std::string("odd"), PackRange{0, 0, false}));
  EXPECT_EQ(index.objects.count(), 4U);
  EXPECT_EQ(index.objects.find(*ObjectKey::parse(b))->offset, 5);
  EXPECT_EQ(index.objects.find(ObjectKey()), nullptr);
}

TEST(PackIndexTest, ReadsBackFromItsOwnTextAndNoOther) {
  PackIndex index{1, "x.pack", {}};
  index.objects.entries = {{*ObjectKey::parse(std::string(64, 'a')), {1, 2, true}},
                           {*ObjectKey::parse(std::string(64, 'b')), {3, 4, true}}};
  const auto text = BackupFormat::makeLineEncoder().encode(index);
  EXPECT_TRUE(index.readsBackFrom(text));
  EXPECT_EQ(BackupFormat::makeDecoder().decode<PackIndex>(text), index);
  for (const auto& [from, to] :
       std::vector<std::pair<std::string, std::string>>{{"[1,2]", "[1,3]"},
                                                        {"[1,2]", "[1,2,2]"},
                                                        {"[1,2]", "[0,2]"},
                                                        {"x.pack", "y.pack"},
                                                        {":1,", ":2,"},
                                                        {"bb\"", "bc\""},
                                                        {"}", ""},
                                                        {"[3,4]", "[3,4],\"z\":[5,6]"}}) {
    auto changed = text;
    changed.replace(changed.find(from), from.size(), to);
    EXPECT_FALSE(index.readsBackFrom(changed)) << changed;
  }
  EXPECT_FALSE((PackIndex{1, "x.pack", {}}).readsBackFrom(text));
}

TEST(PackIndexTest, ARangeLiesWithinItsPackOrNot) {
  EXPECT_TRUE((PackRange{0, 10, true}).liesWithin(10));
  EXPECT_TRUE((PackRange{10, 0, true}).liesWithin(10));
  EXPECT_FALSE((PackRange{1, 10, true}).liesWithin(10));
  EXPECT_FALSE((PackRange{-1, 1, true}).liesWithin(10));
  EXPECT_FALSE((PackRange{1, -1, true}).liesWithin(10));
  EXPECT_FALSE((PackRange{INT64_MAX, INT64_MAX, true}).liesWithin(10));
  EXPECT_FALSE((PackRange{0, 1, false}).liesWithin(10));
}

TEST(PackIndexTest, OnlyAPlainVisibleNameNamesAPack) {
  for (const auto* name : {"", ".", "..", ".a.pack", "a/b.pack", "/a.pack", "../a.pack"})
    EXPECT_FALSE((PackIndex{1, name, {}}).namesPlainFile()) << name;
  EXPECT_FALSE((PackIndex{1, std::string("a\0b", 3), {}}).namesPlainFile());
  EXPECT_TRUE((PackIndex{1, "a", {}}).namesPlainFile());
}

}  // namespace
