#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OrvikCore/Config/CredentialStore.h"
#include "OrvikCore/Config/InstanceStore.h"
#include "OrvikCore/Config/ManagedInstances.h"
#include "Platform/Files/SecretFile.h"
#include "orvik/Instances/InstanceSecrets.h"
#include "tests/Support/HostFixture.h"
#include "tests/Support/JSONLines.h"
#include "tests/Support/ScopedVariable.h"

namespace orvik::host {
namespace {

using orvik::test::HostFixture;
using orvik::test::jsonLines;
using orvik::test::member;
using orvik::test::runToEnd;
using orvik::test::ScopedVariable;
using platform::SecretString;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

/// The program of a user who registered servers, with secrets in files.
class InstanceBackupTest : public HostFixture {
 protected:
  std::filesystem::path data() const { return folder / ".local/share/orvik"; }

  InstanceConfig instance(const std::string& name, const std::string& url,
                          const std::string& clientID) const {
    return {ManagedInstances::stableID(url, clientID), name, url, clientID, {}};
  }
  InstanceConfig school() const { return instance("School", server.url(), server.clientID()); }

  void registerAll(const std::vector<InstanceConfig>& instances) const {
    InstanceStore(data()).save(instances);
  }

  /// The entry of the keychain stands in a file of its own, which may hold it.
  void keep(const InstanceConfig& owner, const std::string& secret) {
    const ScopedVariable home("XDG_DATA_HOME", (folder / ".local/share").string());
    const ScopedVariable bus("DBUS_SESSION_BUS_ADDRESS"), runtime("XDG_RUNTIME_DIR");
    credentialStore().saveSecret(SecretString(secret), owner);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(data() / "secrets"))
      exempt.insert(entry.path());
  }

  test::ProgramEnd runBackup(const Arguments& which, const Arguments& more = {}) const {
    Arguments line{"backup", "--to", root.string(), "--rate", "0", "--attempts", "1", "--only", "buildings"};
    line.insert(line.end(), which.begin(), which.end());
    line.insert(line.end(), more.begin(), more.end());
    return runToEnd(start(line));
  }
};

TEST_F(InstanceBackupTest, ARegisteredServerIsBackedUpWithTheSecretOfTheKeychain) {
  registerAll({school()});
  keep(school(), server.clientSecret());
  const auto end = runBackup({"--instance", "school"});
  EXPECT_EQ(end.status, 0) << end.error;
  ASSERT_TRUE(repository().latestComplete());
  EXPECT_EQ(end.lastLine(), repository().latestComplete()->id);
  EXPECT_EQ(repository().descriptor()->id, school().id);
  EXPECT_EQ(repository().descriptor()->name, "School");
}

TEST_F(InstanceBackupTest, ASecretThatIsNamedBeatsTheKeychain) {
  registerAll({school()});
  keep(school(), "an old one");
  EXPECT_EQ(runBackup({"--instance", "School"}).status, 12);
  EXPECT_EQ(runBackup({"--instance", "School", "--secret-file", secretFile.string()}).status, 0);
}

TEST_F(InstanceBackupTest, AServerWithoutASecretSaysHowToGiveOne) {
  registerAll({school()});
  const auto end = runBackup({"--instance", "School"});
  EXPECT_EQ(end.status, 12);
  EXPECT_THAT(end.error, HasSubstr("orvik instances add --name School"));
}

TEST_F(InstanceBackupTest, AnUnknownServerIsNotFoundAndTheOthersAreListed) {
  registerAll({school()});
  const auto end = runBackup({"--instance", "collage"});
  EXPECT_EQ(end.status, 10);
  EXPECT_THAT(end.error, HasSubstr("There are: School."));
}

TEST_F(InstanceBackupTest, AFolderThatHeldBackupsAndIsEmptyIsRefused) {
  registerAll({school()});
  keep(school(), server.clientSecret());
  ASSERT_EQ(runBackup({"--instance", "school"}).status, 0);
  std::filesystem::rename(root, folder / "unmounted");
  const auto end = runBackup({"--instance", "school"});
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("Is a disk or a share not mounted?"));
  EXPECT_FALSE(platform::files::exists(root));
  EXPECT_EQ(runBackup({"--instance", "school"}, {"--new-folder"}).status, 0);
}

TEST_F(InstanceBackupTest, ABackupSoonAfterAnotherIsRefusedUnlessTheOptionAllowsIt) {
  ASSERT_EQ(runToEnd(backup()).status, 0);
  auto again = backup();
  again.environment["ORVIK_MINIMUM_HOURS"] = "24";
  const auto requests = server.log().total();
  const auto end = runToEnd(again);
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("1 day must lie between two backups"));
  EXPECT_EQ(server.log().total(), requests);
  again.arguments.insert(again.arguments.end(), {"--minimum-hours", "0"});
  EXPECT_EQ(runToEnd(again).status, 0);
}

TEST_F(InstanceBackupTest, ARoundGoesOnBehindAServerThatFails) {
  const auto gone = instance("Gone", "http://localhost:1", "c");
  const auto bare = instance("Bare", "https://bare.invalid", "c");
  registerAll({gone, bare, school()});
  keep(gone, "another");
  keep(school(), server.clientSecret());
  const auto end = runBackup({"--all"});
  EXPECT_EQ(end.status, 1);
  EXPECT_TRUE(repository().latestComplete());
  EXPECT_THAT(end.error, HasSubstr("The keychain holds no client secret of Bare."));
  EXPECT_THAT(end.output, testing::ContainsRegex("Gone +failed"));
  EXPECT_THAT(end.output, testing::ContainsRegex("School +complete +[0-9]+ objects"));
}

TEST_F(InstanceBackupTest, ARoundGivesNoServerTheSecretOfTheEnvironment) {
  registerAll({school()});
  const auto requests = server.log().total();
  Arguments line{"backup", "--to", root.string(), "--all"};
  auto program = start(line);
  program.environment["ORVIK_CLIENT_SECRET"] = server.clientSecret();
  program.environment["ORVIK_SECRET_FILE"] = secretFile.string();
  const auto end = runToEnd(program);
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("ORVIK_CLIENT_SECRET is left alone"));
  EXPECT_THAT(end.error, HasSubstr("The keychain holds no client secret of School."));
  EXPECT_EQ(server.log().total(), requests);
}

TEST_F(InstanceBackupTest, ARoundTellsAllInJSONLines) {
  registerAll({school()});
  keep(school(), server.clientSecret());
  ASSERT_EQ(runBackup({"--all"}).status, 0);
  const auto end = runBackup({"--all", "--json", "--quiet", "--minimum-hours", "2"});
  EXPECT_EQ(end.status, 0) << end.error;
  const auto lines = jsonLines(end.output);
  ASSERT_THAT(lines, SizeIs(2));
  EXPECT_EQ(member(lines[0], "event"), "instance");
  EXPECT_EQ(member(lines[1], "event"), "round");
  EXPECT_EQ(member(lines[1], "exit"), "0");
  const auto& entries = *lines[1].find("instances")->array_();
  ASSERT_THAT(entries, SizeIs(1));
  EXPECT_EQ(member(entries[0], "status"), "tooSoon");
  EXPECT_NE(member(entries[0], "next"), "(none)");
}

TEST_F(InstanceBackupTest, ARoundWithoutServersSaysWhatToDo) {
  const auto end = runBackup({"--all"});
  EXPECT_EQ(end.status, 10);
  EXPECT_THAT(end.error, HasSubstr("orvik instances add"));
}

TEST_F(InstanceBackupTest, AWrongSectionIsToldOnceForAllServers) {
  registerAll({school(), instance("Other", "http://localhost:1", "c")});
  const auto end = runBackup({"--all", "--disable", "polices"});
  EXPECT_EQ(end.status, 2);
  EXPECT_THAT(end.output, Not(HasSubstr("School")));
}

TEST_F(InstanceBackupTest, ListedServersThatCanNotBeReadAreTold) {
  platform::files::atomicWrite("[{", data() / "instances.json");
  const auto end = runBackup({"--all"});
  EXPECT_EQ(end.status, 10);
  EXPECT_THAT(end.error, HasSubstr("instances.json can't be read"));
}

}  // namespace
}  // namespace orvik::host
