#include "OrvikCore/Explore/ObjectExporter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "Platform/JSON/Canonical.h"
#include "tests/Support/StoredBackups.h"

namespace orvik {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Objects = std::map<std::string, std::string>;

const std::string digest = ObjectStore::sha256("the package");

FileRef fileNamed(const std::string& name, std::optional<std::string> sha256 = {},
                  std::optional<std::int64_t> size = {}) {
  FileRef file;
  file.fileName = name;
  file.sha256 = std::move(sha256);
  file.size = size;
  file.status = file.sha256 ? FileRef::Status::downloaded : FileRef::Status::failed;
  return file;
}

struct ObjectExporterTest : testing::Test, test::StoredBackups {
  std::vector<SectionIndex> sections;

  /// The exports of the one entry of a section.
  std::vector<ObjectExport> exportsOf(const std::string& sectionID, const IndexItem& item) {
    sections.push_back(section(sectionID, {item}));
    const auto reader = publish(first, sections);
    return ObjectExporter::exports(reader.entries(sectionID).at(0), reader);
  }
  std::vector<ObjectExport> exportsOf(const std::string& sectionID, const std::optional<std::string>& name,
                                      const Objects& objects) {
    return exportsOf(sectionID, item("7", name, objects));
  }
  /// Puts a package file into the store.
  void storePackage() const { test::write(repository.store().fileURL(digest), "the package"); }
  void listFile(const FileRef& file) {
    auto listed = item(file.fileName, "Tool");
    listed.file = file;
    sections.push_back(section("packageFiles", {listed}));
  }
};

ObjectExport json(std::string title, std::string fileName, std::string_view bytes) {
  return {std::move(title), std::move(fileName),
          ObjectExport::Data{platform::json::canonical(bytes).value(), false}};
}

TEST_F(ObjectExporterTest, KnowsTheSectionsWithAFormOfTheirOwn) {
  for (const char* id : {"computerConfigurationProfiles", "mobileConfigurationProfiles", "scripts",
                         "computerExtensionAttributes", "mobileExtensionAttributes",
                         "userExtensionAttributes", "packages", "packageFiles"}) {
    EXPECT_TRUE(ObjectExporter::hasNativeExport(id)) << id;
  }
  for (const char* id : {"policies", "computers", "jcdsFiles", "", "Scripts"}) {
    EXPECT_FALSE(ObjectExporter::hasNativeExport(id)) << id;
  }
}

TEST_F(ObjectExporterTest, AnObjectIsItsJSONPrettyPrinted) {
  const auto exports = exportsOf("policies", "Install", {{"classic", R"({"b":[1,2],"a":{"c":"ä"}})"}});
  ASSERT_THAT(exports, SizeIs(1));
  EXPECT_EQ(exports[0].title, "JSON");
  EXPECT_EQ(exports[0].fileName, "Install.json");
  EXPECT_EQ(exports[0].content,
            ObjectExport::Content(ObjectExport::Data{
                "{\n  \"a\" : {\n    \"c\" : \"ä\"\n  },\n  \"b\" : [\n    1,\n    2\n  ]\n}", false}));
}

TEST_F(ObjectExporterTest, SeveralVariantsAreTitledAndNamedByRank) {
  const Objects objects{{"classic", "{\"c\":1}"}, {"pro", "{\"p\":1}"}, {"oddVariant", "[]"}};
  EXPECT_THAT(exportsOf("computers", "Mac", objects),
              ElementsAre(json("JSON (Jamf Pro API)", "Mac.pro.json", "{\"p\":1}"),
                          json("JSON (Classic API)", "Mac.classic.json", "{\"c\":1}"),
                          json("JSON (Odd variant)", "Mac.oddVariant.json", "[]")));
}

TEST_F(ObjectExporterTest, AnEmptyNameGivesUnnamedJSON) {
  EXPECT_EQ(exportsOf("policies", " ", {{"pro", "1"}}).at(0).fileName, "unnamed.json");
}

TEST_F(ObjectExporterTest, AnObjectWithoutANameBearsItsID) {
  EXPECT_EQ(exportsOf("policies", std::nullopt, {{"pro", "1"}}).at(0).fileName, "#7.json");
  EXPECT_EQ(exportsOf("buildings", "", {{"pro", "1"}}).at(0).fileName, "#7.json");
  EXPECT_EQ(exportsOf("checkIn", item("settings", {}, {{"pro", "1"}})).at(0).fileName, "Settings.json");
}

TEST_F(ObjectExporterTest, ANameOf300CharactersIsCutTo200BeforeTheExtension) {
  EXPECT_EQ(exportsOf("policies", std::string(300, 'n'), {{"pro", "1"}}).at(0).fileName,
            std::string(200, 'n') + ".json");
}

TEST_F(ObjectExporterTest, NamesThatAFileSystemRefusesAreMended) {
  std::string cjk, marks;
  for (int i = 0; i < 10'000; ++i) {
    cjk += "日";
    marks += "e\u0301";
  }
  EXPECT_EQ(exportsOf("policies", cjk, {{"pro", "1"}}).at(0).fileName, cjk.substr(0, 207) + ".json");
  EXPECT_EQ(exportsOf("buildings", marks, {{"pro", "1"}}).at(0).fileName, marks.substr(0, 207) + ".json");
  EXPECT_EQ(exportsOf("sites", "..", {{"pro", "1"}}).at(0).fileName, "--.json");
  EXPECT_EQ(exportsOf("departments", "../x\ny", {{"pro", "1"}}).at(0).fileName, "---x-y.json");
  EXPECT_EQ(exportsOf("categories", "x", {{"../../pro", "1"}, {"pro", "2"}}).at(1).fileName,
            "x...-..-pro.json");
}

TEST_F(ObjectExporterTest, AProfileIsItsPayload) {
  const std::string xml = "<?xml version=\"1.0\"?>\n<plist><dict/></plist>\n";
  const std::string object =
      R"({"os_x_configuration_profile":{"general":{"name":"Wi-Fi","payloads":"<?xml version=\"1.0\"?>\n<plist><dict/></plist>\n"}}})";
  for (const char* id : {"computerConfigurationProfiles", "mobileConfigurationProfiles"}) {
    const auto exports = exportsOf(id, "Wi-Fi: Lab", {{"classic", object}});
    EXPECT_THAT(exports, ElementsAre(ObjectExport{"Configuration profile (.mobileconfig)",
                                                  "Wi-Fi- Lab.mobileconfig", ObjectExport::Data{xml, false}},
                                     json("JSON", "Wi-Fi- Lab.json", object)));
  }
}

TEST_F(ObjectExporterTest, AProfileWithoutAPayloadIsJSONAlone) {
  for (const char* object :
       {R"({"p":{"general":{"payloads":""}}})", R"({"general":{},"scope":{}})", R"({"payloads":"x"})",
        R"({"p":{"general":{"payloads":{"a":1}}}})", "[]", "null"}) {
    const auto exports = exportsOf("mobileConfigurationProfiles", "P", {{"classic", object}});
    sections.clear();
    ASSERT_THAT(exports, SizeIs(1)) << object;
    EXPECT_EQ(exports[0].title, "JSON");
  }
}

TEST_F(ObjectExporterTest, ThePayloadOfTheFirstVariantThatHasOneCounts) {
  const auto exports = exportsOf("computerConfigurationProfiles", "P",
                                 {{"classic", R"({"p":{"general":{"payloads":"second"}}})"},
                                  {"pro", R"({"p":{"general":{"payloads":""}}})"}});
  ASSERT_THAT(exports, SizeIs(3));
  EXPECT_EQ(std::get<ObjectExport::Data>(exports[0].content).data, "second");
}

TEST_F(ObjectExporterTest, AScriptIsAnExecutableFile) {
  const auto exports =
      exportsOf("scripts", "do it", {{"pro", R"({"scriptContents":"#!/usr/bin/env python3\nprint(1)\n"})"}});
  ASSERT_THAT(exports, SizeIs(2));
  EXPECT_EQ(exports[0], (ObjectExport{"Script (.py)", "do it.py",
                                      ObjectExport::Data{"#!/usr/bin/env python3\nprint(1)\n", true}}));
  EXPECT_EQ(exports[1].title, "JSON");
}

TEST_F(ObjectExporterTest, ScriptsOfEveryKindOfAttributeAreFound) {
  EXPECT_EQ(exportsOf("computerExtensionAttributes", "A.sh", {{"pro", R"({"scriptContents":"echo"})"}}).at(0),
            (ObjectExport{"Script (.sh)", "A.sh", ObjectExport::Data{"echo", true}}));
  for (const char* id : {"mobileExtensionAttributes", "userExtensionAttributes"}) {
    EXPECT_EQ(exportsOf(id, "B", {{"classic", R"({"x":{"input_type":{"script":"#!/bin/zsh"}}})"}}).at(0),
              (ObjectExport{"Script (.zsh)", "B.zsh", ObjectExport::Data{"#!/bin/zsh", true}}));
  }
}

TEST_F(ObjectExporterTest, AScriptThatReadsLikeADateStaysAsItIs) {
  EXPECT_EQ(exportsOf("scripts", "d", {{"pro", R"({"scriptContents":"2025-03-04T09:15:00Z"})"}}).at(0),
            (ObjectExport{"Script (.sh)", "d.sh", ObjectExport::Data{"2025-03-04T09:15:00Z", true}}));
}

TEST_F(ObjectExporterTest, AnAttributeWithoutAScriptIsJSONAlone) {
  EXPECT_THAT(exportsOf("computerExtensionAttributes", "A", {{"pro", R"({"scriptContents":""})"}}),
              SizeIs(1));
  EXPECT_THAT(exportsOf("scripts", "A", {{"pro", R"({"scriptContents":null})"}}), SizeIs(1));
}

TEST_F(ObjectExporterTest, APackageIsItsStoredFile) {
  storePackage();
  listFile(fileNamed("Tool 1.2.pkg", digest, 11));
  const auto exports = exportsOf("packages", "Tool", {{"pro", R"({"fileName":"Tool 1.2.pkg"})"}});
  ASSERT_THAT(exports, SizeIs(2));
  EXPECT_EQ(exports[0], (ObjectExport{"Package file", "Tool 1.2.pkg",
                                      ObjectExport::StoredFile{repository.store().fileURL(digest)}}));
  EXPECT_EQ(exports[1].title, "JSON");
}

TEST_F(ObjectExporterTest, APackageFileIsItsOwn) {
  storePackage();
  auto listed = item("Tool.pkg", "Tool");
  listed.file = fileNamed("Tool.pkg", digest);
  EXPECT_THAT(exportsOf("packageFiles", listed),
              ElementsAre(ObjectExport{"Package file", "Tool.pkg",
                                       ObjectExport::StoredFile{repository.store().fileURL(digest)}}));
}

TEST_F(ObjectExporterTest, APackageThatTheBackupDoesNotHoldSaysSo) {
  listFile(fileNamed("Tool.pkg", {}, 123));
  EXPECT_EQ(exportsOf("packages", "Tool", {{"pro", R"({"fileName":"Tool.pkg"})"}}).at(0),
            (ObjectExport{"Package file (not in this backup)", "Tool.pkg",
                          ObjectExport::NotInBackup{"Tool.pkg", 123}}));
}

TEST_F(ObjectExporterTest, APackageWhoseFileIsGoneFromTheStoreSaysSo) {
  listFile(fileNamed("Tool.pkg", digest, 11));
  EXPECT_EQ(exportsOf("packages", "Tool", {{"pro", R"({"fileName":"Tool.pkg"})"}}).at(0).content,
            ObjectExport::Content(ObjectExport::NotInBackup{"Tool.pkg", 11}));
}

TEST_F(ObjectExporterTest, APackageOfABackupWithoutFilesSaysSo) {
  EXPECT_EQ(exportsOf("packages", "Tool", {{"pro", R"({"fileName":"Tool.pkg"})"}}).at(0).content,
            ObjectExport::Content(ObjectExport::NotInBackup{"Tool.pkg", {}}));
}

TEST_F(ObjectExporterTest, APackageWithoutAFileNameHasNoFile) {
  EXPECT_THAT(exportsOf("packages", "Tool", {{"pro", R"({"fileName":""})"}}), SizeIs(1));
  EXPECT_THAT(exportsOf("packageFiles", item("x", "x")), IsEmpty());
}

TEST_F(ObjectExporterTest, FurtherStoresMayHoldThePackage) {
  const platform::files::TempFolder elsewhere;
  const auto stored = BackupRepository(elsewhere.path()).store().fileURL(digest);
  test::write(stored, "the package");
  auto listed = item("Tool.pkg", "Tool");
  listed.file = fileNamed("Tool.pkg", digest);
  const auto reader = publish(first, {section("packageFiles", {listed})});
  const auto entry = reader.entries("packageFiles").at(0);
  const auto object = ObjectExporter::packageFile(entry, reader, {folder / "nothing", elsewhere.path()});
  EXPECT_EQ(object.value().content, ObjectExport::Content(ObjectExport::StoredFile{stored}));
}

TEST_F(ObjectExporterTest, AFileNameOfTheServerLeadsNowhere) {
  storePackage();
  listFile(fileNamed("../../evil.pkg", digest));
  EXPECT_EQ(exportsOf("packages", "T", {{"pro", R"({"fileName":"../../evil.pkg"})"}}).at(0).fileName,
            "---..-evil.pkg");
}

TEST_F(ObjectExporterTest, ADigestThatIsAPathIsNoFile) {
  test::write(repository.store().fileURL(digest), "the package");
  listFile(fileNamed("Tool.pkg", "../../../instance.json"));
  EXPECT_EQ(exportsOf("packages", "T", {{"pro", R"({"fileName":"Tool.pkg"})"}}).at(0).title,
            "Package file (not in this backup)");
}

TEST_F(ObjectExporterTest, WhatCanNotBeReadIsLeftOut) {
  auto broken = item("7", "P", {{"pro", "{\"a\":1}"}, {"classic", "{\"b\":2}"}});
  broken.objects["members"] = std::string(64, '0');
  broken.objects["list"] = "no name of an object";
  test::write(repository.store().objectURL(broken.objects["pro"]), "{\"a\":");
  EXPECT_THAT(exportsOf("policies", broken),
              ElementsAre(json("JSON (Classic API)", "P.classic.json", "{\"b\":2}")));
}

TEST_F(ObjectExporterTest, WhatIsNoJSONIsLeftOut) {
  EXPECT_THAT(exportsOf("policies", "P", {{"classic", "<policy/>"}}), IsEmpty());
  EXPECT_THAT(exportsOf("scripts", "S", {{"classic", "echo"}}), IsEmpty());
}

TEST_F(ObjectExporterTest, ObjectsThatAreGoneHaveNoExports) {
  auto index = section("scripts", {});
  index.removed = {{"1", "Removed"}};
  index.errors = {{"2", "Failed", "HTTP 500"}};
  const auto reader = publish(first, {index});
  const auto entries = reader.entries("scripts");
  ASSERT_THAT(entries, SizeIs(2));
  for (const auto& entry : entries) EXPECT_THAT(ObjectExporter::exports(entry, reader), IsEmpty());
}

TEST_F(ObjectExporterTest, StoredJSONComesInTheOrderOfVariants) {
  sections.push_back(
      section("computers", {item("7", "Mac", {{"classic", R"({"a":1})"}, {"pro", R"({"b":2})"}})}));
  const auto reader = publish(first, sections);
  const auto stored = ObjectExporter::storedJSON(reader.entries("computers").at(0), reader);
  ASSERT_THAT(stored, SizeIs(2));
  EXPECT_EQ(stored[0].variant, "pro");
  EXPECT_EQ(stored[1].variant, "classic");
  EXPECT_EQ(stored[1].bytes, platform::json::canonical(R"({"a":1})"));
}

TEST_F(ObjectExporterTest, TheNativeTextIsThatOfTheFirstForm) {
  const auto script = item("7", "Hello", {{"classic", R"({"scriptContents":"#!/bin/zsh\r\n"})"}});
  sections = {section("scripts", {script}), section("packages", {script}), section("policies", {script})};
  const auto reader = publish(first, sections);
  for (const auto& each : sections) {
    const auto entry = reader.entries(each.sectionID).at(0);
    const auto text = ObjectExporter::nativeText(entry, ObjectExporter::storedJSON(entry, reader));
    EXPECT_EQ(text.has_value(), each.sectionID == "scripts") << each.sectionID;
    if (text) {
      EXPECT_EQ(*text, ObjectExporter::exports(entry, reader).at(0));
    }
  }
}

}  // namespace
}  // namespace orvik
