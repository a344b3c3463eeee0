#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <set>

#include "OrvikCore/Explore/ObjectExporter.h"
#include "OrvikCore/Jamf/DownloadError.h"
#include "OrvikCore/Security/BackupEncryptionError.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/JSON/View.h"
#include "tests/Support/Commands.h"
#include "tests/Support/Faults.h"
#include "tests/Support/StoredBackups.h"
#include "tests/Support/TestKeys.h"

namespace orvik {
namespace {

namespace files = platform::files;
using std::filesystem::perms;
using test::Path;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

perms modeOf(const Path& path) { return std::filesystem::status(path).permissions(); }

struct SectionExportTest : testing::Test, test::StoredBackups {
  files::TempFolder out;

  ~SectionExportTest() override { files::disarmFaultSeam(); }

  ObjectExporter::SectionExportResult exportSection(const std::string& sectionID,
                                                    std::vector<IndexItem> items) {
    const auto reader = publish(first, {section(sectionID, std::move(items))});
    return ObjectExporter::exportSection(sectionID, reader, out.path());
  }
  IndexItem scriptNamed(const std::string& id, const std::string& name, const std::string& contents) const {
    return item(id, name, {{"pro", "{\"scriptContents\":" + quoted(contents) + "}"}});
  }
  static std::string quoted(const std::string& text) {
    std::string json = "\"";
    for (const char c : text) {
      if (c == '\n')
        json += "\\n";
      else if (c == '\t')
        json += "\\t";
      else if (c == '"' || c == '\\')
        json += std::string("\\") + c;
      else
        json += c;
    }
    return json + "\"";
  }
  std::vector<std::string> names() const { return files::list(out.path()); }
};

ObjectExport data(const std::string& bytes, bool executable = false) {
  return {"JSON", "a.json", ObjectExport::Data{bytes, executable}};
}

TEST_F(SectionExportTest, AnExecutableHasItsModeAndOthersKeepTheDefault) {
  ObjectExporter::write(data("#!/bin/sh\n", true), out / "script");
  ObjectExporter::write(data("{}"), out / "object");
  test::write(out / "plain", "x");
  EXPECT_EQ(modeOf(out / "script"), perms{0755});
  EXPECT_EQ(modeOf(out / "object"), modeOf(out / "plain"));
  EXPECT_EQ(files::read(out / "script"), "#!/bin/sh\n");
}

TEST_F(SectionExportTest, AStoredFileIsCopiedOverTheDestinationWithAPlainMode) {
  test::write(folder / "stored", "the package");
  std::filesystem::permissions(folder / "stored", perms{0400});
  const ObjectExport object{"Package file", "a.pkg", ObjectExport::StoredFile{folder / "stored"}};
  test::write(out / "a.pkg", "old");
  ObjectExporter::write(object, out / "a.pkg");
  ObjectExporter::write(object, out / "new" / "folder" / "a.pkg");
  for (const auto& path : {out / "a.pkg", out / "new" / "folder" / "a.pkg"}) {
    EXPECT_EQ(files::read(path), "the package");
    EXPECT_EQ(modeOf(path), perms{0644});
  }
  EXPECT_EQ(files::read(folder / "stored"), "the package");
}

TEST_F(SectionExportTest, WhatTheBackupDoesNotHoldIsAnErrorThatNamesIt) {
  const ObjectExport object{"x", "a.pkg", ObjectExport::NotInBackup{"Tool 1.2.pkg", 5}};
  try {
    ObjectExporter::write(object, out / "a.pkg");
    FAIL();
  } catch (const DownloadError& error) {
    EXPECT_EQ(error.description(), "Tool 1.2.pkg is not in this backup");
    EXPECT_EQ(error.kind(), DownloadError::Kind::noSource);
  }
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(SectionExportTest, AFullDiskLeavesTheOldFileAndNothingElseAtAnyOperation) {
  test::write(folder / "stored", std::string(100'000, 'x'));
  for (const auto& object :
       {data("new"), data("new", true),
        ObjectExport{"Package file", "a", ObjectExport::StoredFile{folder / "stored"}}}) {
    const auto prepare = [](const Path& place) { test::write(place / "a", "old"); };
    const auto body = [&](const Path& place) { ObjectExporter::write(object, place / "a"); };
    const auto check = [](const Path& place) {
      EXPECT_EQ(files::read(place / "a"), "old");
      EXPECT_THAT(files::list(place), ElementsAre("a"));
    };
    EXPECT_GE(test::failuresOf(prepare, body, check).size(), 3u);
  }
}

TEST_F(SectionExportTest, AStopLeavesTheOldFile) {
  test::write(folder / "stored", "the package");
  test::write(out / "a", "old");
  std::stop_source stop;
  stop.request_stop();
  const ObjectExport object{"Package file", "a", ObjectExport::StoredFile{folder / "stored"}};
  EXPECT_THROW(ObjectExporter::write(object, out / "a", stop.get_token()), platform::CancellationError);
  EXPECT_EQ(files::read(out / "a"), "old");
}

TEST_F(SectionExportTest, AFolderInThePlaceOfTheFileIsAnErrorThatNamesIt) {
  test::write(folder / "stored", "the package");
  files::createDirectories(out / "a");
  for (const auto& object : {data("x"), ObjectExport{"", "a", ObjectExport::StoredFile{folder / "stored"}}}) {
    try {
      ObjectExporter::write(object, out / "a");
      FAIL();
    } catch (const files::FileError& error) {
      EXPECT_EQ(error.description(), "Can't write " + (out / "a").string() + ": Is a directory");
    }
  }
  EXPECT_THAT(names(), ElementsAre("a"));
}

TEST_F(SectionExportTest, EveryStoredObjectIsWrittenOnce) {
  auto index = section("policies", {item("1", "Install", {{"pro", "{\"a\":1}"}, {"classic", "{\"b\":1}"}}),
                                    item("2", "Empty"), item("3", "XML", {{"classic", "<policy/>"}})});
  index.removed = {{"4", "Gone"}};
  index.errors = {{"5", "Failed", "HTTP 500"}};
  const auto reader = publish(first, {index});
  std::vector<std::pair<std::string, Path>> told;
  const auto result = ObjectExporter::exportSection(
      "policies", reader, out / "new" / "folder",
      [&](const BackupReader::Entry& entry, const Path& path) { told.emplace_back(entry.item.id, path); });
  EXPECT_EQ(result, (ObjectExporter::SectionExportResult{1, {"Empty", "XML"}}));
  EXPECT_THAT(told, ElementsAre(std::pair(std::string("1"), out / "new" / "folder" / "Install.pro.json")));
  EXPECT_EQ(files::read(out / "new" / "folder" / "Install.pro.json"), "{\n  \"a\" : 1\n}");
  EXPECT_THAT(files::list(out / "new" / "folder"), ElementsAre("Install.pro.json"));
}

TEST_F(SectionExportTest, ASectionThatIsNotThereGivesAnEmptyFolder) {
  const auto reader = publish(first, {});
  EXPECT_EQ(ObjectExporter::exportSection("policies", reader, out / "new"),
            ObjectExporter::SectionExportResult{});
  EXPECT_TRUE(files::isDirectory(out / "new"));
}

TEST_F(SectionExportTest, TwoEntriesThatDifferInCaseGetTwoNames) {
  for (const bool isUpperFirst : {true, false}) {
    const files::TempFolder place;
    const auto reader = publish(
        first, {section("policies", {item("1", isUpperFirst ? "Report" : "report", {{"pro", "1"}}),
                                     item("2", isUpperFirst ? "report" : "Report", {{"pro", "2"}})})});
    EXPECT_EQ(ObjectExporter::exportSection("policies", reader, place.path()).written, 2);
    EXPECT_THAT(files::list(place.path()), UnorderedElementsAre("Report.json", "report 2.json"));
    EXPECT_EQ(files::read(place / "Report.json"), isUpperFirst ? "1" : "2");
  }
}

TEST_F(SectionExportTest, FilesOfAnEarlierExportAreReplaced) {
  test::write(out / "Install.json", "old");
  test::write(out / "other", "stays");
  exportSection("policies", {item("1", "Install", {{"pro", "1"}}), item("2", "Install", {{"pro", "2"}})});
  EXPECT_EQ(files::read(out / "Install.json"), "1");
  EXPECT_EQ(files::read(out / "Install 2.json"), "2");
  EXPECT_EQ(files::read(out / "other"), "stays");
  EXPECT_THAT(names(), UnorderedElementsAre("Install.json", "Install 2.json", "other"));
}

TEST_F(SectionExportTest, ALinkInTheFolderIsReplacedAndNotFollowed) {
  test::write(folder / "target", "stays");
  std::filesystem::create_symlink(folder / "target", out / "Install.json");
  exportSection("policies", {item("1", "Install", {{"pro", "1"}})});
  EXPECT_EQ(files::read(folder / "target"), "stays");
  EXPECT_EQ(files::read(out / "Install.json"), "1");
}

TEST_F(SectionExportTest, OddNamesBecomeFilesInTheFolder) {
  std::string longName, marks;
  for (int i = 0; i < 10'000; ++i) {
    longName += "日";
    marks += "e\u0301";
  }
  const std::vector<std::string> odd{"",
                                     ".",
                                     "..",
                                     "/",
                                     "../../x",
                                     ".hidden",
                                     "a\nb",
                                     "CON",
                                     longName,
                                     longName,
                                     marks,
                                     "שלום",
                                     "a\x01\x7F",
                                     "مرحبا \u202Ex",
                                     "a: b",
                                     " a ",
                                     "\u0301",
                                     "🇩🇪",
                                     std::string("a\0b", 3),
                                     "..",
                                     std::string(300, 'x')};
  std::vector<IndexItem> items;
  for (const auto& name : odd) items.push_back(item(std::to_string(items.size()), name, {{"pro", "1"}}));
  const auto result = exportSection("policies", items);
  EXPECT_EQ(result.written, static_cast<int>(odd.size()));
  EXPECT_EQ(names().size(), odd.size());
  for (const auto& name : names()) {
    EXPECT_FALSE(name.starts_with('.')) << name;
    EXPECT_LE(name.size(), ObjectExporter::longestFileName) << name;
    EXPECT_TRUE(name.ends_with(".json")) << name;
  }
  EXPECT_THAT(files::list(out.path().parent_path()), testing::Not(testing::Contains("x.json")));
}

TEST_F(SectionExportTest, ANativeSectionLeavesOutWhatHasNoFormOfItsOwn) {
  const auto result = exportSection(
      "scripts", {scriptNamed("1", "A", "echo"), scriptNamed("2", "B", ""), item("3", "C", {{"pro", "{}"}})});
  EXPECT_EQ(result, (ObjectExporter::SectionExportResult{1, {"B", "C"}}));
  EXPECT_THAT(names(), ElementsAre("A.sh"));
  EXPECT_EQ(modeOf(out / "A.sh"), perms{0755});
}

TEST_F(SectionExportTest, APackageThatTheBackupDoesNotHoldIsSkipped) {
  const auto digest = ObjectStore::sha256("the package");
  test::write(repository.store().fileURL(digest), "the package");
  auto listed = item("a.pkg", "A");
  listed.file = FileRef{"a.pkg", digest, 11, {}, FileRef::Status::downloaded, {}, {}, {}};
  const auto reader =
      publish(first, {section("packages", {item("1", "A", {{"pro", R"({"fileName":"a.pkg"})"}}),
                                           item("2", "A again", {{"pro", R"({"fileName":"a.pkg"})"}}),
                                           item("3", "B", {{"pro", R"({"fileName":"b.pkg"})"}})}),
                      section("packageFiles", {listed})});
  EXPECT_EQ(ObjectExporter::exportSection("packages", reader, out.path()),
            (ObjectExporter::SectionExportResult{2, {"B"}}));
  EXPECT_THAT(names(), UnorderedElementsAre("a.pkg", "a 2.pkg"));
  EXPECT_EQ(files::read(out / "a 2.pkg"), "the package");
}

TEST_F(SectionExportTest, AFailedWriteEndsItAndWhatWasWrittenStays) {
  files::createDirectories(out / "b.json");
  const auto reader =
      publish(first, {section("policies", {item("1", "a", {{"pro", "1"}}), item("2", "b", {{"pro", "1"}}),
                                           item("3", "c", {{"pro", "1"}})})});
  EXPECT_THROW(ObjectExporter::exportSection("policies", reader, out.path()), files::FileError);
  EXPECT_THAT(names(), UnorderedElementsAre("a.json", "b.json"));
}

TEST_F(SectionExportTest, AFolderThatCanNotBeMadeIsAnErrorThatNamesIt) {
  test::write(out / "file", "x");
  const auto reader = publish(first, {section("policies", {item("1", "a", {{"pro", "1"}})})});
  try {
    ObjectExporter::exportSection("policies", reader, out / "file" / "below");
    FAIL();
  } catch (const files::FileError& error) {
    EXPECT_THAT(error.description(), testing::HasSubstr((out / "file").string()));
  }
}

TEST_F(SectionExportTest, AFullDiskIsAnErrorThatNamesTheFile) {
  const auto reader =
      publish(first, {section("policies", {item("1", "a", {{"pro", "1"}}), item("2", "b", {{"pro", "1"}})})});
  const auto sentences =
      test::failuresOf([](const Path&) {},
                       [&](const Path& place) { ObjectExporter::exportSection("policies", reader, place); },
                       [](const Path& place) {
                         for (const auto& name : files::list(place)) EXPECT_EQ(name, "a.json");
                       });
  ASSERT_GE(sentences.size(), 4u);
  EXPECT_THAT(sentences.back(), testing::HasSubstr("b.json"));
}

TEST_F(SectionExportTest, AStopEndsIt) {
  std::stop_source stop;
  const auto reader =
      publish(first, {section("policies", {item("1", "a", {{"pro", "1"}}), item("2", "b", {{"pro", "1"}})})});
  EXPECT_THROW(ObjectExporter::exportSection(
                   "policies", reader, out.path(), [&](const auto&, const auto&) { stop.request_stop(); }, {},
                   stop.get_token()),
               platform::CancellationError);
  EXPECT_THAT(names(), ElementsAre("a.json"));
}

TEST_F(SectionExportTest, WhatTheCallerDoesNotAcceptIsSkipped) {
  const auto reader =
      publish(first, {section("policies", {item("1", "a", {{"pro", "1"}}), item("2", "b", {{"pro", "1"}})})});
  const auto result = ObjectExporter::exportSection("policies", reader, out.path(), {},
                                                    [](const auto& entry) { return entry.item.id == "2"; });
  EXPECT_EQ(result, (ObjectExporter::SectionExportResult{1, {"a"}}));
  EXPECT_THAT(names(), ElementsAre("b.json"));
}

TEST_F(SectionExportTest, ASealedFolderIsExportedWithItsKey) {
  cipher = test::sealFolder(folder.path());
  const auto digest = ObjectStore::sha256("the package");
  test::write(repository.store().fileURL(digest), "the package");
  auto listed = item("a.pkg", "A");
  listed.file = FileRef{"a.pkg", digest, 11, {}, FileRef::Status::downloaded, {}, {}, {}};
  const auto reader = publish(
      first, {section("scripts", {scriptNamed("1", "A", "echo sealed")}), section("packageFiles", {listed})});
  EXPECT_EQ(ObjectExporter::exportSection("scripts", reader, out.path()).written, 1);
  EXPECT_EQ(ObjectExporter::exportSection("packageFiles", reader, out.path()).written, 1);
  EXPECT_EQ(files::read(out / "A.sh"), "echo sealed");
  EXPECT_EQ(files::read(out / "a.pkg"), "the package");

  BackupEncryption::forgetKeys();
  EXPECT_THROW(ObjectExporter::exportSection("scripts", reader, out / "locked"), BackupEncryptionError);
  EXPECT_FALSE(files::exists(out / "locked"));
}

TEST_F(SectionExportTest, ExportedScriptsRun) {
  exportSection("scripts",
                {scriptNamed("1", "shell", "#!/bin/bash\necho \"$0\" | grep -c 'shell.sh$'\necho 'a\"b\\\\'"),
                 scriptNamed("2", "snake", "#!/usr/bin/env python3\nprint('ä' * 3)\n"),
                 scriptNamed("3", "bare", "echo bare")});
  EXPECT_EQ(test::outputOf((out / "shell.sh").string(), {}), "1\na\"b\\\\\n");
  EXPECT_EQ(test::outputOf((out / "snake.py").string(), {}), "äää\n");
  EXPECT_EQ(test::outputOf("bash", {(out / "bare.sh").string()}), "bare\n");
}

TEST_F(SectionExportTest, ExportedProfilesParseWithAnIndependentTool) {
  const auto xml = files::read(Path(ORVIK_SOURCE_FOLDER) / "fuzz/corpus/PropertyList/profile.mobileconfig");
  exportSection(
      "mobileConfigurationProfiles",
      {item("1", "Wi-Fi", {{"classic", "{\"p\":{\"general\":{\"payloads\":" + quoted(xml) + "}}}"}})});
  EXPECT_EQ(files::read(out / "Wi-Fi.mobileconfig"), xml);
  const auto told = test::outputOf("python3", {"-c",
                                               "import plistlib, sys\n"
                                               "profile = plistlib.load(open(sys.argv[1], 'rb'))\n"
                                               "print([p['PayloadType'] for p in profile['PayloadContent']], "
                                               "profile['PayloadContent'][0]['SSID_STR'])",
                                               (out / "Wi-Fi.mobileconfig").string()});
  EXPECT_EQ(told, "['com.apple.wifi.managed', 'com.apple.mcx'] Büro 😀 <x>\n");
}

TEST_F(SectionExportTest, ExportedJSONParsesBackEqual) {
  const std::string object =
      R"({"name":"Büro \u0001\n\"x\" 😀","list":[1,-2.5,1e300,true,null,[],{}],"big":18446744073709551615})";
  exportSection("policies", {item("1", "a", {{"pro", object}})});
  const auto exported = files::read(out / "a.json");
  EXPECT_EQ(
      platform::json::Document::parse(exported)->root().serialized(),
      R"({"big":18446744073709551615,"list":[1,-2.5,1e+300,true,null,[],{}],"name":"Büro \u0001\n\"x\" 😀"})");
  test::write(out / "original", object);
  EXPECT_EQ(test::outputOf("python3", {"-c",
                                       "import json, sys\n"
                                       "print(json.load(open(sys.argv[1])) == json.load(open(sys.argv[2])))",
                                       (out / "a.json").string(), (out / "original").string()}),
            "True\n");
}

}  // namespace
}  // namespace orvik
