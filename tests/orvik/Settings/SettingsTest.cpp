#include "orvik/Settings/Settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Platform/Files/Files.h"
#include "orvik/CommandTable.h"
#include "orvik/ExitStatus.h"
#include "orvik/Settings/ManagedConfigKeys.h"
#include "tests/Support/ScopedVariable.h"

namespace orvik::host {
namespace {

using orvik::test::ScopedVariable;
using testing::HasSubstr;
using testing::IsEmpty;
using Origin = Settings::Origin;

class SettingsTest : public testing::Test {
 protected:
  void force(const std::string& json) {
    const auto file = folder / "managed/org.example.json";
    platform::files::atomicWrite(json, file);
    ::chmod(file.c_str(), 0644);
  }
  HostPlaces places() const {
    return {folder / "data",
            std::make_shared<tuv::MDMPreferencesSource>("org.example", folder / "managed", ::getuid()),
            platform::preferences::UserPreferences("org.example", folder / "user")};
  }
  Settings settings() const { return Settings(places()); }
  Settings::Shown shown(const std::string& name) const {
    for (auto& each : settings().shown())
      if (each.name == name) return each;
    ADD_FAILURE() << "no setting " << name;
    return {};
  }
  BackupArguments backup(std::vector<std::string> more = {}) const {
    std::vector<std::string> line{"backup", "--url", "u", "--client-id", "c", "--to", "/b"};
    line.insert(line.end(), more.begin(), more.end());
    const auto all = settings();
    return std::get<BackupArguments>(parseCommandLine(line, &all));
  }

  platform::files::TempFolder folder;
};

TEST_F(SettingsTest, WithoutAnyTheDefaultsAreThoseOfTheCommandLine) {
  EXPECT_EQ(settings().forOption("rate"), std::nullopt);
  EXPECT_EQ(shown("MaxRequestsPerSecond").value, "10");
  EXPECT_EQ(shown("MaxRequestsPerSecond").origin, Origin::builtIn);
  EXPECT_EQ(shown("DownloadFiles").value, "true");
  EXPECT_EQ(backup().rate, 10);
}

TEST_F(SettingsTest, AnOptionBeatsAVariableBeatsAForcedValueBeatsAChosenOne) {
  settings().choose("MaxConcurrentRequests", "5");
  EXPECT_EQ(backup().concurrency, 5);
  EXPECT_EQ(shown("MaxConcurrentRequests").origin, Origin::user);
  force(R"({"MaxConcurrentRequests": 6})");
  EXPECT_EQ(backup().concurrency, 6);
  EXPECT_EQ(shown("MaxConcurrentRequests").origin, Origin::managed);
  const ScopedVariable variable("ORVIK_CONCURRENCY", "7");
  EXPECT_EQ(backup().concurrency, 7);
  EXPECT_EQ(shown("MaxConcurrentRequests").value, "7");
  EXPECT_EQ(shown("MaxConcurrentRequests").variable, "ORVIK_CONCURRENCY");
  EXPECT_EQ(backup({"--concurrency", "8"}).concurrency, 8);
}

TEST_F(SettingsTest, AFlagThatSaysTheOppositeFollowsItsSetting) {
  force(R"({"DownloadFiles": false, "EncryptBackups": true, "WriteReports": "yes"})");
  EXPECT_TRUE(backup().noFiles);
  EXPECT_TRUE(backup().encrypt);
  EXPECT_FALSE(backup().noReports);
}

TEST_F(SettingsTest, AVariableSwitchesAForcedFlagOff) {
  force(R"({"EncryptBackups": true, "DownloadFiles": false})");
  const ScopedVariable sealed("ORVIK_ENCRYPT", "no"), files("ORVIK_NO_FILES", "0");
  EXPECT_FALSE(backup().encrypt);
  EXPECT_FALSE(backup().noFiles);
  EXPECT_EQ(shown("EncryptBackups").value, "false");
  EXPECT_EQ(shown("DownloadFiles").value, "true");
  EXPECT_EQ(shown("DownloadFiles").origin, Origin::variable);
}

TEST_F(SettingsTest, TheCommandLineSwitchesAForcedFlagOff) {
  force(R"({"EncryptBackups": true})");
  EXPECT_FALSE(backup({"--encrypt=no"}).encrypt);
}

TEST_F(SettingsTest, AValueThatIsNoneCountsAsAbsentAndIsTold) {
  settings().choose("KeepCount", "3");
  force(
      R"({"KeepCount": -1, "MaxRequestsPerSecond": "fast", "BackupFolder": "here/below", "DownloadFiles": [1]})");
  EXPECT_EQ(backup().keep.keepCount, 3);
  EXPECT_EQ(backup().rate, 10);
  EXPECT_EQ(settings().forOption("to"), std::nullopt);
  EXPECT_THAT(shown("KeepCount").ignored, testing::ElementsAre(HasSubstr("managed value of KeepCount")));
  EXPECT_THAT(shown("MaxConcurrentRequests").ignored, IsEmpty());
}

TEST_F(SettingsTest, AFolderOfTheSettingsIsUsed) {
  settings().choose("BackupFolder", "/srv/backups");
  const auto all = settings();
  const auto line = parseCommandLine({"backup", "--url", "u", "--client-id", "c"}, &all);
  EXPECT_EQ(std::get<BackupArguments>(line).to, "/srv/backups");
}

TEST_F(SettingsTest, ADemoTakesNoSettings) {
  settings().choose("BackupFolder", "/srv/backups");
  const auto all = settings();
  EXPECT_EQ(std::get<DemoArguments>(parseCommandLine({"demo"}, &all)).to, "");
}

TEST_F(SettingsTest, TheFolderOfAllBackupsIsNoPlaceForAnExport) {
  settings().choose("BackupFolder", "/srv/backups");
  settings().choose("TrustAnchors", "/etc/anchors.pem");
  const auto all = settings();
  EXPECT_THROW(parseCommandLine({"export-server", "--org", "O"}, &all), UsageError);
  const auto line = parseCommandLine({"export-server", "--org", "O", "--to", "/x"}, &all);
  EXPECT_EQ(std::get<ExportServerArguments>(line).to, "/x");
  EXPECT_EQ(std::get<ExportServerArguments>(line).caFile, "/etc/anchors.pem");
}

TEST_F(SettingsTest, AChoiceIsTakenBack) {
  settings().choose("keepdays", "90");
  EXPECT_EQ(shown("KeepDays").value, "90");
  settings().takeBack("--keep-days");
  EXPECT_EQ(shown("KeepDays").origin, Origin::builtIn);
}

TEST_F(SettingsTest, ANameOrAValueThatIsNoneIsRefused) {
  EXPECT_THROW(settings().choose("Nothing", "1"), UsageError);
  EXPECT_THROW(settings().choose("KeepDays", "many"), UsageError);
  EXPECT_THROW(settings().choose("BackupFolder", "relative"), UsageError);
  EXPECT_FALSE(platform::files::exists(folder / "user/org.example.json"));
}

TEST_F(SettingsTest, EveryDefaultIsOneThatItsKeyAccepts) {
  for (const auto& each : settings().shown()) {
    EXPECT_THAT(each.ignored, IsEmpty());
    EXPECT_NO_THROW(settings().choose(each.name, each.value)) << each.name;
    EXPECT_EQ(shown(each.name).value, each.value);
  }
}

}  // namespace
}  // namespace orvik::host
