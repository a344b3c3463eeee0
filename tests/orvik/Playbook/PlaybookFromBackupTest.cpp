#include <sys/stat.h>

#include "JamfCore/Automation/PlaybookYAML.h"
#include "OrvikCore/Explore/BackupReader.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "tests/Support/OrganisationFiles.h"
#include "tests/Support/PlaybookHost.h"

namespace orvik {
namespace {

using test::jsonLines;
using test::member;
using testing::AllOf;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
namespace files = platform::files;
using Path = std::filesystem::path;

constexpr const char* kinds =
    "scripts,packages,computerExtensionAttributes,computerGroups,computerConfigurationProfiles,policies";

/// What a playbook carries of a section's records: the members of the innermost object.
struct Carried {
  const char* section;
  std::vector<JSONTree::KeyPath> fields;
};

const std::vector<Carried>& carried() {
  static const std::vector<Carried> all{
      {"scripts",
       {{"info"}, {"notes"}, {"priority"}, {"categoryName"}, {"osRequirements"}, {"scriptContents"}}},
      {"packages",
       {{"fileName"},
        {"priority"},
        {"info"},
        {"notes"},
        {"osRequirements"},
        {"fillUserTemplate"},
        {"rebootRequired"},
        {"osInstall"},
        {"suppressUpdates"},
        {"suppressFromDock"},
        {"suppressEula"},
        {"suppressRegistration"}}},
      {"computerExtensionAttributes",
       {{"description"},
        {"dataType"},
        {"enabled"},
        {"inventoryDisplayType"},
        {"inputType"},
        {"scriptContents"},
        {"popupMenuChoices"},
        {"ldapAttributeMapping"}}},
      {"computerGroups", {{"computer_group", "description"}, {"computer_group", "criteria"}}},
      {"computerConfigurationProfiles",
       {{"os_x_configuration_profile", "general", "description"},
        {"os_x_configuration_profile", "general", "distribution_method"},
        {"os_x_configuration_profile", "general", "user_removable"},
        {"os_x_configuration_profile", "general", "level"},
        {"os_x_configuration_profile", "general", "category", "name"},
        {"os_x_configuration_profile", "general", "payloads"}}},
      {"policies",
       {{"policy", "general", "enabled"},
        {"policy", "general", "trigger_checkin"},
        {"policy", "general", "trigger_enrollment_complete"},
        {"policy", "general", "trigger_login"},
        {"policy", "general", "trigger_network_state_changed"},
        {"policy", "general", "trigger_startup"},
        {"policy", "general", "trigger_other"},
        {"policy", "general", "frequency"},
        {"policy", "general", "category", "name"}}}};
  return all;
}

/// By name, what a playbook carries of each object, as text; "" is absent too, and so is what is called by
/// the ID -1.
std::map<std::string, std::vector<std::string>> valuesOf(const BackupReader& backup, const Carried& kind) {
  std::map<std::string, std::vector<std::string>> found;
  for (const auto& entry : backup.entries(kind.section)) {
    const auto record = backup.json(entry.item.objects.begin()->second);
    if (record["computer_group"]["is_smart"].string() == "false") continue;
    auto& values = found[entry.displayName()];
    for (const auto& path : kind.fields) {
      auto value = record;
      for (const auto key : path) value = value["id"].integer() == -1 ? JSONTree() : value[key];
      values.push_back(value.serialized().value_or("\"\""));
      if (values.back() == "null") values.back() = "\"\"";
    }
  }
  return found;
}

class PlaybookFromBackup : public test::PlaybookHost {
 protected:
  static void empty(sample::SampleServer& target) {
    for (const auto& kind : carried())
      for (const auto& id : target.ids(kind.section)) EXPECT_TRUE(target.remove(kind.section, id));
    for (const auto& id : target.ids("categories")) EXPECT_TRUE(target.remove("categories", id));
  }

  BackupReader backUp(const sample::SampleServer& from, const Path& secret, const Path& to,
                      const Arguments& more = {}) const {
    Arguments all{"backup",
                  "--to",
                  to.string(),
                  "--url",
                  from.url(),
                  "--client-id",
                  from.clientID(),
                  "--secret-file",
                  secret.string(),
                  "--rate",
                  "0",
                  "--attempts",
                  "1",
                  "--no-files",
                  "--no-reports",
                  "--only",
                  std::string(kinds) + ",categories,buildings"};
    all.insert(all.end(), more.begin(), more.end());
    const auto end = run(all);
    EXPECT_EQ(end.status, 0) << end.error;
    return {BackupRepository(to, "127.0.0.1"), end.lastLine()};
  }
  BackupReader backedUp() const { return backUp(server, secretFile, root); }
  std::string instance() const { return (root / "127.0.0.1").string(); }
  test::ProgramEnd fromBackup(Arguments more = {}) const {
    more.insert(more.begin(), {instance(), "--out", file("out.yaml")});
    return command("from-backup", more);
  }
  jamf::Playbook made() const { return jamf::PlaybookYAML::decode(files::read(file("out.yaml"))); }
};

TEST_F(PlaybookFromBackup, ANewServerGetsWhatThePlaybookCarries) {
  const auto source = backedUp();
  const auto end = fromBackup();
  ASSERT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(onSchool("plan", file("out.yaml")).status, 0) << "the server that it comes from is as it says";

  sample::SampleServer target({.seed = 2});
  empty(target);
  const auto secret = folder / "other-secret";
  files::atomicWrite(target.clientSecret(), secret, files::Flush::no, std::filesystem::perms::owner_read);
  exempt.insert(secret);
  ASSERT_EQ(run({"orgs", "add", "--name", "New", "--url", target.url(), "--client-id", target.clientID(),
                 "--secret-file", secret.string()})
                .status,
            0);
  for (const auto& each : secrets()) exempt.insert(secretsFolder() / each);
  const auto applied = command("apply", {file("out.yaml"), "--org", "New", "--yes", "--json"});
  EXPECT_EQ(applied.status, 0) << applied.error;
  for (const auto& line : named("applied", applied)) {
    EXPECT_EQ(member(line, "outcome"), "created") << member(line, "name") << member(line, "message");
  }
  EXPECT_EQ(command("plan", {file("out.yaml"), "--org", "New"}).status, 0);

  const auto copy = backUp(target, secret, folder / "copies");
  std::size_t compared = 0;
  for (const auto& kind : carried()) {
    const auto before = valuesOf(source, kind), after = valuesOf(copy, kind);
    EXPECT_EQ(before, after) << kind.section;
    compared += after.size();
  }
  EXPECT_EQ(compared, made().resources.size());
  EXPECT_GT(compared, 50U);
}

TEST_F(PlaybookFromBackup, WhatAPlaybookCannotCarryIsSummedUp) {
  backedUp();
  const auto end = fromBackup();
  EXPECT_THAT(end.error, AllOf(HasSubstr("24 policies: scope\n"), HasSubstr("24 policies: self_service\n"),
                               HasSubstr("16 packages: file\n"), HasSubstr("14 scripts: parameter4\n"),
                               HasSubstr("computer groups: left out, for a playbook has no static groups\n"),
                               HasSubstr("Playbooks have no kind for 2 sections: buildings, categories")));
}

TEST_F(PlaybookFromBackup, EachLossIsAJSONLine) {
  backedUp();
  const auto end = fromBackup({"--json"});
  EXPECT_EQ(end.error, "");
  const auto lost = named("lost", end), leftOut = named("leftOut", end);
  const auto scopes = std::ranges::count_if(lost, [](const auto& line) {
    return member(line, "section") == "policies" && member(line, "field") == "scope";
  });
  EXPECT_EQ(scopes, 24);
  EXPECT_NE(member(lost.at(0), "id"), "(none)");
  EXPECT_NE(member(lost.at(0), "name"), "(none)");
  EXPECT_EQ(member(leftOut.at(0), "message"), "a playbook has no static groups");
  EXPECT_THAT(named("sectionLeftOut", end), SizeIs(2));
  const auto last = jsonLines(end.output).back();
  EXPECT_EQ(member(last, "resources"), std::to_string(made().resources.size()));
  EXPECT_EQ(member(last, "losses"), std::to_string(lost.size() + leftOut.size()));
}

TEST_F(PlaybookFromBackup, SectionsAreChosenAndOthersRefused) {
  backedUp();
  EXPECT_EQ(fromBackup({"--section", "scripts,policies"}).status, 0);
  for (const auto& each : made().resources) {
    EXPECT_TRUE(each.type() == "script" || each.type() == "policy") << each.name();
  }
  const auto end = fromBackup({"--section", "buildings"});
  EXPECT_EQ(end.status, 2);
  EXPECT_THAT(end.error, AllOf(HasSubstr("no section buildings"), HasSubstr("computerGroups")));
}

TEST_F(PlaybookFromBackup, ASectionThatWasNotReadIsTold) {
  server.refuseSection("scripts", 403);
  const auto end = run({"backup", "--to", root.string(), "--url", server.url(), "--client-id",
                        server.clientID(), "--secret-file", secretFile.string(), "--rate", "0", "--attempts",
                        "1", "--no-files", "--no-reports", "--only", "scripts,policies"});
  ASSERT_EQ(end.status, 3) << end.error;
  EXPECT_THAT(fromBackup().error, HasSubstr("The backup did not read scripts."));
  EXPECT_EQ(fromBackup({"--section", "scripts"}).status, 1);
}

TEST_F(PlaybookFromBackup, TheFileIsItsOwnersAlone) {
  backedUp();
  fromBackup();
  struct stat status {};
  ASSERT_EQ(::stat(file("out.yaml").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(PlaybookFromBackup, ASealedBackupNeedsItsKey) {
  const auto organisation = test::OrganisationFiles::make(folder.path());
  backUp(server, secretFile, root, {"--encrypt", "--key", organisation.key.string()});
  EXPECT_EQ(fromBackup().status, 12);
  EXPECT_FALSE(files::exists(file("out.yaml")));
  EXPECT_EQ(fromBackup({"--key", organisation.key.string()}).status, 0);
  EXPECT_GT(made().resources.size(), 50U);
}

TEST_F(PlaybookFromBackup, WhatIsNotThereIsNotFoundAndNothingIsWritten) {
  backedUp();
  EXPECT_EQ(fromBackup({"--backup", "2020-01-01T000000Z"}).status, 10);
  EXPECT_EQ(command("from-backup", {file("nowhere"), "--out", file("out.yaml")}).status, 10);
  EXPECT_EQ(command("from-backup", {instance()}).status, 2) << "--out is missing";
  EXPECT_FALSE(files::exists(file("out.yaml")));
}

}  // namespace
}  // namespace orvik
