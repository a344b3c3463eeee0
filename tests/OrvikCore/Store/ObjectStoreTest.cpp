#include "OrvikCore/Store/ObjectStore.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Files/FaultSeam.h"
#include "tests/Support/Commands.h"
#include "tests/Support/Folders.h"
#include "tests/Support/Packs.h"
#include "tests/Support/SampleRecords.h"
#include "tests/Support/TestKeys.h"

namespace {

using namespace orvik;
namespace files = platform::files;
using IncludingOverlay = ObjectStore::IncludingOverlay;

const std::string noObject(64, 'a');

class Store : public testing::Test {
 protected:
  ~Store() override { BackupEncryption::forgetKeys(); }

  files::TempFolder folder;
  files::TempFolder second;
  ObjectStore store{folder.path(), {}, {}};
  ObjectStore overlaid{folder.path(), second.path(), {}};
};

TEST_F(Store, PutStoresTheCanonicalTextUnderItsDigest) {
  const auto name = store.put(R"({"b":1.0,"a":["/","é"]})");
  const auto content = test::contentOf(folder.path());
  ASSERT_EQ(content.size(), 1U);
  EXPECT_EQ(content.begin()->first, "store/objects/" + name.substr(0, 2) + "/" + name + ".json");
  EXPECT_EQ(content.begin()->second, "{\n  \"a\" : [\n    \"/\",\n    \"é\"\n  ],\n  \"b\" : 1\n}");
  EXPECT_EQ(test::opensslDigest("sha256", store.objectURL(name)), name);
  EXPECT_EQ(store.object(name), content.begin()->second);
}

TEST_F(Store, PutOfAReorderedDocumentWritesNothing) {
  const auto name = store.put(R"({"a":1,"b":{"x":null,"y":[]}})");
  files::armFaultSeam(1, files::FaultAction::failFromThen);
  EXPECT_EQ(store.put(" {\"b\" : {\"y\" : [ ], \"x\":null},\n\t\"a\" : 1.0}"), name);
  EXPECT_EQ(files::operationsSinceArmed(), 0U);
  files::disarmFaultSeam();
}

TEST_F(Store, PutOfWhatIsNotJSONKeepsTheExactBytes) {
  for (const auto& bytes : {std::string("<?xml version=\"1.0\"?>\r\n<a/>\n"), std::string("{\"a\":1} x"),
                            std::string("\0\xff\n", 3), std::string("\xef\xbb\xbf{}")}) {
    const auto name = store.put(bytes);
    EXPECT_EQ(name, ObjectStore::sha256(bytes));
    EXPECT_EQ(store.object(name), bytes);
  }
}

TEST_F(Store, PutOfFragmentsAndOfNothing) {
  EXPECT_EQ(store.object(store.put(" 1.0 ")), "1");
  EXPECT_EQ(store.object(store.put("\"\\u00e9\"")), "\"é\"");
  const auto empty = store.put("");
  EXPECT_EQ(empty, "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  files::armFaultSeam(1, files::FaultAction::failFromThen);
  EXPECT_EQ(store.put(""), empty) << "the empty object is rightly empty";
  files::disarmFaultSeam();
}

TEST_F(Store, PutOfJSONNestedTooDeeplyKeepsTheBytes) {
  const auto deep = std::string(100'000, '[') + std::string(100'000, ']');
  EXPECT_EQ(store.object(store.put(deep)), deep);
}

TEST_F(Store, PutOfAPackedObjectWritesNothing) {
  const auto name = ObjectStore::sha256("[\n\n]");
  test::writePack(folder.path(), "a", {{name, "[\n\n]"}});
  const auto before = test::contentOf(folder.path());
  EXPECT_EQ(store.put("[]"), name);
  EXPECT_EQ(test::contentOf(folder.path()), before);
  EXPECT_EQ(store.object(name), "[\n\n]");
  EXPECT_TRUE(store.has(name, IncludingOverlay::no));
}

TEST_F(Store, PutWithAnOverlayLeavesTheInstanceFolderUntouched) {
  const auto name = overlaid.put("[1]");
  EXPECT_TRUE(test::contentOf(folder.path()).empty());
  EXPECT_EQ(test::contentOf(second.path()).size(), 1U);
  EXPECT_EQ(overlaid.object(name), "[\n  1\n]");
  EXPECT_TRUE(overlaid.has(name, IncludingOverlay::yes));
  EXPECT_FALSE(overlaid.has(name, IncludingOverlay::no));
  EXPECT_FALSE(store.has(name, IncludingOverlay::yes));
}

TEST_F(Store, PutOfAnObjectThatOnlyTheOverlayHoldsWritesNothing) {
  const auto name = overlaid.put("[1]");
  files::armFaultSeam(1, files::FaultAction::failFromThen);
  EXPECT_EQ(overlaid.put("[1]"), name);
  files::disarmFaultSeam();
}

TEST_F(Store, PutOfAnObjectThatTheInstanceFolderHoldsLeavesTheOverlayEmpty) {
  store.put("[1]");
  overlaid.put("[1]");
  EXPECT_TRUE(test::contentOf(second.path()).empty());
}

TEST_F(Store, LookupTakesTheOverlayThenTheFolderThenThePacks) {
  test::writePack(folder.path(), "a", {{noObject, "packed"}});
  EXPECT_EQ(overlaid.stored(noObject), "packed");
  test::write(folder.path() / BackupFormat::objectPath(noObject), "loose");
  EXPECT_EQ(overlaid.stored(noObject), "loose");
  test::write(second.path() / BackupFormat::objectPath(noObject), "overlay");
  EXPECT_EQ(overlaid.stored(noObject), "overlay");
}

TEST_F(Store, TheLocationIsTheLooseFileElseThePlaceInAPackAndNeverTheOverlay) {
  EXPECT_FALSE(store.location(noObject));
  test::write(second.path() / BackupFormat::objectPath(noObject), "overlay");
  EXPECT_FALSE(overlaid.location(noObject));
  test::writePack(folder.path(), "a", {{std::string(64, '1'), "12345"}, {noObject, "packed"}});
  const ObjectStore::Location packed = PackStore::Location{store.packsDirectory() / "a.pack", 5, 6};
  EXPECT_EQ(overlaid.location(noObject), packed);
  test::write(store.objectURL(noObject), "loose");
  EXPECT_EQ(store.location(noObject), ObjectStore::Location(store.objectURL(noObject)));
}

TEST_F(Store, PutDoesNotTrustAnIndexWhosePackIsCutOrGone) {
  const auto name = ObjectStore::sha256("[\n\n]");
  test::writePack(folder.path(), "a", {{name, "[\n\n]"}});
  test::write(store.packsDirectory() / "a.pack", "[\n");
  store.put("[]");
  EXPECT_EQ(files::read(store.objectURL(name)), "[\n\n]");

  files::remove(store.objectURL(name));
  files::remove(store.packsDirectory() / "a.pack");
  PackCache::shared().invalidate(store.packsDirectory());
  store.put("[]");
  EXPECT_EQ(files::read(store.objectURL(name)), "[\n\n]");
}

TEST_F(Store, AnUnreadableLooseFileFallsBackToThePacks) {
  test::writePack(folder.path(), "a", {{noObject, "packed"}});
  std::filesystem::create_directories(folder.path() / BackupFormat::objectPath(noObject));
  test::makePipe(second.path() / BackupFormat::objectPath(noObject));
  EXPECT_EQ(overlaid.stored(noObject), "packed");
  EXPECT_TRUE(overlaid.has(noObject, IncludingOverlay::yes));
}

TEST_F(Store, AnAbsentObjectIsTheErrorOfTheInstanceFolder) {
  EXPECT_FALSE(overlaid.has(noObject, IncludingOverlay::yes));
  try {
    overlaid.stored(noObject);
    FAIL() << "it was found";
  } catch (const files::FileError& error) {
    EXPECT_EQ(error.kind(), files::FileErrorKind::notFound);
    EXPECT_NE(error.description().find(store.objectURL(noObject).string()), std::string::npos);
  }
}

TEST_F(Store, ANameThatIsNoDigestIsMissingAndNeverAPath) {
  test::write(folder / "secret.json", "secret");
  std::filesystem::create_directories(folder / "store/objects/..");
  test::writePack(folder.path(), "a", {{"../../secret", "secret"}, {std::string(64, 'A'), "upper"}});
  for (const auto& name :
       {std::string(), std::string("../../secret"), std::string("../../../secret"), std::string(64, 'A'),
        std::string(63, 'a'), std::string(65, 'a'), std::string(63, 'a') + "g", std::string(63, 'a') + '\0',
        std::string("/etc/hostname")}) {
    EXPECT_FALSE(store.has(name, IncludingOverlay::yes)) << name;
    EXPECT_FALSE(store.hasContent(name, IncludingOverlay::yes)) << name;
    EXPECT_FALSE(store.location(name)) << name;
    EXPECT_FALSE(store.hasFile(name)) << name;
    EXPECT_THROW(store.stored(name), files::FileError) << name;
    EXPECT_THROW(store.adoptFile(folder / "secret.json", name), files::FileError) << name;
  }
  EXPECT_EQ(files::read(folder / "secret.json"), "secret");
}

TEST_F(Store, PutDoesNotTrustAHollowFile) {
  const auto name = store.put("[1]");
  test::write(store.objectURL(name), "");
  EXPECT_TRUE(store.has(name, IncludingOverlay::no));
  EXPECT_FALSE(store.hasContent(name, IncludingOverlay::no));
  EXPECT_EQ(store.put("[1]"), name);
  EXPECT_EQ(store.object(name), "[\n  1\n]");
}

TEST_F(Store, PutHealsAHollowFileThatHidesAPackedObject) {
  const auto name = ObjectStore::sha256("[\n\n]");
  test::writePack(folder.path(), "a", {{name, "[\n\n]"}});
  test::write(store.objectURL(name), "");
  EXPECT_FALSE(store.hasContent(name, IncludingOverlay::no));
  store.put("[]");
  EXPECT_EQ(store.object(name), "[\n\n]");
}

TEST_F(Store, PutHealsAHollowOverlayFileThatHidesTheInstanceFolders) {
  const auto name = store.put("[]");
  test::write(second.path() / BackupFormat::objectPath(name), "");
  overlaid.put("[]");
  EXPECT_EQ(overlaid.object(name), "[\n\n]");
}

TEST_F(Store, PutOfASealedEmptyObjectHealsAHollowFileToo) {
  store.cipher = test::cipherOf();
  const auto name = store.put("");
  test::write(store.objectURL(name), "");
  store.put("");
  EXPECT_TRUE(BackupCipher::isSealed(store.stored(name)));
  EXPECT_EQ(store.object(name), "");
}

TEST_F(Store, PutWhereAFolderStandsFailsAndSaysWhere) {
  const auto name = ObjectStore::sha256("[\n\n]");
  std::filesystem::create_directories(store.objectURL(name));
  try {
    store.put("[]");
    FAIL() << "it was stored";
  } catch (const files::FileError& error) {
    EXPECT_NE(error.description().find(name), std::string::npos) << error.description();
  }
  EXPECT_TRUE(test::contentOf(folder.path()).empty());
}

TEST_F(Store, ASealedObjectIsNamedByItsPlainContentAndWrittenOnce) {
  const auto cipher = test::cipherOf();
  store.cipher = cipher;
  const auto name = store.put("{\"b\":1,\"a\":2}");
  const std::string plain = "{\n  \"a\" : 2,\n  \"b\" : 1\n}";
  EXPECT_EQ(name, cipher.name(plain));
  const auto sealed = store.stored(name);
  EXPECT_TRUE(BackupCipher::isSealed(sealed));
  EXPECT_EQ(sealed.find("\"a\""), std::string::npos);
  EXPECT_EQ(store.put("{\"a\":2,\"b\":1}"), name);
  EXPECT_EQ(store.stored(name), sealed);
  EXPECT_EQ(store.object(name), plain);
  EXPECT_TRUE(store.isIntact(name, sealed));
}

TEST_F(Store, ASealedObjectIsOpenedWithTheKeyThatTheProcessHasUnlocked) {
  const auto cipher = test::sealFolder(folder.path());
  BackupEncryption::forgetKeys();
  const auto name = ObjectStore{folder.path(), {}, cipher}.put("[]");
  EXPECT_FALSE(store.isIntact(name, store.stored(name))) << "without a key nothing is proven";
  BackupEncryption::unlock(folder.path(), test::organisationKeys());
  EXPECT_EQ(store.object(name), "[\n\n]");
  EXPECT_TRUE(store.isIntact(name, store.stored(name)));
}

TEST_F(Store, ALockedObjectSaysWhichKeysOpenIt) {
  const auto name = ObjectStore{folder.path(), {}, test::cipherOf()}.put("[]");
  const auto keysOf = [&] {
    try {
      store.object(name);
    } catch (const BackupEncryptionError& error) {
      EXPECT_EQ(error.kind(), BackupEncryptionError::Kind::locked);
      return error.keyIDs();
    }
    return std::vector<std::string>{"it was opened"};
  };
  EXPECT_EQ(keysOf(), std::vector<std::string>());
  const EncryptionInfo info{1, "s", test::date("2025-03-04T09:15:00Z"), {{"k1", "w"}, {"k2", "w"}}};
  test::write(folder / "encryption.json", BackupFormat::makeEncoder().encode(info));
  EXPECT_EQ(keysOf(), (std::vector<std::string>{"k1", "k2"}));
}

TEST_F(Store, AnotherKeysObjectIsDamagedAndNotIntact) {
  const auto name = ObjectStore{folder.path(), {}, test::cipherOf("one")}.put("1");
  store.cipher = test::cipherOf("two");
  EXPECT_THROW(store.object(name), BackupEncryptionError);
  EXPECT_FALSE(store.isIntact(name, store.stored(name)));
}

TEST_F(Store, APlainObjectOfAnEncryptedFolderIsReadAsItIs) {
  const auto name = store.put("[]");
  store.cipher = test::cipherOf();
  EXPECT_EQ(store.object(name), "[\n\n]");
  EXPECT_TRUE(store.isIntact(name, store.stored(name)));
}

TEST_F(Store, OneChangedByteIsDamageAlsoWhereTheJSONMeansTheSame) {
  const auto name = store.put("{\"a\":1}");
  const auto stored = store.stored(name);
  EXPECT_TRUE(store.isIntact(name, stored));
  for (std::size_t i = 0; i < stored.size(); ++i) {
    auto changed = stored;
    changed[i] = changed[i] == ' ' ? '\t' : ' ';
    EXPECT_FALSE(store.isIntact(name, changed)) << i;
  }
  EXPECT_FALSE(store.isIntact(name, stored + "\n"));
  EXPECT_FALSE(store.isIntact(name, ""));
  EXPECT_FALSE(store.isIntact("", stored));
}

TEST_F(Store, AnObjectFileOfATerabyteIsNotRead) {
  test::makeSparse(store.objectURL(noObject), std::uintmax_t{1} << 40);
  EXPECT_THROW(store.stored(noObject), files::FileError);
}

TEST_F(Store, PathsStandBelowTheFolderAndDownloadsBelowTheOverlay) {
  EXPECT_EQ(store.objectURL(noObject), folder.path() / "store/objects/aa" / (noObject + ".json"));
  EXPECT_EQ(store.fileURL(noObject), folder.path() / "store/files/aa" / noObject);
  EXPECT_EQ(store.packsDirectory(), folder.path() / "store/packs");
  EXPECT_EQ(store.downloadsDirectory(), folder.path() / "store/downloads");
  EXPECT_EQ(overlaid.packsDirectory(), folder.path() / "store/packs");
  EXPECT_EQ(overlaid.downloadsDirectory(), second.path() / "store/downloads");
}

TEST_F(Store, AdoptFileMovesADownloadIntoItsPlace) {
  const auto source = store.downloadsDirectory() / "1";
  test::write(source, "package");
  const auto digest = ObjectStore::sha256("package");
  EXPECT_FALSE(store.hasFile(digest));
  store.adoptFile(source, digest);
  EXPECT_TRUE(store.hasFile(digest));
  EXPECT_FALSE(files::exists(source));
  EXPECT_EQ(files::read(store.fileURL(digest)), "package");
}

TEST_F(Store, AdoptFileOfKnownBytesRemovesTheSourceAndLeavesTheStoredFileAlone) {
  const auto digest = ObjectStore::sha256("package");
  test::write(store.fileURL(digest), "the first one");
  test::write(folder / "source", "package");
  store.adoptFile(folder / "source", digest);
  EXPECT_FALSE(files::exists(folder / "source"));
  EXPECT_EQ(files::read(store.fileURL(digest)), "the first one");
}

TEST_F(Store, AdoptFileOfWhatIsNotThereFails) {
  EXPECT_THROW(store.adoptFile(folder / "none", noObject), files::FileError);
  EXPECT_FALSE(store.hasFile(noObject));
}

TEST_F(Store, AFolderOrADanglingLinkInPlaceOfAFileIsNoFile) {
  std::filesystem::create_directories(store.fileURL(noObject));
  EXPECT_FALSE(store.hasFile(noObject));
  std::filesystem::create_directories(store.objectURL(noObject).parent_path());
  std::filesystem::create_symlink("nowhere", store.objectURL(noObject));
  EXPECT_FALSE(store.has(noObject, IncludingOverlay::no));
}

TEST_F(Store, AtomicWriteMakesItsFoldersAndLeavesNothingBeside) {
  ObjectStore::atomicWrite("one", folder / "a/b/c");
  ObjectStore::atomicWrite("two", folder / "a/b/c");
  EXPECT_EQ(test::contentOf(folder.path()), (std::map<std::string, std::string>{{"a/b/c", "two"}}));
}

TEST(CanonicalJSON, IsNothingForWhatIsNotJSON) {
  EXPECT_EQ(ObjectStore::canonicalJSON("{\"a\":01}"), std::nullopt);
  EXPECT_EQ(ObjectStore::canonicalJSON(""), std::nullopt);
  EXPECT_EQ(ObjectStore::canonicalJSON("null"), "null");
}

}  // namespace
