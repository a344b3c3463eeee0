#include "orvikctl/ReportCommand.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Store/BackupLock.h"
#include "Platform/Host.h"
#include "tests/Support/OrganisationFiles.h"
#include "tests/Support/PDFText.h"
#include "tests/Support/SampleFolder.h"
#include "tests/Support/StoredBackups.h"
#include "tests/Support/TestKeys.h"
#include "tests/Support/Tool.h"

namespace {

using namespace orvik;
using test::PDFText;
using test::runTool;
using test::StoredBackups;
using testing::HasSubstr;
namespace files = platform::files;

class Report : public testing::Test {
 protected:
  ~Report() override { BackupEncryption::forgetKeys(); }

  void publish() {
    const auto policies =
        stored.section("policies", {stored.item("1", "Printers", {{"classic", "{\"id\":1}"}})});
    stored.publish(StoredBackups::first, {policies});
    stored.publish(StoredBackups::second, {policies}, StoredBackups::first);
  }
  /// Sealed for a key that only its file opens.
  void publishSealed() {
    stored.cipher =
        BackupEncryption::prepare(stored.folder.path(), InMemoryKeyProvider::fromFile(organisation.key));
    publish();
    BackupEncryption::forgetKeys();
  }

  test::ToolResult report(const ctl::Arguments& more = {}) const {
    ctl::Arguments arguments{"report", stored.folder.path().string()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return runTool(arguments);
  }
  files::Path directory(const std::string& id = StoredBackups::second) const {
    return stored.repository.backupDirectory(id);
  }

  StoredBackups stored;
  const files::TempFolder place;
  const test::OrganisationFiles organisation = test::OrganisationFiles::make(place.path());
  const files::Path out = place / "reports/of today";
};

TEST_F(Report, NeedsAFolderAndABackup) {
  EXPECT_EQ(runTool({"report"}).err, "orvikctl: instance folder required\n");
  for (const auto& result : {report(), report({"2001-01-01T000000Z"}), report({".."})}) {
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "orvikctl: no such backup\n");
  }
}

TEST_F(Report, WritesIntoTheFolderOfTheNewestBackupUnlessOneIsNamed) {
  publish();
  const auto newest = report();
  EXPECT_EQ(newest.status, 0) << newest.err;
  EXPECT_EQ(newest.out, "reports written to " + directory().string() + "\n");
  EXPECT_FALSE(files::exists(directory(StoredBackups::first) / "backup-report.pdf"));
  EXPECT_EQ(report({StoredBackups::first}).out,
            "reports written to " + directory(StoredBackups::first).string() + "\n");
  for (const auto* name : {"backup-report.pdf", "security-report.pdf"})
    EXPECT_EQ(PDFText(files::read(directory(StoredBackups::first) / name)).faults(), "");
}

TEST_F(Report, SaysWhoMadeItAndThatItWasMadeLater) {
  publish();
  ASSERT_EQ(report().status, 0);
  const auto text = PDFText(files::read(directory() / "security-report.pdf")).flowing();
  EXPECT_THAT(text, HasSubstr("Run by " + platform::userWithFullName() + " on " + BackupLock::currentHost()));
  EXPECT_THAT(text, HasSubstr("Client ID unknown"));
  EXPECT_THAT(text, HasSubstr("Client secret from — (report created later with orvikctl)"));
  EXPECT_THAT(PDFText(files::read(directory() / "backup-report.pdf")).flowing(), HasSubstr("orvikctl"));
}

TEST_F(Report, OfASealedBackupIsSealed) {
  publishSealed();
  const auto result = report({"--key", organisation.key.string()});
  EXPECT_EQ(result.out, "reports written to " + directory().string() + " (encrypted, *.enc)\n");
  for (const auto* name : {"backup-report.pdf", "security-report.pdf"}) {
    EXPECT_FALSE(files::exists(directory() / name));
    EXPECT_EQ(PDFText(stored.cipher->open(files::read(directory() / (std::string(name) + ".enc")))).faults(),
              "");
  }
}

TEST_F(Report, OfALockedFolderFailsWithItsSentence) {
  publishSealed();
  const auto before = test::contentOf(stored.folder.path());
  const auto result = report();
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(
      result.err,
      "orvikctl: Reports not created: the backup is encrypted and the organisation key is not on this Mac\n");
  EXPECT_EQ(test::contentOf(stored.folder.path()), before);
}

TEST_F(Report, OutMakesTheFolderAndPrintsBothFiles) {
  publish();
  const auto result = report({"--out", out.string()});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out,
            (out / "backup-report.pdf").string() + "\n" + (out / "security-report.pdf").string() + "\n");
  for (const auto* name : {"backup-report.pdf", "security-report.pdf"})
    EXPECT_EQ(PDFText(files::read(out / name)).faults(), "");
  EXPECT_FALSE(files::exists(directory() / "backup-report.pdf"));
}

TEST_F(Report, OutOfASealedBackupLeavesPlainDocuments) {
  publishSealed();
  ASSERT_EQ(report({"--out", out.string(), "--key", organisation.key.string()}).status, 0);
  EXPECT_EQ(PDFText(files::read(out / "backup-report.pdf")).faults(), "");
  EXPECT_THAT(PDFText(files::read(out / "backup-report.pdf")).flowing(), HasSubstr("Printers"));
  EXPECT_EQ(PDFText(files::read(out / "security-report.pdf")).faults(), "");
  EXPECT_FALSE(files::exists(directory() / "backup-report.pdf.enc"));
}

TEST_F(Report, OutOfALockedFolderNamesTheKeyAndWritesNothing) {
  publishSealed();
  const auto keyID = BackupEncryption::keyIDs(stored.folder.path()).front();
  const auto result = report({"--out", out.string()});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err,
            "orvikctl: This backup is encrypted with the organisation key " + keyID +
                ", which is not installed on this Mac. Deploy the Orvik organisation key profile.\n");
  EXPECT_FALSE(files::exists(out));
}

TEST_F(Report, AnOutThatIsNoFolderIsAFailureThatNamesIt) {
  publish();
  const auto file = place / "file";
  test::write(file, "mine");
  const auto result = report({"--out", file.string()});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr(file.string()));
  EXPECT_EQ(files::read(file), "mine");
}

}  // namespace
