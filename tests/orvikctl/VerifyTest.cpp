#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "OrvikCore/Security/BackupEncryption.h"
#include "tests/Support/SampleFolder.h"
#include "tests/Support/TestKeys.h"
#include "tests/Support/Tool.h"

namespace {

using namespace orvik;
using test::runTool;
namespace files = platform::files;

class Verify : public testing::Test {
 protected:
  ~Verify() override { BackupEncryption::forgetKeys(); }

  files::TempFolder folder;
  const BackupRepository repository{folder.path()};
  const ObjectStore store = repository.store();

  test::ToolResult verify(const ctl::Arguments& more = {}) const {
    ctl::Arguments arguments{"verify", folder.path().string()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return runTool(arguments);
  }
  void publish(const std::string& id, const std::vector<SectionIndex>& indexes) const {
    auto manifest = test::plainManifest(id);
    for (const auto& index : indexes) {
      manifest.sections.push_back(test::summaryOf(index.sectionID));
      BackupRepository::writeIndex(
          index, repository.backupDirectory(id) / BackupFormat::sectionPath(index.sectionID), std::nullopt);
    }
    test::write(repository.backupDirectory(id) / "manifest.json",
                BackupFormat::makeEncoder().encode(manifest));
  }
  static SectionIndex indexOf(const std::string& section, const std::string& item,
                              std::map<std::string, std::string> objects) {
    auto index = test::emptyIndex(section);
    index.items = {test::itemWithID(item)};
    index.items[0].objects = std::move(objects);
    return index;
  }
};

TEST_F(Verify, AnIntactBackupIsOneLine) {
  const test::SampleFolder sample;
  const auto result = runTool({"verify", sample.folder.path().string()});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "✓ 2025-03-04T091500Z: 4 objects and files intact\n");
  EXPECT_EQ(result.err, "");
}

TEST_F(Verify, TakesTheNewestBackupUnlessOneIsNamed) {
  publish("1", {});
  publish("2", {indexOf("s", "1", {{"json", store.put("[]")}})});
  EXPECT_EQ(verify().out, "✓ 2: 1 objects and files intact\n");
  EXPECT_EQ(verify({"1"}).out, "✓ 1: 0 objects and files intact\n");
  EXPECT_EQ(verify({"--key", "none.pem", "1"}).out, "✓ 1: 0 objects and files intact\n");
}

TEST_F(Verify, WithoutSuchABackupFails) {
  const auto expectNone = [](const test::ToolResult& result) {
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "orvikctl: no such backup\n");
  };
  expectNone(verify());
  publish("1", {});
  publish("2.partial", {});
  publish(".3", {});
  for (const char* id : {"", "2", "2.partial", ".3", "../backups/1", "1/", "./1", "..", "9"}) {
    SCOPED_TRACE(id);
    expectNone(verify({id}));
  }
}

TEST_F(Verify, ProblemsComeInTheOrderOfManifestIndexAndVariant) {
  const std::string missing(64, '0');
  const auto corrupt = store.put("[1]");
  test::write(store.objectURL(corrupt), "[1]");
  auto first = indexOf("z", "9", {{"xml", missing}, {"json", corrupt}});
  first.items.push_back(test::itemWithID("1"));
  first.items[1].file = FileRef{"A.pkg", missing, {}, {}, FileRef::Status::reused, {}, {}, {}};
  const auto digest = ObjectStore::sha256("x");
  test::write(store.fileURL(digest), "y");
  auto second = indexOf("a", "1", {});
  second.items[0].file = FileRef{"B.pkg", digest, {}, {}, FileRef::Status::reused, {}, {}, {}};
  publish("1", {first, second});
  const auto result = verify();
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "✗ z/9: object " + corrupt + " corrupt\n✗ z/9: object " + missing +
                            " missing\n✗ file A.pkg: " + missing +
                            " missing\n✗ file B.pkg: corrupt\n4 problem(s) in 1\n");
}

TEST_F(Verify, KeepsTheOrderOfManyItems) {
  auto index = test::emptyIndex("s");
  std::string expected;
  for (int i = 0; i < 2000; ++i) {
    const auto id = std::to_string(i);
    const auto name = store.put("{\"id\":" + id + "}");
    index.items.push_back(test::itemWithID(id));
    index.items.back().objects = {{"json", name}};
    if (i % 7 == 3) {
      std::filesystem::remove(store.objectURL(name));
      expected += "✗ s/" + id + ": object " + name + " missing\n";
    } else if (i % 11 == 5) {
      test::write(store.objectURL(name), std::string(static_cast<std::size_t>(i) * 10, 'x'));
      expected += "✗ s/" + id + ": object " + name + " corrupt\n";
    }
  }
  publish("1", {index});
  const auto problems = std::count(expected.begin(), expected.end(), '\n');
  EXPECT_EQ(verify().out, expected + std::to_string(problems) + " problem(s) in 1\n");
}

TEST_F(Verify, AMissingIndexIsAProblemOnlyWhereTheSummaryStatesOne) {
  auto manifest = test::plainManifest("1");
  manifest.sections = {test::summaryOf("stated"), test::summaryOf("unstated", false)};
  test::write(repository.backupDirectory("1") / "manifest.json",
              BackupFormat::makeEncoder().encode(manifest));
  const auto result = verify();
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "✗ stated: index missing\n1 problem(s) in 1\n");
}

TEST_F(Verify, AnIndexThatTheSummaryDoesNotStateIsCheckedAllTheSame) {
  publish("1", {indexOf("s", "1", {{"json", store.put("[]")}})});
  auto manifest = test::plainManifest("1");
  manifest.sections = {test::summaryOf("s", false)};
  test::write(repository.backupDirectory("1") / "manifest.json",
              BackupFormat::makeEncoder().encode(manifest));
  EXPECT_EQ(verify().out, "✓ 1: 1 objects and files intact\n");
}

TEST_F(Verify, AFileWithoutADigestIsNotCounted) {
  auto index = indexOf("s", "1", {});
  index.items[0].file = FileRef{"A.pkg", {}, {}, {}, FileRef::Status::unavailable, {}, {}, {}};
  publish("1", {index});
  EXPECT_EQ(verify().out, "✓ 1: 0 objects and files intact\n");
}

TEST_F(Verify, AHashThatIsAPathIsMissingAndNeverRead) {
  test::write(folder / "secret", "x");
  test::write(folder / "store/x.json", "x");
  const std::string path = "../../x";
  const auto upper = std::string(64, 'A');
  auto index = indexOf("s", "1", {{"a", path}, {"b", upper}, {"c", ""}});
  index.items[0].file = FileRef{"A.pkg", "../../../secret", {}, {}, FileRef::Status::reused, {}, {}, {}};
  publish("1", {index});
  EXPECT_EQ(verify().out, "✗ s/1: object " + path + " missing\n✗ s/1: object " + upper +
                              " missing\n✗ s/1: object  missing\n✗ file A.pkg: ../../../secret missing\n"
                              "4 problem(s) in 1\n");
}

TEST_F(Verify, ASectionWhoseNameIsAPathHasNoIndex) {
  auto manifest = test::plainManifest("1");
  manifest.sections = {test::summaryOf("../../../outside"), test::summaryOf(".hidden")};
  test::write(repository.backupDirectory("1") / "manifest.json",
              BackupFormat::makeEncoder().encode(manifest));
  const auto index = BackupFormat::makeEncoder().encode(test::emptyIndex("s"));
  test::write(repository.backupDirectory("1") / "sections/.hidden.json", index);
  test::write(folder / "outside.json", index);
  EXPECT_EQ(verify().out, "✗ ../../../outside: index missing\n✗ .hidden: index missing\n2 problem(s) in 1\n");
}

TEST_F(Verify, IsNamedAndReadByTheFolderWhateverIDTheManifestStates) {
  const auto name = store.put("[]");
  publish("1", {indexOf("s", "1", {{"json", name}})});
  publish("2", {indexOf("s", "1", {{"json", std::string(64, '0')}})});
  auto manifest = repository.manifest("1").value();
  manifest.backupID = "2";
  test::write(repository.backupDirectory("1") / "manifest.json",
              BackupFormat::makeEncoder().encode(manifest));
  EXPECT_EQ(verify({"1"}).out, "✓ 1: 1 objects and files intact\n");
}

TEST_F(Verify, WhatIsNoFileIsMissingAndNeverBlocks) {
  const std::string a(64, 'a');
  const std::string b(64, 'b');
  const std::string c(64, 'c');
  std::filesystem::create_directories(store.objectURL(a));
  test::makePipe(store.objectURL(b));
  std::filesystem::create_directories(store.objectURL(c).parent_path());
  std::filesystem::create_symlink("nowhere", store.objectURL(c));
  test::makePipe(store.fileURL(a));
  auto index = indexOf("s", "1", {{"a", a}, {"b", b}, {"c", c}});
  index.items[0].file = FileRef{"A.pkg", a, {}, {}, FileRef::Status::reused, {}, {}, {}};
  publish("1", {index});
  EXPECT_EQ(verify().out, "✗ s/1: object " + a + " missing\n✗ s/1: object " + b + " missing\n✗ s/1: object " +
                              c + " missing\n✗ file A.pkg: " + a + " missing\n4 problem(s) in 1\n");
}

TEST_F(Verify, ASealedObjectWithoutAKeyIsCorruptAndWithItsKeyIntact) {
  const auto cipher = test::sealFolder(folder.path());
  BackupEncryption::forgetKeys();
  const auto name = ObjectStore{folder.path(), {}, cipher}.put("[]");
  publish("1", {indexOf("s", "1", {{"json", name}})});
  EXPECT_EQ(verify().out, "✗ s/1: object " + name + " corrupt\n1 problem(s) in 1\n");
  BackupEncryption::unlock(folder.path(), test::organisationKeys());
  EXPECT_EQ(verify().out, "✓ 1: 1 objects and files intact\n");
}

TEST_F(Verify, ChangesNothing) {
  const test::SampleFolder sample;
  const auto before = test::contentOf(sample.folder.path());
  runTool({"verify", sample.folder.path().string()});
  EXPECT_EQ(test::contentOf(sample.folder.path()), before);
}

}  // namespace
