#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OrvikCore/Reports/BackupReports.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Security/InMemoryKeyProvider.h"
#include "Platform/Host.h"
#include "Platform/JSON/Value.h"
#include "tests/Support/Folders.h"
#include "tests/Support/HostFixture.h"
#include "tests/Support/JSONLines.h"
#include "tests/Support/OrganisationFiles.h"
#include "tests/Support/PDFText.h"

namespace orvik {
namespace {

using test::PDFText;
using test::ProgramStart;
using test::runToEnd;
using testing::HasSubstr;
using testing::Not;
namespace files = platform::files;

constexpr std::array names{BackupReports::backupReportFile, BackupReports::securityReportFile};

/// The reports that the real program writes after real runs.
class Reports : public test::HostFixture {
 protected:
  files::Path latest() const { return repository().backupDirectory(repository().latestComplete()->id); }
  PDFText report(std::string_view name) const { return PDFText(files::read(latest() / name)); }

  ProgramStart simulation(const Arguments& more) const {
    auto arguments = backupWithoutSecret({"--secret-file", secretFile.string()});
    arguments.front() = "simulate";
    arguments.insert(arguments.end(), more.begin(), more.end());
    return start(arguments);
  }

  /// What nobody may learn from a document: also what its streams and metadata hold.
  void expectNoSecrets(const PDFText& document) const {
    for (const auto& text : {document.text(), document.unpacked()})
      for (const auto& secret : {server.clientSecret(), std::string("Bearer"), std::string("Signature="),
                                 std::string("Expires="), std::string("Key-Pair-Id")})
        EXPECT_THAT(text, Not(HasSubstr(secret)));
    EXPECT_THAT(document.text(), Not(testing::ContainsRegex("[0-9a-f]{32}")));  // as tokens are
  }
};

TEST_F(Reports, ABackupHasBothAndTheyTellOfItsRun) {
  const auto end = runToEnd(backup());
  ASSERT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.error, Not(HasSubstr("Reports not created")));
  for (const auto name : names) EXPECT_EQ(report(name).faults(), "") << name;
  const auto security = report(BackupReports::securityReportFile).flowing();
  EXPECT_THAT(security, HasSubstr("Run by " + platform::userWithFullName() + " on "));
  EXPECT_THAT(security, HasSubstr("Client ID " + server.clientID()));
  EXPECT_THAT(security, HasSubstr("Client secret from the file "));
  EXPECT_THAT(security,
              testing::ContainsRegex("Read-only: every one of the [1-9][0-9]* API requests was a GET."));
  EXPECT_THAT(report(BackupReports::backupReportFile).flowing(),
              HasSubstr("Every enabled section was backed up."));
}

TEST_F(Reports, OfPackageFilesTellTheirSourceAndNoSecret) {
  ASSERT_EQ(runToEnd(backup({"--only", "packages,jcdsFiles,packageFiles,scripts"})).status, 0);
  EXPECT_THAT(report(BackupReports::securityReportFile).flowing(),
              testing::ContainsRegex("File downloads: [1-9][0-9]* completed from "));
  for (const auto name : names) expectNoSecrets(report(name));
}

TEST_F(Reports, CanBeLeftOut) {
  ASSERT_EQ(runToEnd(backup({"--no-reports"})).status, 0);
  for (const auto name : names) EXPECT_FALSE(BackupReports::hasReport(name, latest()));
}

TEST_F(Reports, OfASealedFolderAreSealed) {
  const auto organisation = test::OrganisationFiles::make(folder.path());
  ASSERT_EQ(runToEnd(backup({"--encrypt", "--key", organisation.key.string()})).status, 0);
  const auto cipher = BackupEncryption::unlock(repository().instanceDirectory,
                                               InMemoryKeyProvider::fromFile(organisation.key));
  BackupEncryption::forgetKeys();
  for (const auto name : names) {
    EXPECT_FALSE(files::exists(latest() / name));
    const auto sealed = files::read(latest() / (std::string(name) + ".enc"));
    EXPECT_TRUE(BackupCipher::isSealed(sealed));
    EXPECT_EQ(PDFText(cipher.open(sealed)).faults(), "");
  }
}

TEST_F(Reports, TellWhatRetentionDeleted) {
  ASSERT_EQ(runToEnd(backup()).status, 0);
  const auto first = repository().latestComplete()->id;
  ASSERT_EQ(runToEnd(backup({"--keep", "1"})).status, 0);
  EXPECT_THAT(report(BackupReports::backupReportFile).flowing(),
              HasSubstr("Removed 1 old backup(s), freed "));
  EXPECT_THAT(files::read(latest() / "audit.jsonl"), HasSubstr("backups deleted: " + first));
}

TEST_F(Reports, ThatCannotBeWrittenAreANoteAndFailNoBackup) {
  const auto noFonts = folder / "fonts.conf";
  test::write(noFonts, "<fontconfig/>");
  auto first = backup({"--json"});
  first.environment["FONTCONFIG_FILE"] = noFonts.string();
  const auto end = runToEnd(first);
  EXPECT_EQ(end.status, 0) << end.output;
  const auto lines = test::jsonLines(end.output);
  EXPECT_EQ(*lines.back().find("event")->string(), "finished");
  const auto& before = lines[lines.size() - 2];
  EXPECT_EQ(*before.find("event")->string(), "note");
  EXPECT_THAT(*before.find("text")->string(),
              testing::StartsWith("Reports not created: A PDF can't be made"));

  auto second = backup();
  second.environment["FONTCONFIG_FILE"] = noFonts.string();
  EXPECT_THAT(runToEnd(second).error, HasSubstr("Reports not created: "));
}

TEST_F(Reports, OfASimulationGoesWhereItIsAskedForAndNowhereElse) {
  ASSERT_EQ(runToEnd(backup()).status, 0);
  const auto before = test::contentOf(root);
  ASSERT_TRUE(server.change("buildings", server.ids("buildings").front()));
  const auto file = folder / "what would be.pdf";
  for (int round = 0; round < 2; ++round) {  // the second one replaces the first
    const auto end = runToEnd(simulation({"--report", file.string()}));
    ASSERT_EQ(end.status, 0) << end.error;
  }
  const PDFText document(files::read(file));
  EXPECT_EQ(document.faults(), "");
  EXPECT_THAT(document.flowing(), HasSubstr("A backup would succeed."));
  EXPECT_THAT(document.flowing(), HasSubstr("Changed (1)"));
  expectNoSecrets(document);
  EXPECT_EQ(test::contentOf(root), before);
}

TEST_F(Reports, OfASimulatedFirstSealingTellsItsObjects) {
  ASSERT_EQ(runToEnd(backup()).status, 0);
  const auto before = test::contentOf(root);
  const auto organisation = test::OrganisationFiles::make(folder.path());
  const auto file = folder / "report.pdf";
  ASSERT_EQ(runToEnd(simulation({"--encrypt", "--key", organisation.key.string(), "--report", file.string()}))
                .status,
            0);
  EXPECT_THAT(PDFText(files::read(file)).flowing(), testing::ContainsRegex("Buildings Changed \\([1-9]"));
  EXPECT_EQ(test::contentOf(root), before);
}

TEST_F(Reports, APlaceThatCannotTakeAReportIsToldBeforeTheRun) {
  for (const auto& place : {folder / "none/report.pdf", folder.path(), folder / ""}) {
    const auto end = runToEnd(simulation({"--report", place.string()}));
    EXPECT_EQ(end.status, 2) << place;
    EXPECT_THAT(end.error, HasSubstr("--report"));
    EXPECT_THAT(end.error, Not(HasSubstr("Connecting")));
  }
}

}  // namespace
}  // namespace orvik
