#include "orvik/CommandTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "orvik/Environment.h"
#include "orvik/ExitStatus.h"
#include "tests/Support/ScopedVariable.h"

namespace orvik::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

using Arguments = std::vector<std::string>;

/// Environment variables for as long as a test needs them.
class Variables {
 public:
  void set(const std::string& name, const std::string& value) {
    variables_.try_emplace(name, name).first->second.set(value);
  }

 private:
  std::map<std::string, test::ScopedVariable> variables_;
};

Arguments backupLine(const Arguments& more = {}) {
  Arguments all{"backup", "--to", "/b", "--url", "u.example", "--client-id", "c"};
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

BackupArguments parsed(const Arguments& more = {}) {
  return std::get<BackupArguments>(parseCommandLine(backupLine(more)));
}

std::string refusal(const Arguments& arguments) {
  try {
    parseCommandLine(arguments);
  } catch (const UsageError& error) {
    return error.description();
  }
  return "(accepted)";
}

TEST(CommandTable, TheDefaultsAreTheDocumentedOnes) {
  const auto backup = parsed();
  EXPECT_EQ(backup.to, "/b");
  EXPECT_EQ(backup.concurrency, 4);
  EXPECT_EQ(backup.rate, 10);
  EXPECT_EQ(backup.attempts, 5);
  EXPECT_EQ(backup.baseDelay, 1);
  EXPECT_EQ(backup.maxDelay, 60);
  EXPECT_EQ(backup.lockWait, 0);
  EXPECT_FALSE(backup.noResume || backup.noPack || backup.json || backup.quiet);
  EXPECT_EQ(backup.keep, RetentionPolicy());
  EXPECT_FALSE(backup.name || backup.secretFile || backup.secretCommand);
}

TEST(CommandTable, OptionsFillTheirFields) {
  const auto backup = parsed({"--name",
                              "School",
                              "--secret-file",
                              "-",
                              "--only",
                              "a,b",
                              "--only=c",
                              "--disable",
                              "d",
                              "--concurrency",
                              "8",
                              "--rate",
                              "2.5",
                              "--attempts",
                              "2",
                              "--base-delay",
                              "0.5",
                              "--max-delay",
                              "9",
                              "--lock-wait",
                              "7",
                              "--no-resume",
                              "--ca-file",
                              "f",
                              "--json",
                              "--quiet"});
  EXPECT_EQ(backup.name, "School");
  EXPECT_EQ(backup.secretFile, "-");
  EXPECT_THAT(backup.only, ElementsAre("a,b", "c"));
  EXPECT_THAT(backup.disable, ElementsAre("d"));
  EXPECT_EQ(backup.concurrency, 8);
  EXPECT_EQ(backup.rate, 2.5);
  EXPECT_EQ(backup.attempts, 2);
  EXPECT_EQ(backup.baseDelay, 0.5);
  EXPECT_EQ(backup.maxDelay, 9);
  EXPECT_EQ(backup.lockWait, 7);
  EXPECT_EQ(backup.caFile, "f");
  EXPECT_TRUE(backup.noResume && backup.json && backup.quiet);
}

TEST(CommandTable, AVariableStandsInForItsOption) {
  Variables variables;
  variables.set("ORVIK_TO", "/from-variable");
  variables.set("ORVIK_URL", "v.example");
  variables.set("ORVIK_CLIENT_ID", "v");
  variables.set("ORVIK_LOCK_WAIT", "3");
  variables.set("ORVIK_ONLY", "a,b");
  variables.set("ORVIK_NO_RESUME", "yes");
  variables.set("ORVIK_JSON", "0");
  variables.set("ORVIK_RATE", "");
  const auto backup = std::get<BackupArguments>(parseCommandLine({"backup", "--url=o.example"}));
  EXPECT_EQ(backup.to, "/from-variable");
  EXPECT_EQ(backup.url, "o.example");
  EXPECT_EQ(backup.clientID, "v");
  EXPECT_EQ(backup.lockWait, 3);
  EXPECT_THAT(backup.only, ElementsAre("a,b"));
  EXPECT_TRUE(backup.noResume);
  EXPECT_FALSE(backup.json);
  EXPECT_EQ(backup.rate, 10);
}

TEST(CommandTable, ABadVariableIsRefusedByName) {
  Variables variables;
  variables.set("ORVIK_QUIET", "perhaps");
  EXPECT_THAT(refusal(backupLine()), HasSubstr("ORVIK_QUIET"));
  variables.set("ORVIK_QUIET", "on");
  variables.set("ORVIK_RATE", "fast");
  EXPECT_THAT(refusal(backupLine()), HasSubstr("--rate"));
  EXPECT_EQ(parsed({"--rate", "1"}).rate, 1);
}

TEST(CommandTable, AVariableOfTheOtherSecretSourceGivesWay) {
  Variables variables;
  variables.set("ORVIK_SECRET_FILE", "/f");
  const auto backup = parsed({"--secret-command", "true"});
  EXPECT_EQ(backup.secretCommand, "true");
  EXPECT_FALSE(backup.secretFile);
  EXPECT_THAT(refusal(backupLine({"--secret-command", "a", "--secret-file", "b"})),
              HasSubstr("exclude each other"));
}

Arguments backupOf(const Arguments& server) {
  Arguments all{"backup", "--to", "/b"};
  all.insert(all.end(), server.begin(), server.end());
  return all;
}

TEST(CommandTable, AServerIsNamedInExactlyOneWay) {
  EXPECT_EQ(std::get<BackupArguments>(parseCommandLine(backupOf({"--instance", "school"}))).instance,
            "school");
  EXPECT_TRUE(std::get<BackupArguments>(parseCommandLine(backupOf({"--all"}))).all);
  EXPECT_THAT(refusal(backupOf({})), HasSubstr("--instance NAME"));
  EXPECT_THAT(refusal(backupOf({"--instance", ""})), HasSubstr("--instance is empty"));
  for (const auto& both : {Arguments{"--instance", "x", "--all"}, Arguments{"--all", "--url", "u"},
                           Arguments{"--instance", "x", "--client-id", "c"}})
    EXPECT_THAT(refusal(backupOf(both)), HasSubstr("exclude each other")) << both.front();
  EXPECT_THAT(refusal(backupOf({"--instance", "x", "--name", "n"})), HasSubstr("--name goes with --url"));
  EXPECT_THAT(refusal({"simulate", "--to", "/b", "--all"}), HasSubstr("unknown option --all"));
}

TEST(CommandTable, OneSecretIsNotForAllServers) {
  EXPECT_THAT(refusal(backupOf({"--all", "--secret-file", "f"})),
              HasSubstr("--all takes the secret of each"));
  EXPECT_THAT(refusal(backupOf({"--all", "--secret-command", "c"})),
              HasSubstr("--all takes the secret of each"));
}

TEST(CommandTable, VariablesOfAnotherServerGiveWay) {
  Variables variables;
  for (const auto& [name, value] :
       {std::pair{"ORVIK_URL", "u"}, {"ORVIK_CLIENT_ID", "c"}, {"ORVIK_SECRET_FILE", "f"}})
    variables.set(name, value);
  const auto all = std::get<BackupArguments>(parseCommandLine(backupOf({"--all"})));
  EXPECT_TRUE(all.all && all.url.empty() && all.clientID.empty() && !all.secretFile);
  const auto one = std::get<BackupArguments>(parseCommandLine(backupOf({"--instance", "x"})));
  EXPECT_TRUE(one.url.empty());
  EXPECT_EQ(one.secretFile, "f");
}

TEST(CommandTable, ReportsAreWrittenUnlessTheyAreLeftOut) {
  EXPECT_FALSE(parsed({}).noReports);
  EXPECT_TRUE(parsed({"--no-reports"}).noReports);
}

TEST(CommandTable, AnEmptyNameOfAReportIsRefused) {
  EXPECT_THAT(refusal({"simulate", "--report", ""}), testing::StartsWith("--report is empty."));
}

TEST(CommandTable, DevicesAndFilesHaveTheirOptions) {
  const auto plain = parsed({});
  EXPECT_FALSE(plain.noFiles || plain.classicDevices || plain.fullRefresh);
  EXPECT_EQ(plain.downloads, 2);
  EXPECT_FALSE(plain.mount || plain.staging);

  const auto backup = parsed({"--no-files", "--classic-devices", "--full-refresh", "--downloads", "3",
                              "--mount", "/mnt/share", "--staging", "/var/tmp/orvik"});
  EXPECT_TRUE(backup.noFiles && backup.classicDevices && backup.fullRefresh);
  EXPECT_EQ(backup.downloads, 3);
  EXPECT_EQ(backup.mount, "/mnt/share");
  EXPECT_EQ(backup.staging, "/var/tmp/orvik");
  EXPECT_THAT(refusal(backupLine({"--downloads", "0"})), HasSubstr("--downloads"));
}

TEST(CommandTable, ASimulationUnderstandsTheOptionsOfABackup) {
  auto line = backupLine({"--only", "policies", "--keep", "3"});
  line.front() = "simulate";
  const auto simulation = std::get<SimulationArguments>(parseCommandLine(line));
  EXPECT_THAT(simulation.backup.only, testing::ElementsAre("policies"));
  EXPECT_EQ(
      refusal({"simulate", "--to", "x"}),
      "The server is missing: name it with --instance NAME, or with --url URL and --client-id ID. See orvik "
      "simulate --help.");
}

TEST(CommandTable, AStrayArgumentIsNotRepeatedForItMayBeASecret) {
  EXPECT_THAT(refusal({"S3CRET"}), Not(HasSubstr("S3CRET")));
  EXPECT_THAT(refusal(backupLine({"-pS3CRET"})), Not(HasSubstr("S3CRET")));
  EXPECT_THAT(refusal(backupLine({"--token=S3CRET"})), Not(HasSubstr("S3CRET")));
  EXPECT_THAT(refusal(backupLine({"S3CRET"})), Not(HasSubstr("S3CRET")));
}

TEST(CommandTable, ARefusalNamesWhatWasProbablyMeant) {
  EXPECT_EQ(refusal({"bakcup"}), "unknown command bakcup; near it: backup. See orvik --help.");
  EXPECT_EQ(refusal({"explode"}), "unknown command explode. See orvik --help.");
  EXPECT_EQ(refusal({"instances", "ad"}),
            "unknown command instances ad; near it: add. See orvik instances --help.");
  EXPECT_EQ(refusal({"lock", "break", "/f"}), "unknown command lock break. See orvik lock --help.");
  EXPECT_EQ(refusal({"diff", "/f", "--jsn"}),
            "unknown option --jsn; near it: --json. See orvik diff --help.");
  EXPECT_EQ(refusal({"diff", "/f", "--jsn", "--quit"}),
            "unknown option --jsn, --quit. See orvik diff --help.");
}

TEST(CommandTable, WhatMayBeASecretIsNotRepeatedInPlaceOfACommand) {
  EXPECT_EQ(refusal({"instances", "S3CRET"}), "There is an argument too many. See orvik instances --help.");
  EXPECT_EQ(refusal({"diff", "/f", "--jsn=S3CRET"}),
            "unknown option --jsn; near it: --json. See orvik diff --help.");
}

TEST(CommandTable, WrongUsageIsRefused) {
  EXPECT_THAT(refusal({}), HasSubstr("A command is missing"));
  EXPECT_THAT(refusal({"explode"}), HasSubstr("unknown command explode"));
  EXPECT_THAT(refusal({"--frob"}), HasSubstr("unknown option --frob"));
  EXPECT_THAT(refusal(backupLine({"--frob"})), HasSubstr("unknown option --frob"));
  EXPECT_THAT(refusal({"backup"}), HasSubstr("--to is missing"));
  EXPECT_THAT(refusal({"backup", "--to", "x", "--client-id", "c"}), HasSubstr("--url is missing"));
  EXPECT_THAT(refusal({"backup", "--to", "x", "--url", "u"}), HasSubstr("--client-id is missing"));
  EXPECT_THAT(refusal({"backup", "--to"}), HasSubstr("--to"));
  for (const Arguments& bad :
       {Arguments{"--rate", "nan"}, Arguments{"--rate", "-1"}, Arguments{"--rate", "inf"},
        Arguments{"--rate", "3x"}, Arguments{"--concurrency", "0"}, Arguments{"--concurrency", "65"},
        Arguments{"--concurrency", "1.5"}, Arguments{"--attempts", "0"}, Arguments{"--base-delay", "-1"},
        Arguments{"--lock-wait", "x"}, Arguments{"--rate="}, Arguments{"--to", "second"}})
    EXPECT_THAT(refusal(backupLine(bad)), HasSubstr(bad.front().substr(0, bad.front().find('='))));
  EXPECT_THAT(refusal({"demo", "--fleet", "huge"}), HasSubstr("--fleet"));
  EXPECT_THAT(refusal({"sample-server", "--port", "65536"}), HasSubstr("--port"));
}

TEST(CommandTable, AStrayArgumentIsNotRepeated) {
  EXPECT_THAT(refusal(backupLine({"hidden"})), Not(HasSubstr("hidden")));
  EXPECT_THAT(refusal(backupLine({"--secret=hidden"})), Not(HasSubstr("hidden")));
  EXPECT_THAT(refusal(backupLine({"--secret", "hidden"})), Not(HasSubstr("hidden")));
  EXPECT_THAT(refusal({"--secret=hidden"}), Not(HasSubstr("hidden")));
}

TEST(CommandTable, HelpHasAnExampleForEachCommand) {
  const auto text = [](const Arguments& arguments) {
    return std::get<PrintText>(parseCommandLine(arguments)).text;
  };
  EXPECT_EQ(text({"--version"}), "orvik " ORVIK_VERSION);
  for (const std::string command : {"backup", "simulate", "pack", "gc", "retention", "check", "repair",
                                    "stats", "demo", "sample-server", "export-server", "patch-report"}) {
    EXPECT_THAT(text({"--help"}), HasSubstr(command));
    EXPECT_THAT(text({command, "--help"}), testing::ContainsRegex("Examples?:\n  orvik " + command));
    EXPECT_THAT(text({command, "--help"}), HasSubstr("Usage: orvik " + command + " "));
  }
  for (const std::string command : {"show", "unlock"}) {
    EXPECT_THAT(text({"lock", "--help"}), HasSubstr(command));
    EXPECT_THAT(text({"lock", command, "--help"}), HasSubstr("Example:\n  orvik lock " + command));
    EXPECT_THAT(text({"lock", command, "--help"}), HasSubstr("Usage: orvik lock " + command + " "));
  }
  for (const std::string command : {"group", "device", "attribute"}) {
    EXPECT_THAT(text({"relations", "--help"}), HasSubstr(command));
    EXPECT_THAT(text({"relations", command, "--help"}), HasSubstr("\n  orvik relations " + command));
  }
}

TEST(CommandTable, TheOtherCommandsReadTheirOptions) {
  const auto demo = std::get<DemoArguments>(parseCommandLine({"demo", "--to", "/d", "--fleet", "school"}));
  EXPECT_EQ(demo.to, "/d");
  EXPECT_EQ(demo.fleet, "school");
  const auto server = std::get<SampleServerArguments>(
      parseCommandLine({"sample-server", "--port", "8080", "--seed", "18446744073709551615", "--json"}));
  EXPECT_EQ(server.port, 8080);
  EXPECT_EQ(server.seed, 18446744073709551615u);
  EXPECT_TRUE(server.json);
}

TEST(CommandTable, CommandsOnAFolderReadTheirOptions) {
  const auto pack = std::get<PackArguments>(
      parseCommandLine({"pack", "/f", "--key", "k", "--lock-wait", "7", "--json", "--quiet"}));
  EXPECT_EQ(pack.at.folder, "/f");
  EXPECT_EQ(pack.at.key, "k");
  EXPECT_EQ(pack.at.lockWait, 7);
  EXPECT_TRUE(pack.at.json && pack.at.quiet);
  const auto gc = std::get<CollectArguments>(parseCommandLine({"gc", "--dry-run", "/f"}));
  EXPECT_EQ(gc.at.folder, "/f");
  EXPECT_TRUE(gc.deletion.dryRun);
  EXPECT_FALSE(gc.deletion.yes || gc.deletion.withUnfinished);
  const auto retention = std::get<RetentionArguments>(
      parseCommandLine({"retention", "/f", "--keep=3", "--keep-days", "30", "--yes", "--with-unfinished"}));
  EXPECT_EQ(retention.keep, (RetentionPolicy{3, 30}));
  EXPECT_TRUE(retention.deletion.yes && retention.deletion.withUnfinished);
  const auto show = std::get<ShowLockArguments>(parseCommandLine({"lock", "show", "/f", "--json"}));
  EXPECT_EQ(show.folder, "/f");
  EXPECT_TRUE(show.json);
  const auto unlock = std::get<UnlockArguments>(
      parseCommandLine({"lock", "unlock", "/f", "--yes", "--force", "--holder", "a on b"}));
  EXPECT_EQ(unlock.folder, "/f");
  EXPECT_EQ(unlock.holder, "a on b");
  EXPECT_TRUE(unlock.yes && unlock.force);
}

TEST(CommandTable, CommandsThatCheckAndMendReadTheirOptions) {
  const auto check =
      std::get<CheckArguments>(parseCommandLine({"check", "/f", "--read-data", "2/7", "--key=k"}));
  EXPECT_EQ(check.at.folder, "/f");
  EXPECT_EQ(check.at.key, "k");
  EXPECT_EQ(check.read, (ReadingRequest{ReadingRequest::Part{2, 7}}));
  EXPECT_FALSE(std::get<CheckArguments>(parseCommandLine({"check", "/f"})).read);
  EXPECT_THAT(refusal({"check", "/f", "--read-data=8/7"}), HasSubstr("--read-data takes a part such as 1/7"));
  const auto repair = std::get<RepairArguments>(
      parseCommandLine({"repair", "/f", "--dry-run", "--yes", "--lock-wait", "7", "--json"}));
  EXPECT_TRUE(repair.dryRun && repair.yes && repair.at.json);
  EXPECT_EQ(repair.at.lockWait, 7);
  EXPECT_TRUE(std::get<StatsArguments>(parseCommandLine({"stats", "/f", "--quiet"})).at.quiet);
}

TEST(CommandTable, WrongUsageOfCommandsOnAFolderIsRefused) {
  for (const Arguments& command :
       {Arguments{"pack"}, Arguments{"gc"}, Arguments{"retention", "--keep=1"}, Arguments{"check"},
        Arguments{"repair"}, Arguments{"stats"}, Arguments{"lock", "show"}, Arguments{"lock", "unlock"}})
    EXPECT_THAT(refusal(command), HasSubstr("The instance folder is missing. See orvik " + command[0]));
  EXPECT_THAT(refusal({"lock", "show"}), HasSubstr("See orvik lock show --help."));
  EXPECT_THAT(refusal({"lock"}), HasSubstr("show or unlock"));
  EXPECT_THAT(refusal({"lock", "break", "/f"}), HasSubstr("orvik lock --help"));
  EXPECT_THAT(refusal({"gc", "/f", "/g"}), HasSubstr("an argument too many. See orvik gc --help."));
  EXPECT_THAT(refusal({"lock", "show", "/f", "--yes"}), HasSubstr("unknown option --yes"));
  EXPECT_THAT(refusal({"retention", "/f"}), HasSubstr("A limit is missing"));
  EXPECT_THAT(refusal({"retention", "/f", "--keep=0", "--keep-days", "0"}), HasSubstr("A limit is missing"));
}

TEST(CommandTable, ALimitIsAPlainWholeNumber) {
  for (const std::string limit :
       {"-1", "1.5", "010", "0x10", "ten", "1000001", "99999999999999999999", "+3", ""})
    EXPECT_THAT(refusal({"retention", "/f", "--keep=" + limit}), HasSubstr("--keep")) << limit;
  EXPECT_EQ(parsed({"--keep", "10", "--keep-days=7", "--no-pack"}).keep, (RetentionPolicy{10, 7}));
  EXPECT_TRUE(parsed({"--no-pack"}).noPack);
}

TEST(CommandTable, NoVariableStandsInForYesOrForce) {
  Variables variables;
  variables.set("ORVIK_YES", "1");
  variables.set("ORVIK_FORCE", "1");
  variables.set("ORVIK_HOLDER", "a on b");
  variables.set("ORVIK_KEEP", "5");
  variables.set("ORVIK_WITH_UNFINISHED", "yes");
  const auto unlock = std::get<UnlockArguments>(parseCommandLine({"lock", "unlock", "/f"}));
  EXPECT_FALSE(unlock.yes || unlock.force);
  EXPECT_EQ(unlock.holder, "a on b");
  const auto retention = std::get<RetentionArguments>(parseCommandLine({"retention", "/f"}));
  EXPECT_FALSE(retention.deletion.yes);
  EXPECT_TRUE(retention.deletion.withUnfinished);
  EXPECT_EQ(retention.keep, (RetentionPolicy{5, 0}));
}

TEST(CommandTable, JSONIsAskedForEvenInALineThatCannotBeRead) {
  EXPECT_TRUE(asksForJSON({"backup", "--frob", "--json"}));
  EXPECT_FALSE(asksForJSON({"backup"}));
  Variables variables;
  variables.set("ORVIK_JSON", "true");
  EXPECT_TRUE(asksForJSON({"backup"}));
  variables.set("ORVIK_JSON", "maybe");
  EXPECT_FALSE(asksForJSON({"backup"}));
}

TEST(Environment, AHyphenBecomesAnUnderscore) {
  EXPECT_EQ(environment::variableFor("lock-wait"), "ORVIK_LOCK_WAIT");
}

}  // namespace
}  // namespace orvik::host
