#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Security/InMemoryKeyProvider.h"
#include "Platform/Locale/Text.h"
#include "tests/Support/ExploreHost.h"
#include "tests/Support/OrganisationFiles.h"

namespace orvik {
namespace {

using platform::json::Value;
using test::member;
using test::ProgramEnd;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
namespace files = platform::files;

class Show : public test::ExploreHost {
 protected:
  static constexpr const char* fourth = "2025-03-06T091500Z";

  ProgramEnd show(const Arguments& more) const { return command("show", more); }
  /// The one line of JSON.
  Value shown(Arguments more) const {
    more.push_back("--json");
    const auto lines = linesOf(show(more));
    return lines.size() == 1 ? lines[0] : Value();
  }
  void expectRefusal(int status, const std::string& named, const Arguments& more) const {
    const auto end = show(more);
    EXPECT_EQ(end.status, status) << end.output;
    EXPECT_EQ(end.output, "");
    EXPECT_THAT(end.error, HasSubstr(named));
  }
};

TEST_F(Show, AnObjectIsFactsListsChangesTextsAndOutline) {
  const auto end = show({"scripts", "5"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, StartsWith("Hello\nScripts, ID 5, changed\nBackup 2025-03-05T091500Z, "));
  EXPECT_THAT(end.output, HasSubstr("\n\n"
                                    "Changed since 2025-03-04T091500Z\n"
                                    "  Script contents: from line 2 on\n"
                                    "    - echo one\n"
                                    "    + echo two\n"
                                    "\n"
                                    "── Script, 3 lines ─"));
  EXPECT_THAT(end.output, HasSubstr("─\n#!/bin/sh\necho two\nexit 0\n───"));
  EXPECT_THAT(end.output, HasSubstr("─\n\n"
                                    "Outline\n"
                                    "  Name: Hello\n"
                                    "  Script contents: see Script above\n"));
  for (const std::string_view line : platform::locale::lines(end.output))
    EXPECT_FALSE(line.ends_with(' ')) << line;
}

TEST_F(Show, ValuesOfFactsStandBelowEachOther) {
  const auto end = show({"policies", "1"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("\n\n  Enabled    No\n  Frequency  Ongoing\n\n"));
  EXPECT_THAT(end.output, HasSubstr("\n  General › Frequency: Once per computer -> Ongoing\n"));
  EXPECT_THAT(end.output, HasSubstr("\nOutline\n  General\n    Enabled: No\n    Frequency: Ongoing\n"));
}

TEST_F(Show, AnObjectIsFoundByItsNameInWhateverCase) {
  for (const std::string name : {"3", "Install Wi-Fi", "install wi-fi"}) {
    const auto end = show({"policies", name});
    EXPECT_EQ(end.status, 0) << end.error;
    EXPECT_THAT(end.output, StartsWith("Install Wi-Fi\nPolicies, ID 3, unchanged\n")) << name;
  }
}

TEST_F(Show, AnIDGoesBeforeANameAndTheExactNameBeforeOthers) {
  test::WrittenBackup(stored, fourth)
      .section("policies")
      .item("7", "8", "{}")
      .item("8", "Eight", "{}")
      .item("9", "EIGHT", "{}")
      .publish();
  EXPECT_EQ(member(shown({"policies", "8"}), "name"), "Eight");
  EXPECT_EQ(member(shown({"policies", "EIGHT"}), "id"), "9");
}

TEST_F(Show, ANameThatSeveralHaveIsRefusedWithTheirIDs) {
  test::WrittenBackup backup(stored, fourth);
  backup.section("policies");
  for (int id = 10; id < 23; ++id) backup.item(std::to_string(id), "Same", "{}");
  backup.item("30", "Twin", "{}").item("31", "TWIN", "{}");
  backup.publish();
  expectRefusal(1,
                "13 objects of policies are called \"Same\". Name one by its ID: 10, 11, 12, 13, 14, 15, 16, "
                "17, 18, 19 and 3 more.",
                {"policies", "Same"});
  for (const std::string named : {"2 objects of policies are called \"twin\". ", "30 (Twin)", "31 (TWIN)"})
    expectRefusal(1, named, {"policies", "twin"});
}

TEST_F(Show, AnObjectThatIsThereIsMeantRatherThanARemovedOneOfItsName) {
  test::WrittenBackup(stored, fourth)
      .section("policies")
      .removed("1", "Install Office")
      .item("9", "Install Office", "{}", Change::new_)
      .publish(third);
  EXPECT_EQ(member(shown({"policies", "Install Office"}), "id"), "9");
  EXPECT_EQ(member(shown({"policies", "1"}), "change"), "removed");
}

TEST_F(Show, ARemovedObjectSaysWhereItsLastVersionIs) {
  const auto end = show({"policies", "old policy", "--backup", second});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("Old policy\nPolicies, ID 2, removed\n"));
  EXPECT_THAT(end.output,
              HasSubstr("\nIts last version is in 2025-03-03T091500Z: add --backup 2025-03-03T091500Z"));
  EXPECT_EQ(member(shown({"policies", "2", "--backup", second}), "lastVersion"), first);
  files::removeTree(repository.backupDirectory(first));
  EXPECT_THAT(show({"policies", "2", "--backup", second}).output,
              HasSubstr("\nNo earlier backup holds it.\n"));
}

TEST_F(Show, AnObjectThatWasNotReadableSaysWhyAndWhereItsLastVersionIs) {
  test::WrittenBackup(stored, fourth)
      .section("policies")
      .failed("1", "Install Office", "HTTP 500\nserver error")
      .publish(third);
  const auto end = show({"policies", "1"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr(", not readable\n"));
  EXPECT_THAT(end.output, HasSubstr("\nThe backup could not read it: HTTP 500 server error\n"
                                    "Its last version is in 2025-03-05T091500Z: "));
  EXPECT_EQ(member(shown({"policies", "1"}), "message"), "HTTP 500\nserver error");
}

TEST_F(Show, ADamagedObjectIsAFailureThatNamesIt) {
  const auto hash = repository.index(third, "policies")->items[0].objects.at("classic");
  test::write(repository.store().objectURL(hash), "{\"torn");
  const auto end = show({"policies", "1"});
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.output, HasSubstr("Its record \"Classic API\" can't be read: "));
  EXPECT_THAT(end.output, HasSubstr(hash));
  const auto line = shown({"policies", "1"});
  ASSERT_NE(line.find("problems"), nullptr);
  EXPECT_EQ(line.find("problems")->array_()->size(), 1u);
}

TEST_F(Show, OneDamagedRecordOfTwoLeavesTheOther) {
  auto item = test::itemWithID("1");
  item.name = "Two";
  item.objects = {{"classic", repository.store().put(policy("Two", true, "Ongoing"))},
                  {"pro", std::string(64, 'a')}};
  test::WrittenBackup(stored, fourth).section("policies").add(item).publish();
  const auto end = show({"policies", "1"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("Its record \"Jamf Pro API\" can't be read: "));
  EXPECT_THAT(end.output, HasSubstr("  Frequency  Ongoing\n"));
}

TEST_F(Show, WithoutAnItemTheSectionIsListed) {
  test::WrittenBackup(stored, fourth)
      .section("policies")
      .item("12", "B10", "{}", Change::changed)
      .item("3", "b9", "{}")
      .removed("2", "Gone")
      .failed("7", "Secret", "HTTP 403")
      .publish(third);
  const auto end = show({"policies"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, StartsWith("Policies\nBackup 2025-03-06T091500Z, "));
  EXPECT_THAT(end.output, HasSubstr(": 2 objects, 1 changed, 1 removed, 1 failed\n"
                                    "\n"
                                    "  3                 b9\n"
                                    "  12  changed       B10\n"
                                    "  2   removed       Gone\n"
                                    "  7   not readable  Secret: HTTP 403\n"));
  const auto lines = linesOf(show({"policies", "--json"}));
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[1].text(), R"({"event":"entry","backup":"2025-03-06T091500Z","section":"policies",)"
                             R"("id":"12","name":"B10","change":"changed"})");
  EXPECT_EQ(member(lines[3], "change"), "failed");
  EXPECT_EQ(member(lines[3], "message"), "HTTP 403");
}

TEST_F(Show, ALineOfJSONHoldsTheWholeObject) {
  const auto line = shown({"scripts", "Hello"});
  EXPECT_EQ(member(line, "event"), "object");
  EXPECT_EQ(member(line, "backup"), third);
  EXPECT_EQ(member(line, "parent"), second);
  EXPECT_EQ(member(line, "section"), "scripts");
  EXPECT_EQ(member(line, "kind"), "Scripts");
  EXPECT_EQ(member(line, "id"), "5");
  EXPECT_EQ(member(line, "change"), "changed");
  EXPECT_EQ(member(line, "facts"), "[]");
  EXPECT_EQ(member(line, "texts"),
            R"([{"title":"Script","text":"#!/bin/sh\necho two\nexit 0\n","isCode":true}])");
  EXPECT_EQ(member(line, "changes"), R"([{"path":"Script contents","old":"#!/bin/sh\necho one\nexit 0\n",)"
                                     R"("new":"#!/bin/sh\necho two\nexit 0\n"}])");
  EXPECT_EQ(member(shown({"policies", "1"}), "outline"),
            R"([{"label":"General","children":[{"label":"Enabled","value":"No"},)"
            R"({"label":"Frequency","value":"Ongoing"},{"label":"Name","value":"Install Office"}]},)"
            R"({"label":"Scripts","value":"none","children":[]}])");
}

TEST_F(Show, TextsFromTheServerCannotControlATerminal) {
  const std::string evil = "a\x1b]0;x\x07\r\nb\tc\xc2\x9b\xE2\x80\xAE";
  auto json = Value::object({{"name", evil}, {evil, evil}, {"scriptContents", evil}, {"info", evil}});
  test::WrittenBackup(stored, fourth).section("scripts").item("1\x1b[2J", evil, json.text()).publish();
  for (const auto& arguments : {Arguments{"scripts", "1\x1b[2J"}, Arguments{"scripts"}}) {
    const auto end = show(arguments);
    EXPECT_EQ(end.status, 0) << end.error;
    for (const std::string_view sequence : {"\x1b", "\x07", "\r", "\xc2\x9b", "\xE2\x80\xAE"})
      EXPECT_THAT(end.output, Not(HasSubstr(sequence)));
    EXPECT_THAT(end.output, HasSubstr("a␛]0;x␇␍␊b␉c<U+009B><U+202E>"));
  }
  // Inside a text the line and the tab stay.
  EXPECT_THAT(show({"scripts", "1\x1b[2J"}).output, HasSubstr("\na␛]0;x␇␍\nb\tc<U+009B><U+202E>\n"));
  const auto end = show({"scripts", "1\x1b[2J", "--json"});
  for (const std::string_view sequence : {"\x1b", "\x07", "\r", "\xc2\x9b", "\xE2\x80\xAE"})
    EXPECT_THAT(end.output, Not(HasSubstr(sequence)));
  EXPECT_EQ(member(linesOf(end).at(0), "name"), evil);
  EXPECT_THAT(show({"scripts", "\x1b[2J"}).error, Not(HasSubstr("\x1b")));
}

TEST_F(Show, ADeepObjectIsShownToItsEndAndCutInJSON) {
  std::string json;
  for (int level = 0; level < 500; ++level) json += "{\"k\":";
  json += "\"bottom\"";
  json.append(500, '}');
  test::WrittenBackup(stored, fourth).section("sites").item("1", "Deep", json).publish();
  const auto end = show({"sites", "1"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("K: bottom\n"));
  EXPECT_LT(end.output.size(), 100'000u);
  const auto line = show({"sites", "1", "--json"});
  EXPECT_EQ(line.status, 0) << line.error;
  EXPECT_THAT(line.output, HasSubstr(R"({"label":"K","cut":true})"));
  EXPECT_EQ(linesOf(line).size(), 1u);
}

TEST_F(Show, AnUnknownSectionIsAUsageErrorThatNamesThoseNearIt) {
  expectRefusal(2, "There is no section \"polices\"; near it: policies.", {"polices", "1"});
  expectRefusal(2, "There is no section \"nothingLikeIt\"", {"nothingLikeIt"});
}

TEST_F(Show, ASectionOfALaterVersionIsKnownWhereABackupHasIt) {
  test::WrittenBackup(stored, fourth).section("laterSection").item("1", "One", "{\"a\":1}").publish();
  EXPECT_EQ(member(shown({"laterSection", "one"}), "kind"), "laterSection");
  expectRefusal(2, "There is no section \"laterSection\"", {"laterSection", "--backup", third});
}

TEST_F(Show, ASectionThatWasNotReadSaysWhy) {
  test::WrittenBackup(stored, fourth)
      .unread("scripts", SectionSummary::Status::notPermitted, "HTTP 403")
      .publish();
  expectRefusal(1, "did not read the section scripts: not permitted: HTTP 403.", {"scripts"});
  expectRefusal(1, "did not read the section policies.", {"policies", "1"});
}

TEST_F(Show, AnObjectThatIsNotThereIsAFailure) {
  expectRefusal(1, "There is no object \"99\" in policies of the backup 2025-03-05T091500Z.",
                {"policies", "99"});
  expectRefusal(1, "2025-03-05T091500Z; near it: Install Office.", {"policies", "Instal Ofice"});
}

TEST_F(Show, ADamagedIndexIsAFailureThatNamesIt) {
  test::write(indexOf(third, "policies"), "torn");
  expectRefusal(1, indexOf(third, "policies").string(), {"policies"});
  expectRefusal(1, indexOf(third, "policies").string(), {"policies", "1"});
}

TEST_F(Show, WhatIsMissingOrBlankIsAUsageError) {
  EXPECT_THAT(run({"show"}).error, HasSubstr("The instance folder is missing."));
  expectRefusal(2, "SECTION is missing. See orvik show --help.", {});
  expectRefusal(2, "ITEM is blank. See orvik show --help.", {"policies", ""});
  expectRefusal(2, "--backup is blank.", {"policies", "1", "--backup", " "});
}

TEST_F(Show, OptionsComeFromVariablesToo) {
  auto start = starting("show", {"policies", "2"});
  start.environment["ORVIK_BACKUP"] = first;
  start.environment["ORVIK_JSON"] = "yes";
  const auto lines = linesOf(runToEnd(start));
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(member(lines[0], "backup"), first);
}

TEST_F(Show, TheHelpHasAnExample) {
  for (const std::string name : {"sections", "show", "diff", "search", "history", "export"}) {
    const auto end = run({name, "--help"});
    EXPECT_EQ(end.status, 0);
    const std::string heading = name == "export" ? "Examples" : "Example";
    EXPECT_THAT(end.output, HasSubstr(heading + ":\n  orvik " + name + " /srv/backups/school.example"));
  }
}

/// The story's third backup in a sealed folder.
class ShowSealed : public Show {
 protected:
  ShowSealed() : key(test::OrganisationFiles::make(home.path()).key.string()) {
    stored.cipher = BackupEncryption::prepare(stored.folder.path(), InMemoryKeyProvider::fromFile(key));
    test::WrittenBackup(stored, fourth)
        .section("scripts")
        .item("5", "Sealed", script("echo sealed\n"), Change::new_)
        .publish();
    BackupEncryption::forgetKeys();
  }

  const std::string key;
};

TEST_F(ShowSealed, OpensWithTheKeyAndNotWithout) {
  const auto end = show({"scripts", "Sealed", "--key", key});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("\necho sealed\n"));
  expectRefusal(12, "key", {"scripts", "Sealed"});
  const auto other = test::OrganisationFiles::make(home.path(), "other").key.string();
  expectRefusal(12, "key", {"scripts", "--key", other});
  expectRefusal(12, "none.pem", {"scripts", "--key", (home.path() / "none.pem").string()});
  EXPECT_EQ(command("search", {"sealed", "--contents"}).status, 12);
  EXPECT_EQ(command("search", {"sealed", "--contents", "--key", key}).status, 0);
  EXPECT_EQ(command("diff").status, 12);
  EXPECT_EQ(command("history", {"scripts", "5"}).status, 12);
  EXPECT_EQ(command("export", {"scripts", "--out", home.path().string()}).status, 12);
}

TEST_F(ShowSealed, SectionsNeedNoKey) { EXPECT_EQ(command("sections").status, 0); }

TEST_F(ShowSealed, WithoutItsKeyRecordTheFolderIsNotTakenForAnEmptyOne) {
  files::remove(stored.folder.path() / BackupFormat::encryptionFile);
  expectRefusal(12, std::string(BackupFormat::encryptionFile), {"scripts", "--key", key});
}

}  // namespace
}  // namespace orvik
