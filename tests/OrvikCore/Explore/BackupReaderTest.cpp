#include "OrvikCore/Explore/BackupReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Security/BackupEncryptionError.h"
#include "TuvCore/Error.h"
#include "tests/Support/ScopedVariable.h"
#include "tests/Support/StoredBackups.h"
#include "tests/Support/TestKeys.h"

namespace orvik::test {
namespace {

using ChangeKind = BackupReader::ChangeKind;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

std::vector<std::string> namesOf(const std::vector<BackupReader::Entry>& entries) {
  std::vector<std::string> names;
  for (const auto& entry : entries) names.push_back(entry.displayName());
  return names;
}

struct BackupReaderTest : testing::Test {
  StoredBackups stored;
};

TEST_F(BackupReaderTest, AManifestThatIsMissingOrNoneIsAnErrorThatNamesIt) {
  EXPECT_THROW(BackupReader(stored.repository, StoredBackups::first), platform::files::FileError);
  const auto path = stored.repository.backupDirectory(StoredBackups::first) / BackupFormat::manifestFile;
  write(path, "{}");
  try {
    BackupReader(stored.repository, StoredBackups::first);
    FAIL();
  } catch (const tuv::Error& error) {
    EXPECT_THAT(error.description(), HasSubstr(path.string()));
  }
}

TEST_F(BackupReaderTest, AnIDThatIsAPathIsRefused) {
  for (const auto* id : {"", "../x", ".hidden", "x.partial"})
    EXPECT_THROW(BackupReader(stored.repository, id), tuv::Error) << id;
}

TEST_F(BackupReaderTest, SectionsStandInCatalogOrderAndUnknownOnesBehindThem) {
  const auto reader = stored.publish(
      StoredBackups::first, {StoredBackups::section("zebra", {}), StoredBackups::section("webhooks", {}),
                             StoredBackups::section("apes", {}), StoredBackups::section("computers", {})});
  std::vector<std::string> ids;
  std::vector<SectionDefinition::Group> found;
  for (const auto& section : reader.sections()) {
    ids.push_back(section.summary.id);
    found.push_back(section.group);
  }
  EXPECT_THAT(ids, ElementsAre("computers", "webhooks", "zebra", "apes"));
  using enum SectionDefinition::Group;
  EXPECT_THAT(found, ElementsAre(devices, secondary, secondary, secondary));
}

TEST_F(BackupReaderTest, EntriesAreSortedByNameWithNumbersByValueAndCaseFolded) {
  const ScopedVariable locale("LC_ALL", "en_US.UTF-8");
  const auto reader = stored.publish(
      StoredBackups::first,
      {StoredBackups::section("policies", {stored.item("1", "mac 10"), stored.item("2", "Mac 9"),
                                           stored.item("settings", std::nullopt), stored.item("4", ""),
                                           stored.item("5", "apple")})});
  EXPECT_THAT(namesOf(reader.entries("policies")), ElementsAre("#4", "apple", "Mac 9", "mac 10", "Settings"));
}

TEST_F(BackupReaderTest, RemovedAndUnreadableObjectsAreEntriesWithoutObjects) {
  auto index = StoredBackups::section("policies", {stored.item("1", "One", {{"classic", "{}"}})});
  index.removed = {{"1", "One before"}, {"2", {}}};
  index.errors = {{"3", "Three", "HTTP 500"}};
  const auto reader = stored.publish(StoredBackups::first, {index});
  std::vector<std::string> ids;
  std::vector<ChangeKind> kinds;
  for (const auto& entry : reader.entries("policies")) {
    ids.push_back(entry.id());
    kinds.push_back(entry.change());
    EXPECT_EQ(entry.item.objects.size(), entry.isStored() ? 1U : 0U);
  }
  EXPECT_THAT(ids, ElementsAre("policies:removed:2", "policies:1", "policies:removed:1", "policies:error:3"));
  EXPECT_THAT(kinds,
              ElementsAre(ChangeKind::removed, ChangeKind::new_, ChangeKind::removed, ChangeKind::failed));
  EXPECT_EQ(reader.entries("policies")[3].error, "HTTP 500");
}

TEST_F(BackupReaderTest, TheKindsOfChangesHaveTextsForPeople) {
  using platform::json::textOf;
  EXPECT_EQ(textOf(ChangeKind::new_), "New");
  EXPECT_EQ(textOf(ChangeKind::changed), "Changed");
  EXPECT_EQ(textOf(ChangeKind::unchanged), "Unchanged");
  EXPECT_EQ(textOf(ChangeKind::removed), "Removed");
  EXPECT_EQ(textOf(ChangeKind::failed), "Not readable");
}

TEST_F(BackupReaderTest, AnIndexThatIsMissingOrDamagedGivesNoEntries) {
  const auto reader =
      stored.publish(StoredBackups::first, {StoredBackups::section("policies", {stored.item("1", "One")})});
  EXPECT_THAT(reader.entries("scripts"), IsEmpty());
  write(reader.directory() / BackupFormat::sectionPath("policies"), "{\"sectionID\":");
  EXPECT_EQ(reader.index("policies"), std::nullopt);
  EXPECT_THAT(reader.entries("policies"), IsEmpty());
  EXPECT_EQ(reader.item("policies", "1"), std::nullopt);
}

TEST_F(BackupReaderTest, AnItemIsFoundByItsIDAlone) {
  const auto one = stored.item("1", "One", {{"classic", "{\"a\":1}"}});
  auto index = StoredBackups::section("policies", {stored.item("2", "1"), one});
  index.removed = {{"3", {}}};
  const auto reader = stored.publish(StoredBackups::first, {index});
  EXPECT_EQ(reader.item("policies", "1"), one);
  EXPECT_EQ(reader.item("policies", "3"), std::nullopt);
  const auto found = stored.repository.lookUp(reader.directory(), "policies", "3");
  EXPECT_TRUE(found && found->removed && !found->item && !found->error);
}

TEST_F(BackupReaderTest, TheFolderCanLieElsewhere) {
  const auto reader = stored.publish(StoredBackups::first, {StoredBackups::section("policies", {})});
  EXPECT_EQ(reader.overrideDirectory, std::nullopt);
  const platform::files::TempFolder other;
  BackupRepository::writeIndex(StoredBackups::section("policies", {stored.item("1", "One")}),
                               other / BackupFormat::sectionPath("policies"), {});
  const BackupReader moved(stored.repository, reader.manifest, other.path());
  EXPECT_EQ(moved.directory(), other.path());
  EXPECT_THAT(moved.entries("policies"), SizeIs(1));
}

TEST_F(BackupReaderTest, TheNameOfTheFolderTellsABackupWhateverIDItStates) {
  const auto reader = stored.publish(StoredBackups::first, {StoredBackups::section("policies", {})});
  std::filesystem::rename(reader.directory(), stored.repository.backupDirectory("renamed"));
  const BackupReader renamed(stored.repository, "renamed");
  EXPECT_EQ(renamed.directory(), stored.repository.backupDirectory("renamed"));
  EXPECT_NE(renamed.index("policies"), std::nullopt);
}

TEST_F(BackupReaderTest, ObjectsAreReadParsedAndRaw) {
  const auto item = stored.item("1", "One", {{"classic", R"({"b":1,"a":2})"}});
  const auto reader = stored.publish(StoredBackups::first, {StoredBackups::section("policies", {item})});
  const auto& hash = item.objects.at("classic");
  EXPECT_EQ(reader.rawJSON(hash), "{\n  \"a\" : 2,\n  \"b\" : 1\n}");
  EXPECT_EQ(reader.json(hash)["a"].integer(), 2);
}

TEST_F(BackupReaderTest, AnObjectThatIsMissingOrNoJSONIsAnErrorThatNamesIt) {
  const auto reader = stored.publish(StoredBackups::first, {});
  EXPECT_THROW(static_cast<void>(reader.rawJSON(std::string(64, '0'))), tuv::Error);
  const auto hash = stored.put("<xml/>");
  EXPECT_EQ(reader.rawJSON(hash), "<xml/>");
  try {
    static_cast<void>(reader.json(hash));
    FAIL();
  } catch (const tuv::Error& error) {
    EXPECT_THAT(error.description(), HasSubstr(hash));
  }
}

TEST_F(BackupReaderTest, ADescriptionSaysWhatChangedSinceTheParent) {
  stored.publish(
      StoredBackups::first,
      {StoredBackups::section("buildings", {stored.item("1", "HQ", {{"pro", R"({"city":"A"})"}})})});
  const auto reader = stored.publish(
      StoredBackups::second,
      {StoredBackups::section(
          "buildings", {stored.item("1", "HQ", {{"pro", R"({"city":"B"})"}}, IndexItem::Change::changed)})},
      StoredBackups::first);
  const auto description = reader.describe(reader.entries("buildings").at(0));
  EXPECT_EQ(description.title, "HQ");
  EXPECT_THAT(description.changes, ElementsAre(FieldChange{"City", "A", "B"}));
}

TEST_F(BackupReaderTest, WithoutAParentObjectsStandAsTheyWereIndexedAndNothingIsCompared) {
  const auto changed = stored.item("1", "HQ", {{"pro", R"({"city":"B"})"}}, IndexItem::Change::changed);
  for (const auto& parent : {std::optional<std::string>(), std::optional<std::string>(StoredBackups::fourth),
                             std::optional<std::string>("../x")}) {
    const auto reader =
        stored.publish(StoredBackups::second, {StoredBackups::section("buildings", {changed})}, parent);
    const auto entry = reader.entries("buildings").at(0);
    EXPECT_EQ(entry.change(), ChangeKind::changed);
    EXPECT_THAT(reader.describe(entry).changes, IsEmpty());
  }
}

TEST_F(BackupReaderTest, AVariantThatCannotBeReadIsLeftOutOfADescription) {
  auto item = stored.item("1", "Mac",
                          {{"pro", R"({"id":"1","general":{"managementId":"x"}})"}, {"classic", "<xml/>"}});
  item.objects["list"] = std::string(64, '0');
  const auto reader = stored.publish(StoredBackups::first, {StoredBackups::section("computers", {item})});
  const auto description = reader.describe(reader.entries("computers").at(0));
  EXPECT_THAT(description.facts, ElementsAre(ObjectDescription::Fact{"Management ID", "x"}));
}

TEST_F(BackupReaderTest, ChangesOfSeveralVariantsBeginWithTheirTitles) {
  const auto reader = stored.publish(StoredBackups::first, {});
  const auto from =
      stored.item("1", "x", {{"classic", R"({"g":{"a":1}})"}, {"pro", R"({"g":{"a":1},"b":1})"}});
  const auto to = stored.item("1", "x", {{"pro", R"({"g":{"a":2},"b":1})"}});
  EXPECT_THAT(reader.changes(from, to), ElementsAre(FieldChange{"Classic API › A", "1", {}},
                                                    FieldChange{"Jamf Pro API › G › A", "1", "2"}));
  const auto before = stored.item("1", "x", {{"classic", R"({"g":{"a":1}})"}});
  const auto after = stored.item("1", "x", {{"classic", R"({"g":{"a":3}})"}});
  EXPECT_THAT(reader.changes(before, after), ElementsAre(FieldChange{"A", "1", "3"}));
}

TEST_F(BackupReaderTest, ASideThatCannotBeReadCountsAsEmpty) {
  const auto reader = stored.publish(StoredBackups::first, {});
  const auto from = stored.item("1", "x", {{"pro", "<xml/>"}});
  const auto to = stored.item("1", "x", {{"pro", R"({"a":1,"b":2})"}});
  EXPECT_THAT(reader.changes(from, to), ElementsAre(FieldChange{"A", {}, "1"}, FieldChange{"B", {}, "2"}));
  auto missing = from;
  missing.objects["pro"] = std::string(64, '0');
  EXPECT_THAT(reader.changes(to, missing), SizeIs(2));
}

TEST_F(BackupReaderTest, AFileWithOtherContentIsAChangeWithTheBeginningOfItsDigest) {
  const auto reader = stored.publish(StoredBackups::first, {});
  auto from = stored.item("Tool.pkg", "Tool");
  auto to = from;
  from.file = FileRef{"Tool.pkg", std::string(64, 'a'), 1, {}, FileRef::Status::downloaded, {}, {}, {}};
  to.file = FileRef{"Tool.pkg", std::string(64, 'b'), 1, {}, FileRef::Status::downloaded, {}, {}, {}};
  EXPECT_THAT(reader.changes(from, to),
              ElementsAre(FieldChange{"File content", "SHA-256 aaaaaaaaaaaa…", "SHA-256 bbbbbbbbbbbb…"}));
  to.file.reset();
  EXPECT_THAT(reader.changes(from, to),
              ElementsAre(FieldChange{"File content", "SHA-256 aaaaaaaaaaaa…", {}}));
  EXPECT_THAT(reader.changes(from, from), IsEmpty());
}

std::string profile(const std::vector<std::string>& payloads) {
  std::string xml = "<plist><dict><key>PayloadContent</key><array>";
  for (const auto& name : payloads) xml += "<dict><key>PayloadType</key><string>" + name + "</string></dict>";
  xml += "</array></dict></plist>";
  return R"({"os_x_configuration_profile":{"general":{"payloads":")" + xml + R"("}}})";
}

TEST_F(BackupReaderTest, PayloadsOfAProfileThatCameAndWentAreNamed) {
  const auto reader = stored.publish(StoredBackups::first, {});
  const auto from = stored.item("1", "x", {{"classic", profile({"wifi", "vpn"})}});
  const auto to = stored.item("1", "x", {{"classic", profile({"dock", "vpn"})}});
  const auto changes = reader.changes(from, to);
  ASSERT_THAT(changes, SizeIs(3));
  EXPECT_EQ(changes[0].path, "General › Payloads");
  EXPECT_EQ(changes[1], (FieldChange{"Payloads", "wifi", {}}));
  EXPECT_EQ(changes[2], (FieldChange{"Payloads", {}, "dock"}));
}

TEST_F(BackupReaderTest, PayloadsAreComparedOnlyWhereBothSidesHaveThem) {
  const auto reader = stored.publish(StoredBackups::first, {});
  const auto from = stored.item("1", "x", {{"classic", R"({"general":{"name":"x"}})"}});
  const auto to = stored.item("1", "x", {{"classic", profile({"dock"})}});
  for (const auto& change : reader.changes(from, to)) EXPECT_NE(change.path, "Payloads");
}

TEST_F(BackupReaderTest, ObjectsThatDifferInTheirOrderAloneHaveADifferenceWithoutChanges) {
  const auto reader = stored.publish(StoredBackups::first, {});
  const auto from = stored.item("1", "x", {{"pro", R"({"l":[{"name":"a"},{"name":"b"}]})"}});
  const auto to = stored.item("1", "x", {{"pro", R"({"l":[{"name":"b"},{"name":"a"}]})"}});
  EXPECT_THAT(reader.changes(from, to), IsEmpty());
  EXPECT_EQ(reader.difference(from, to), std::vector<FieldChange>());
  EXPECT_EQ(reader.difference(from, from), std::nullopt);
}

TEST_F(BackupReaderTest, ASearchFindsNamesInWhateverCaseAndIDsAsTheyStand) {
  const auto reader = stored.publish(
      StoredBackups::first,
      {StoredBackups::section("scripts", {stored.item("a1", "Zoë's Script"), stored.item("A1", "Other")}),
       StoredBackups::section("policies", {stored.item("2", "Script runner"), stored.item("3", "x")})});
  EXPECT_THAT(namesOf(reader.search(" sCRIPT ", 10)), ElementsAre("Zoë's Script", "Script runner"));
  EXPECT_THAT(namesOf(reader.search("zOË", 10)), ElementsAre("Zoë's Script"));
  EXPECT_THAT(namesOf(reader.search("Zoe\u0308", 10)), ElementsAre("Zoë's Script"));
  EXPECT_THAT(namesOf(reader.search("a1", 10)), ElementsAre("Zoë's Script"));
  EXPECT_THAT(namesOf(reader.search("script", 1)), ElementsAre("Zoë's Script"));
  EXPECT_THAT(reader.search("script", 0), IsEmpty());
}

TEST_F(BackupReaderTest, ABlankQueryFindsNothing) {
  const auto reader = stored.publish(
      StoredBackups::first, {StoredBackups::section("scripts", {stored.item("1", "a  b", {{"pro", "{}"}})})});
  EXPECT_THAT(reader.search("  ", 10), IsEmpty());
  EXPECT_THAT(reader.searchContents("  ", 10), IsEmpty());
  EXPECT_THAT(reader.searchContents("", 10), IsEmpty());
}

TEST_F(BackupReaderTest, ASearchByNameShowsRemovedAndUnreadableObjectsToo) {
  auto index = StoredBackups::section("policies", {});
  index.removed = {{"1", "Old thing"}};
  index.errors = {{"2", "New thing", "HTTP 500"}};
  const auto reader = stored.publish(StoredBackups::first, {index});
  EXPECT_THAT(namesOf(reader.search("thing", 10)), ElementsAre("New thing", "Old thing"));
  EXPECT_THAT(reader.searchContents("thing", 10), IsEmpty());
}

TEST_F(BackupReaderTest, SectionsWithoutObjectsAndRemovalsAreNotSearched) {
  auto index = StoredBackups::section("policies", {});
  index.errors = {{"2", "thing", "HTTP 500"}};
  const auto reader = stored.publish(StoredBackups::first, {index});
  EXPECT_THAT(reader.search("thing", 10), IsEmpty());
}

TEST_F(BackupReaderTest, ASealedFolderWithoutItsKeyIsLockedAndSaysSoForObjectsAlone) {
  stored.cipher = sealFolder(stored.folder.path());
  const auto item = stored.item("1", "One", {{"pro", R"({"secret":1})"}});
  const auto reader = stored.publish(StoredBackups::first, {StoredBackups::section("policies", {item})});
  EXPECT_FALSE(reader.isLocked());
  EXPECT_THAT(reader.entries("policies"), SizeIs(1));
  EXPECT_EQ(reader.json(item.objects.at("pro"))["secret"].integer(), 1);
  BackupEncryption::forgetKeys();
  EXPECT_TRUE(reader.isLocked());
  EXPECT_THAT(reader.entries("policies"), IsEmpty());
  EXPECT_THROW(static_cast<void>(reader.json(item.objects.at("pro"))), BackupEncryptionError);
  EXPECT_THAT(reader.changes(item, itemWithID("1")), IsEmpty());
}

}  // namespace
}  // namespace orvik::test
