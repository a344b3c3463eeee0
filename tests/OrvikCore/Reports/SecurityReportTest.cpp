#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Reports/BackupLocation.h"
#include "OrvikCore/Reports/BackupReports.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "tests/Support/Folders.h"
#include "tests/Support/PDFText.h"
#include "tests/Support/SampleRecords.h"
#include "tests/Support/TestKeys.h"

namespace orvik {
namespace {

using test::auditEntry;
using test::PDFText;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
namespace files = platform::files;
using Kind = AuditEntry::Kind;

class SecurityReport : public testing::Test {
 protected:
  SecurityReport() {
    files::createDirectories(instance);
    context.user = "Ada Example (ada)";
    context.host = "mill";
    context.orvikVersion = "0.1.0";
    context.clientID = "4711-client";
    context.credentialSource = "the file /etc/secret";
    manifest.jamfProVersion = "11.15.1";
    entries = {request("JSSResource/policies"), request("JSSResource/policies/id/12"),
               request("JSSResource/policies/id/13"), local("START", "backup into " + instance.string())};
  }
  ~SecurityReport() override { BackupEncryption::forgetKeys(); }

  static AuditEntry request(const std::string& target, int status = 200, const std::string& outcome = "ok") {
    auto entry = auditEntry(target, outcome);
    entry.status = status;
    entry.bytes = 2000;
    entry.milliseconds = 12;
    return entry;
  }
  static AuditEntry local(const std::string& method, const std::string& target) {
    auto entry = auditEntry(target);
    entry.kind = Kind::local;
    entry.method = method;
    return entry;
  }
  static AuditEntry download(const std::string& target, const std::string& outcome = "ok") {
    auto entry = auditEntry(target, outcome);
    entry.kind = Kind::download;
    entry.status = 200;
    return entry;
  }
  void add(const std::string& section, SectionSummary::Status status = SectionSummary::Status::complete) {
    auto summary = test::summaryOf(section, status == SectionSummary::Status::complete);
    summary.title = "The " + section;
    summary.status = status;
    manifest.sections.push_back(summary);
  }

  PDFText pdf() const { return pdf(AuditTrail(entries)); }
  PDFText pdf(const AuditTrail& trail) const {
    return PDFText(BackupReports::securityReport(manifest, trail, instance, context, false));
  }
  /// Lines end behind a hyphen, too, where a word goes on.
  std::string text() const {
    return std::regex_replace(pdf().flowing(), std::regex("([A-Za-z])- ([A-Za-z])"), "$1-$2");
  }
  std::string simulated() const {
    return PDFText(BackupReports::securityReport(manifest, AuditTrail(entries), std::nullopt, context, true))
        .flowing();
  }

  files::TempFolder folder;
  files::Path instance = folder / "north.example.com";
  BackupManifest manifest = test::plainManifest("2025-03-04T091500Z");
  ReportContext context;
  std::vector<AuditEntry> entries;
};

TEST_F(SecurityReport, IsADocumentWithItsHeadingsInOrder) {
  const auto document = pdf();
  EXPECT_EQ(document.faults(), "");
  EXPECT_THAT(document.strays(), testing::IsEmpty());
  EXPECT_THAT(document.info(), HasSubstr("Orvik security report – 2025-03-04T091500Z"));
  EXPECT_THAT(document.info(), ContainsRegex("Author: +Ada Example \\(ada\\)"));
  const auto text = document.flowing();
  std::size_t from = 0;
  for (const auto* heading : {"Security report", "Who, what, where", "Read-only verification",
                              "Privileges of the API client", "Sensitive content in this backup",
                              "Requests by outcome", "Endpoints", "Actions on this Mac", "Action log"}) {
    from = text.find(heading, from);
    ASSERT_NE(from, std::string::npos) << heading;
  }
}

TEST_F(SecurityReport, TellsWhoReadWhatAndWhere) {
  const auto found = text();
  for (const auto* part : {"Backup 2025-03-04T091500Z", "Run by Ada Example (ada) on mill", "11.15.1",
                           "Client ID 4711-client", "Client secret from the file /etc/secret",
                           "Audit log audit.jsonl, 4 entries", "Folder permissions drwx"})
    EXPECT_THAT(found, HasSubstr(part));
  EXPECT_THAT(found, HasSubstr("Backup folder " + BackupLocation::describe(instance)));
}

TEST_F(SecurityReport, WarnsOfAFolderThatOthersCanRead) {
  std::filesystem::permissions(instance, std::filesystem::perms(0755));
  EXPECT_THAT(text(), HasSubstr("drwxr-xr-x — readable by other users of this Mac"));
  std::filesystem::permissions(instance, std::filesystem::perms(0700));
  EXPECT_THAT(text(), Not(HasSubstr("readable by other users")));
}

TEST_F(SecurityReport, AFolderWhosePermissionsCannotBeReadIsNoFailure) {
  instance = folder / "none";
  EXPECT_THAT(text(), HasSubstr("Folder permissions unknown"));
}

TEST_F(SecurityReport, ARunOfNothingButGETIsVerified) {
  const auto found = text();
  EXPECT_THAT(found, HasSubstr("Read-only: every one of the 3 API requests was a GET."));
  EXPECT_THAT(found, HasSubstr("API requests: 3, methods used: GET"));
  EXPECT_THAT(
      found,
      HasSubstr("Authentication: OAuth client credentials (POST api/oauth/token) — the only non-GET call; "
                "it returns a short-lived bearer token that is kept in memory only."));
  EXPECT_THAT(found,
              HasSubstr("Client secrets, bearer tokens and presigned download URLs are never written to the "
                        "backup, the logs or this report."));
  EXPECT_THAT(found, HasSubstr("File downloads: none."));
}

TEST_F(SecurityReport, APOSTOtherThanTheTokenRequestIsUnexpected) {
  entries.push_back(request("api/oauth/token"));
  entries.back().method = "POST";
  EXPECT_THAT(text(), HasSubstr("Read-only: every one of the 3 API requests was a GET."));
  entries.push_back(request("api/v1/buildings"));
  entries.back().method = "POST";
  const auto found = text();
  EXPECT_THAT(found, HasSubstr("Unexpected request methods: GET, POST"));
  EXPECT_THAT(found, HasSubstr("POST api/v1/buildings"));
  EXPECT_THAT(found, Not(HasSubstr("Read-only: every one")));
}

TEST_F(SecurityReport, ARunWithoutAnAuditLogProvesNothingAndSaysSo) {
  const auto found = pdf(AuditTrail::in(folder.path())).flowing();
  EXPECT_THAT(found, HasSubstr("Audit log audit.jsonl: missing or empty"));
  EXPECT_THAT(found, HasSubstr("API requests: 0, methods used: none"));
  EXPECT_THAT(found, HasSubstr("Every action of the run in order (0)."));
}

TEST_F(SecurityReport, TellsHowManyLinesOfTheLogAreDamaged) {
  AuditLog(folder.path()).record(request("a"));
  files::AppendFile(folder / "audit.jsonl").append("{\nnothing\n");
  EXPECT_THAT(pdf(AuditTrail::in(folder.path())).flowing(),
              HasSubstr("audit.jsonl, 1 entries, 2 damaged lines left out"));
}

TEST_F(SecurityReport, NamesTheSourcesOfCompletedDownloads) {
  auto index = test::emptyIndex("packageFiles");
  for (const auto* source : {"jcds", "Main Share"}) {
    index.items.push_back(test::itemWithID(source));
    index.items.back().file = FileRef{"Tool 1.pkg", {}, {}, source, FileRef::Status::downloaded, {}, {}, {}};
  }
  const BackupRepository repository(instance);
  BackupRepository::writeIndex(
      index, repository.backupDirectory(manifest.backupID) / BackupFormat::sectionPath("packageFiles"), {});
  for (const auto* target : {"jcds Tool 1.pkg", "jcds Other.pkg", "Main Share Tool 1.pkg"})
    entries.push_back(download(target));
  entries.push_back(download("Old Share Tool 1.pkg", "failed"));
  EXPECT_THAT(text(), HasSubstr("File downloads: 3 completed from jcds, Main Share"));
}

TEST_F(SecurityReport, ReadPrivilegesAloneAreGood) {
  manifest.privileges = {{"Read Policies", "read Scripts", "READ Users"}};
  const auto found = text();
  EXPECT_THAT(found,
              HasSubstr("All 3 privileges are read privileges. Good: the client cannot change Jamf Pro."));
  EXPECT_THAT(found, Not(HasSubstr("allow changes")));
}

TEST_F(SecurityReport, PrivilegesThatAllowChangesAreListed) {
  manifest.privileges = {{"Read Policies", "Update Policies", "Delete Scripts"}};
  const auto found = text();
  EXPECT_THAT(found,
              HasSubstr("2 of 3 privileges allow changes. Orvik never uses them; remove them from the API "
                        "role (see JAMF-API-ROLE.md)."));
  EXPECT_THAT(found, ContainsRegex("Update Policies.*Delete Scripts.*All privileges \\(3\\)"));
}

TEST_F(SecurityReport, AtMostTwoHundredPrivilegesThatAllowChangesAreListed) {
  manifest.privileges.emplace();
  for (int i = 0; i < 202; ++i) manifest.privileges->push_back("Update " + std::to_string(i));
  EXPECT_THAT(text(), HasSubstr("2 more"));
}

TEST_F(SecurityReport, WithoutPrivilegesThereIsAParagraphAndNoList) {
  for (const auto& privileges :
       {std::optional<std::vector<std::string>>(), std::optional(std::vector<std::string>())}) {
    manifest.privileges = privileges;
    const auto found = text();
    EXPECT_THAT(found,
                HasSubstr("Jamf Pro did not report the client's privileges (api/v1/auth). Check the API role "
                          "in Jamf Pro: it should contain read privileges only."));
    EXPECT_THAT(found, Not(HasSubstr("All privileges (")));
  }
}

TEST_F(SecurityReport, NamesTheSectionsThatWereRefused) {
  EXPECT_THAT(text(), Not(HasSubstr("Access was refused")));
  add("policies", SectionSummary::Status::notPermitted);
  add("scripts", SectionSummary::Status::notPermitted);
  add("users", SectionSummary::Status::failed);
  EXPECT_THAT(text(),
              HasSubstr("Access was refused (HTTP 403) for 2 section(s): The policies, The scripts. That is "
                        "safe; add the read privilege only if the section is needed."));
}

TEST_F(SecurityReport, SensitiveSectionsOfTheBackupStandInTheOrderOfTheCatalog) {
  add("webhooks");
  add("scripts");
  add("buildings");
  add("accounts", SectionSummary::Status::notPermitted);
  const auto found = text();
  EXPECT_THAT(found, HasSubstr("Treat the backup folder like the Jamf Pro server itself. It contains:"));
  const auto scripts =
      found.find("Script bodies are stored verbatim; scripts sometimes contain passwords or API keys.");
  const auto webhooks = found.find("Webhook targets, possibly with authentication details.");
  ASSERT_NE(scripts, std::string::npos);
  ASSERT_NE(webhooks, std::string::npos);
  EXPECT_LT(scripts, webhooks);
  EXPECT_THAT(found, Not(HasSubstr("Jamf Pro user accounts and their privileges.")));
}

TEST_F(SecurityReport, AFolderOfACloudServiceGetsItsSentenceAndALocalOneDoesNot) {
  const auto* sentence =
      "Limit sharing to the people who run backups, and check the provider's retention and access logs.";
  EXPECT_THAT(text(), Not(HasSubstr(sentence)));
  instance = "/Users/ada/Library/Mobile Documents/backups/north";
  EXPECT_THAT(text(), HasSubstr(std::string("The folder is on iCloud Drive. ") + sentence));
  instance = "/Users/ada/Library/CloudStorage/OneDrive-School/north";
  EXPECT_THAT(text(), HasSubstr(std::string("The folder is on OneDrive. ") + sentence));
}

TEST_F(SecurityReport, SaysThatAPlainFolderIsNotEncrypted) {
  EXPECT_THAT(text(),
              HasSubstr("Not encrypted. Anyone who can read the backup folder can read its content. "
                        "Encryption can be switched on with the EncryptBackups key in the configuration "
                        "profile."));
}

TEST_F(SecurityReport, NamesTheKeysOfASealedFolder) {
  test::sealFolder(instance);
  manifest.encryption = BackupManifest::EncryptionRef{"ORVIK-AEAD-v1", {"aa11", "bb22"}};
  const auto found = text();
  EXPECT_THAT(
      found,
      HasSubstr("Encrypted (ORVIK-AEAD-v1: AES-256-GCM) with the instance's data key, wrapped for the "
                "organisation key aa11, bb22. Objects, section indexes (names), the progress journal and "
                "these reports are sealed; package binaries, the manifest summary and this audit log are "
                "not."));
  EXPECT_THAT(found, Not(HasSubstr("made before the instance was encrypted")));
}

TEST_F(SecurityReport, ABackupFromBeforeTheSealingSaysWhatIsNotSealed) {
  test::sealFolder(instance);
  const auto found = text();
  EXPECT_THAT(found, HasSubstr("wrapped for the organisation key " + test::organisationKeyID() + "."));
  EXPECT_THAT(found, HasSubstr("This backup was made before the instance was encrypted"));
}

TEST_F(SecurityReport, ASimulationWritesNothingAndSaysSo) {
  const auto found = simulated();
  for (const auto* part :
       {"Backup Simulation (nothing written to the backup folder)", "Backup folder — (not written)",
        "Simulations write nothing to the backup folder."})
    EXPECT_THAT(found, HasSubstr(part));
  EXPECT_THAT(found, Not(HasSubstr("Not encrypted.")));
}

TEST_F(SecurityReport, CountsOutcomesMostFrequentFirst) {
  entries.push_back(request("a", 403, "notPermitted"));
  entries.push_back(request("b", 401, "notPermitted"));
  entries.push_back(request("c", 404, "notFound"));
  entries.push_back(request("d", 404, "notFound"));
  EXPECT_THAT(text(),
              HasSubstr("Outcome Requests ok 3 notFound 2 Refused – no privilege (403) 1 notPermitted 1 "));
}

TEST_F(SecurityReport, SumsEndpointsByTemplate) {
  entries.push_back(request("JSSResource/policies/id/14", 404, "notFound"));
  EXPECT_THAT(text(),
              HasSubstr("GET JSSResource/policies/id/{id} 3 1 6 KB 36 GET JSSResource/policies 1 0 2 KB 12"));
}

TEST_F(SecurityReport, ListsLocalActionsAndEveryActionOfAShortRun) {
  const auto found = text();
  EXPECT_THAT(
      found, ContainsRegex("Actions on this Mac Time Action What Details 2025-03-04T09:15:00Z START backup"));
  EXPECT_THAT(found, HasSubstr("Every action of the run in order (4)."));
  EXPECT_THAT(found, HasSubstr("GET JSSResource/policies/id/13 ok (200) 2 KB · 12 ms"));
}

TEST_F(SecurityReport, OfMoreThanThreeThousandActionsThoseAreListedThatAreNotable) {
  entries.clear();
  for (int i = 0; i < 2997; ++i) entries.push_back(request("quiet/" + std::to_string(i)));
  entries.push_back(request("loud", 500, "retry"));
  entries.push_back(download("jcds Tool.pkg"));
  entries.push_back(local("LOCK", "backup.lock"));
  EXPECT_THAT(text(), HasSubstr("Every action of the run in order (3000)."));
  entries.push_back(request("quiet"));
  const auto found = text();
  EXPECT_THAT(
      found,
      HasSubstr("3001 actions in total; listed here are all downloads, local actions and requests that "
                "did not answer 200 (3). The complete log is audit.jsonl in the backup folder."));
  const auto log = found.substr(found.find("3001 actions in total"));
  for (const auto* part : {"loud retry (500)", "jcds Tool.pkg", "LOCK backup.lock"})
    EXPECT_THAT(log, HasSubstr(part));
  EXPECT_THAT(log, Not(HasSubstr("quiet/")));
}

TEST_F(SecurityReport, TextsOfAnyKindStayWithinThePage) {
  const std::string hostile = "name\n\x1b[31m\u202e drop\xff " + std::string(10'000, 'x');
  manifest.instance.name = hostile;
  manifest.privileges = {{hostile, "Update " + hostile}};
  manifest.jamfProVersion = hostile;
  context.user = context.host = context.clientID = context.credentialSource = hostile;
  add("scripts", SectionSummary::Status::notPermitted);
  manifest.sections.back().title = hostile;
  auto entry = local(hostile, hostile);
  entry.outcome = hostile;
  entry.detail = hostile;
  entry.bytes = entry.milliseconds = std::numeric_limits<std::int64_t>::min();
  entries.push_back(entry);
  entry.kind = Kind::request;
  entries.push_back(entry);
  const auto document = pdf();
  EXPECT_EQ(document.faults(), "");
  EXPECT_THAT(document.strays(), testing::IsEmpty());
  EXPECT_LT(document.pages(), 25);
}

TEST_F(SecurityReport, TheSameInputGivesTheSameBytes) {
  const AuditTrail trail(entries);
  EXPECT_EQ(BackupReports::securityReport(manifest, trail, instance, context, false),
            BackupReports::securityReport(manifest, trail, instance, context, false));
}

}  // namespace
}  // namespace orvik
