#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Reports/BackupReports.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "Platform/Files/FaultSeam.h"
#include "tests/Support/Folders.h"
#include "tests/Support/PDFText.h"
#include "tests/Support/StoredBackups.h"
#include "tests/Support/TestKeys.h"

namespace orvik {
namespace {

using test::PDFText;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
namespace files = platform::files;
using Texts = std::vector<std::string>;

constexpr const char* lockedText =
    "Reports not created: the backup is encrypted and the organisation key is not on this Mac";

class ReportFiles : public testing::Test {
 protected:
  ReportFiles() { context.user = "ada"; }
  ~ReportFiles() override {
    files::disarmFaultSeam();
    BackupEncryption::forgetKeys();
  }

  void publish() {
    auto policies =
        stored.section("policies", {stored.item("1", "Secret policy", {{"classic", "{\"id\":1}"}})});
    stored.publish(id, {policies});
    AuditLog(directory()).recordLocal("START", "backup");
  }
  void seal() {
    stored.cipher = test::sealFolder(stored.folder.path());
    publish();
  }
  files::Path directory() const { return stored.repository.backupDirectory(id); }
  Texts write() const { return BackupReports::writeReports(stored.repository, id, context); }
  std::vector<AuditEntry> audit() const { return AuditLog::read(directory()); }
  std::optional<files::Path> readable(std::string_view name = "backup-report.pdf") const {
    return BackupReports::readableReport(name, directory(), stored.repository, temporary.path());
  }

  test::StoredBackups stored;
  const files::TempFolder temporary;
  const std::string id = test::StoredBackups::first;
  ReportContext context;
};

TEST_F(ReportFiles, BothAreWrittenBesideTheManifest) {
  publish();
  EXPECT_THAT(write(), IsEmpty());
  for (const auto* name : {"backup-report.pdf", "security-report.pdf"}) {
    const PDFText document(files::read(directory() / name));
    EXPECT_EQ(document.faults(), "") << name;
    EXPECT_THAT(document.flowing(), HasSubstr("ada")) << name;
  }
}

TEST_F(ReportFiles, TheirWritingIsInTheAuditLog) {
  publish();
  ASSERT_THAT(write(), IsEmpty());
  const auto entries = audit();
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[1].method, "WRITE");
  EXPECT_EQ(entries[1].target, "backup-report.pdf, security-report.pdf");
  EXPECT_EQ(entries[1].kind, AuditEntry::Kind::local);
  EXPECT_EQ(entries[1].detail, std::nullopt);
}

TEST_F(ReportFiles, WhatRetentionDeletedIsInTheAuditLog) {
  publish();
  context.retention = CleanupResult{{"2025-01-01T000000Z"}, 12, 3, 400};
  ASSERT_THAT(write(), IsEmpty());
  const auto entry = audit().back();
  EXPECT_EQ(entry.method, "DELETE");
  EXPECT_EQ(entry.target, "retention: 12 objects, 3 files no longer used");
  context.retention = CleanupResult{};
  ASSERT_THAT(write(), IsEmpty());
  EXPECT_EQ(audit().back().method, "WRITE");
}

TEST_F(ReportFiles, OfASealedBackupTheyAreSealed) {
  seal();
  ASSERT_THAT(write(), IsEmpty());
  EXPECT_EQ(audit().back().detail, "encrypted (.enc)");
  for (const auto* name : {"backup-report.pdf", "security-report.pdf"}) {
    EXPECT_FALSE(files::exists(directory() / name));
    const auto sealed = files::read(directory() / (std::string(name) + ".enc"));
    EXPECT_TRUE(BackupCipher::isSealed(sealed));
    EXPECT_EQ(PDFText(stored.cipher->open(sealed)).faults(), "");
  }
}

TEST_F(ReportFiles, ALockedInstanceGetsNone) {
  seal();
  BackupEncryption::forgetKeys();
  const auto before = test::contentOf(stored.folder.path());
  EXPECT_THAT(write(), ElementsAre(lockedText));
  EXPECT_EQ(test::contentOf(stored.folder.path()), before);
}

TEST_F(ReportFiles, ASealedBackupWhoseKeyRecordIsGoneGetsNone) {
  seal();
  BackupEncryption::forgetKeys();
  files::remove(stored.folder / "encryption.json");
  EXPECT_THAT(write(), ElementsAre(lockedText));
  EXPECT_FALSE(BackupReports::hasReport("backup-report.pdf", directory()));
}

TEST_F(ReportFiles, AnUnknownBackupIsNamed) {
  EXPECT_THAT(write(), ElementsAre("Backup " + id + " not found"));
  for (const auto* hostile : {"", "..", "a/b", ".hidden"})
    EXPECT_THAT(BackupReports::writeReports(stored.repository, hostile, context),
                ElementsAre(std::string("Backup ") + hostile + " not found"));
}

TEST_F(ReportFiles, AFullDiskIsTextsAndLeavesNoHalfReport) {
  publish();
  files::armFaultSeam(1, files::FaultAction::failFromThen, ENOSPC);
  const auto failures = write();
  files::disarmFaultSeam();
  ASSERT_EQ(failures.size(), 2U);
  for (const auto& failure : failures) {
    EXPECT_THAT(failure, StartsWith("Reports not created: Can't write "));
    EXPECT_THAT(failure, HasSubstr("No space left on device"));
  }
  EXPECT_THAT(files::visibleNames(directory()), ElementsAre("audit.jsonl", "manifest.json", "sections"));
}

TEST_F(ReportFiles, WhatIsWrittenAgainReplacesTheOldOnesInWhateverForm) {
  publish();
  ASSERT_THAT(write(), IsEmpty());
  const auto first = files::read(directory() / "backup-report.pdf");
  context.user = "bob";
  ASSERT_THAT(write(), IsEmpty());
  EXPECT_NE(files::read(directory() / "backup-report.pdf"), first);

  test::sealFolder(stored.folder.path());
  ASSERT_THAT(write(), IsEmpty());
  EXPECT_FALSE(files::exists(directory() / "backup-report.pdf"));
  EXPECT_TRUE(files::exists(directory() / "backup-report.pdf.enc"));
}

TEST_F(ReportFiles, AReportIsThereInEitherForm) {
  publish();
  EXPECT_FALSE(BackupReports::hasReport("backup-report.pdf", directory()));
  test::write(directory() / "backup-report.pdf.enc", "x");
  EXPECT_TRUE(BackupReports::hasReport("backup-report.pdf", directory()));
  EXPECT_FALSE(BackupReports::hasReport("security-report.pdf", directory()));
  test::write(directory() / "security-report.pdf", "x");
  EXPECT_TRUE(BackupReports::hasReport("security-report.pdf", directory()));
}

TEST_F(ReportFiles, APlainReportIsReadWhereItIs) {
  publish();
  ASSERT_THAT(write(), IsEmpty());
  EXPECT_EQ(readable(), directory() / "backup-report.pdf");
  EXPECT_THAT(files::visibleNames(temporary.path()), IsEmpty());
}

TEST_F(ReportFiles, ASealedReportIsOpenedIntoAFileOfItsOwnersAlone) {
  seal();
  ASSERT_THAT(write(), IsEmpty());
  for (int round = 0; round < 2; ++round) {  // the second one replaces the first
    const auto copy = readable();
    ASSERT_EQ(copy, temporary / (id + "-backup-report.pdf"));
    EXPECT_EQ(PDFText(files::read(*copy)).faults(), "");
    EXPECT_EQ(std::filesystem::status(*copy).permissions(), std::filesystem::perms(0600));
  }
  const auto slashed = BackupReports::readableReport("backup-report.pdf", directory() / "", stored.repository,
                                                     temporary.path());
  EXPECT_EQ(slashed, temporary / (id + "-backup-report.pdf"));
}

TEST_F(ReportFiles, WhatCannotBeOpenedIsNothing) {
  seal();
  EXPECT_EQ(readable(), std::nullopt);
  ASSERT_THAT(write(), IsEmpty());
  EXPECT_EQ(
      BackupReports::readableReport("backup-report.pdf", directory(), stored.repository, temporary / "none"),
      std::nullopt);
  const auto path = directory() / "backup-report.pdf.enc";
  auto bytes = files::read(path);
  bytes.back() = static_cast<char>(bytes.back() ^ 1);
  test::write(path, bytes);
  EXPECT_EQ(readable(), std::nullopt);
  BackupEncryption::forgetKeys();
  EXPECT_EQ(readable("security-report.pdf"), std::nullopt);
  EXPECT_THAT(files::visibleNames(temporary.path()), IsEmpty());
}

}  // namespace
}  // namespace orvik
