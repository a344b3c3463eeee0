#include "orvik/Status/StatusCommand.h"

#include <chrono>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/BackupLock.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "orvik/Folder/KnownFolders.h"
#include "tests/Support/RegisteredHost.h"
#include "tests/Support/SampleRecords.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using test::member;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
namespace files = platform::files;

class StatusCommand : public test::RegisteredHost {
 protected:
  test::ProgramEnd status(const Arguments& more = {}) const {
    Arguments all{"status", "--to", root.string()};
    all.insert(all.end(), more.begin(), more.end());
    return run(all);
  }
  platform::json::Value instanceLine(const Arguments& more = {}) const {
    Arguments all{"--json"};
    all.insert(all.end(), more.begin(), more.end());
    return linesOf(status(all)).at(0);
  }

  /// A finished backup of that age.
  std::string backUp(const InstanceConfig& instance, std::chrono::seconds age,
                     BackupManifest::Status status = BackupManifest::Status::complete) const {
    const auto finishedAt = std::chrono::floor<std::chrono::seconds>(platform::now()) - age;
    auto manifest = test::plainManifest(platform::compactUTC(finishedAt));
    manifest.instance = instance.descriptor();
    manifest.finishedAt = finishedAt;
    manifest.status = status;
    manifest.sections = {test::summaryOf("policies"), test::summaryOf("scripts")};
    manifest.sections[1].status = SectionSummary::Status::failed;
    const auto place = repository(instance);
    place.writeDescriptor(manifest.instance);
    test::write(place.backupDirectory(manifest.backupID) / BackupFormat::manifestFile,
                BackupFormat::makeEncoder().encode(manifest));
    return manifest.backupID;
  }
  BackupRepository repository(const InstanceConfig& instance) const {
    return BackupRepository(root, instance.descriptor().slug);
  }
  InstanceConfig school() const { return registered("School", "https://school.example.com"); }

  const std::filesystem::path root = home / "backups";
};

TEST_F(StatusCommand, ARecentBackupIsDone) {
  const auto instance = school();
  const auto id = backUp(instance, 3h);
  planned(instance.id, platform::now() + 72h + 1min);
  const auto end = status();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, ContainsRegex("^INSTANCE +STATE +LAST BACKUP +AGE +ID +SIZE +NEXT RUN\n"
                                        "School +good .* 3 h +" +
                                        id + " .*\\(in 3 days\\)\n$"));
  EXPECT_EQ(end.error, "");
}

TEST_F(StatusCommand, TheSameIsPrintedAsJSON) {
  const auto instance = school();
  const auto id = backUp(instance, 3h);
  const auto run = planned(instance.id, platform::now() + 72h);
  const auto lines = linesOf(status({"--json"}));
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(member(lines[0], "event"), "instance");
  EXPECT_EQ(member(lines[0], "instance"), "School");
  EXPECT_EQ(member(lines[0], "instanceID"), instance.id.text());
  EXPECT_EQ(member(lines[0], "folder"), (root / "school.example.com").string());
  EXPECT_EQ(member(lines[0], "backup"), id);
  EXPECT_EQ(member(lines[0], "status"), "complete");
  EXPECT_THAT(member(lines[0], "ageSeconds"), testing::MatchesRegex("108[0-9][0-9]"));
  EXPECT_EQ(member(lines[0], "nextRun"), platform::iso8601(run.date));
  EXPECT_EQ(member(lines[0], "bytes"), std::to_string(repository(instance).diskUsage()));
  EXPECT_EQ(member(lines[0], "overdue"), "false");
  EXPECT_EQ(member(lines[0], "troubles"), "[]");
  EXPECT_EQ(member(lines[1], "event"), "finished");
  EXPECT_EQ(member(lines[1], "instances"), "1");
  EXPECT_EQ(member(lines[1], "overdue"), "0");
}

TEST_F(StatusCommand, ABackupThatIsTooOldIsOverdue) {
  backUp(school(), 49h);
  const auto end = status();
  EXPECT_EQ(end.status, 5);
  EXPECT_THAT(end.output,
              AllOf(ContainsRegex("School +overdue"), HasSubstr("\n  no backup within 2 days\n")));
  EXPECT_EQ(status({"--max-age", "50"}).status, 0);
  EXPECT_EQ(status({"--max-age", "0"}).status, 0);
  EXPECT_EQ(status({"--max-age", "-1"}).status, 2);
}

TEST_F(StatusCommand, AnInstanceThatWasNeverBackedUpIsOverdue) {
  const auto instance = school();
  EXPECT_THAT(status().output, HasSubstr("never backed up: there is no folder"));
  repository(instance).writeDescriptor(instance.descriptor());
  const auto end = status();
  EXPECT_EQ(end.status, 5);
  EXPECT_THAT(end.output, HasSubstr("\n  never backed up\n"));
  EXPECT_EQ(member(instanceLine(), "backup"), "(none)");
}

TEST_F(StatusCommand, OneOverdueInstanceAmongOthersIsEnough) {
  backUp(school(), 1h);
  backUp(registered("North", "https://north.example.com"), 100h);
  const auto end = status();
  EXPECT_EQ(end.status, 5);
  EXPECT_THAT(end.output, AllOf(ContainsRegex("School +good"), ContainsRegex("North +overdue")));
  EXPECT_EQ(member(linesOf(status({"--json"})).back(), "overdue"), "1");
}

TEST_F(StatusCommand, TroubleThatDoesNotMakeABackupOldIsTold) {
  const auto instance = school();
  backUp(instance, 1h, BackupManifest::Status::completeWithWarnings);
  std::filesystem::create_directories(repository(instance).partialDirectory("2026-01-01T000000Z"));
  const auto end = status();
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.output,
              AllOf(ContainsRegex("School +trouble"), HasSubstr("\n  complete with warnings: 1 section\n"),
                    HasSubstr("\n  an interrupted run waits to be taken up: 2026-01-01T000000Z\n")));
  EXPECT_THAT(member(instanceLine(), "troubles"),
              AllOf(HasSubstr("\"kind\":\"warnings\""), HasSubstr("\"kind\":\"interrupted\"")));
}

TEST_F(StatusCommand, AWriterAtWorkIsNamed) {
  const auto instance = school();
  backUp(instance, 1h);
  const auto now = platform::now();
  const BackupLock lock{"another\x1b[2Jhost", "admin", 1, now - 60s, now - 5s, "0.1.0", platform::UUID()};
  test::write(repository(instance).instanceDirectory / BackupFormat::lockFile,
              BackupFormat::makeEncoder().encode(lock));
  const auto end = status();
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.output, HasSubstr("\n  admin on another␛[2Jhost has been writing since "));
}

TEST_F(StatusCommand, AScheduledRunThatIsLateIsOverdue) {
  const auto instance = school();
  backUp(instance, 1h);
  planned(instance.id, platform::now() - 61min);
  const auto end = status();
  EXPECT_EQ(end.status, 5);
  EXPECT_THAT(end.output, HasSubstr("\n  a scheduled run is late: due "));
}

TEST_F(StatusCommand, AFolderOfAnotherServerIsNotTheInstances) {
  const auto instance = school();
  backUp(instance, 1h);
  auto other = repository(instance).descriptor().value();
  other.url = "https://school.example.com:8443";
  repository(instance).writeDescriptor(other);
  const auto end = status();
  EXPECT_EQ(end.status, 5);
  EXPECT_THAT(end.output, HasSubstr("school.example.com:8443"));
  EXPECT_EQ(member(instanceLine(), "backup"), "(none)");
}

TEST_F(StatusCommand, AFolderThatLostItsBackupsIsToldSo) {
  const auto instance = school();
  host::KnownFolders(data).remember(repository(instance), backUp(instance, 1h), {});
  EXPECT_EQ(status().status, 0);
  files::removeTree(root);
  const auto end = status();
  EXPECT_EQ(end.status, 5);
  EXPECT_THAT(end.output, HasSubstr("Is a disk or a share not mounted?"));
}

TEST_F(StatusCommand, WithoutARegisteredInstanceTheFoldersBelowTheRootCount) {
  const InstanceConfig stray{platform::UUID::random(), "Stray", "https://stray.example.com", "4711", {}};
  backUp(stray, 1h);
  const auto end = status();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, ContainsRegex("Stray +good"));
  school();
  EXPECT_THAT(status().output, AllOf(HasSubstr("School"), Not(HasSubstr("Stray"))));
}

TEST_F(StatusCommand, WithNeitherInstanceNorFolderThereIsNothingToFind) {
  auto end = status();
  EXPECT_EQ(end.status, 10);
  EXPECT_THAT(end.error, HasSubstr("there is no folder " + root.string()));
  files::createDirectories(root);
  end = status();
  EXPECT_EQ(end.status, 10);
  EXPECT_THAT(end.error, HasSubstr("holds no folder of one"));
}

TEST_F(StatusCommand, TheFolderOfAllInstancesMustBeNamed) {
  const auto end = run({"status"});
  EXPECT_EQ(end.status, 2);
  EXPECT_THAT(end.error, HasSubstr("--to is missing"));
  auto start = this->start({"status"});
  backUp(school(), 1h);
  start.environment["ORVIK_TO"] = root.string();
  EXPECT_EQ(test::runToEnd(start).status, 0);
}

TEST_F(StatusCommand, SettingsSayWhatOptionsDoNot) {
  backUp(school(), 49h);
  EXPECT_EQ(run({"config", "set", "BackupFolder", root.string()}).status, 0);
  EXPECT_EQ(run({"status"}).status, 5);
  EXPECT_EQ(run({"config", "set", "MaximumAgeHours", "50"}).status, 0);
  EXPECT_EQ(run({"status"}).status, 0);
  EXPECT_EQ(run({"status", "--max-age", "48"}).status, 5);
}

TEST_F(StatusCommand, SizesAreMeasuredUnlessItIsToldOtherwise) {
  backUp(school(), 1h);
  EXPECT_NE(member(instanceLine(), "bytes"), "(none)");
  EXPECT_EQ(member(instanceLine({"--no-sizes"}), "bytes"), "(none)");
}

TEST_F(StatusCommand, AScheduleThatCannotBeReadIsNoSuccess) {
  backUp(school(), 1h);
  test::write(schedule().fileURL, "torn");
  auto end = status();
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr(schedule().fileURL.string() + " can't be read"));
  EXPECT_THAT(end.output, ContainsRegex("School +good"));
  backUp(registered("North", "https://north.example.com"), 100h);
  EXPECT_EQ(status().status, 5);
}

TEST_F(StatusCommand, InstancesThatCannotBeReadAreNoSuccess) {
  const InstanceConfig stray{platform::UUID::random(), "Stray", "https://stray.example.com", "4711", {}};
  backUp(stray, 1h);
  test::write(InstanceStore(data).fileURL, "torn");
  const auto end = status();
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("instances.json can't be read"));
}

TEST_F(StatusCommand, RunsOfInstancesThatAreGoneAreRemarkedOn) {
  backUp(school(), 1h);
  planned(platform::UUID::random(), platform::now() + 1h);
  EXPECT_THAT(status().error, HasSubstr("1 run in the schedule of an instance that is not known"));
}

TEST_F(StatusCommand, NothingIsChanged) {
  const auto instance = school();
  backUp(instance, 1h);
  planned(instance.id, platform::now() - 3h);
  const auto before = test::contentOf(home.path());
  status();
  EXPECT_EQ(test::contentOf(home.path()), before);
}

}  // namespace
}  // namespace orvik
