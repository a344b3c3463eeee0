#include <gtest/gtest.h>

#include <chrono>
#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Security/CertificateKey.h"
#include "OrvikCore/Security/SecretEnvelope.h"
#include "OrvikCore/Store/BackupJournal.h"
#include "OrvikCore/Store/BackupLock.h"
#include "Platform/Base64.h"
#include "Platform/Concurrency/Cancellation.h"
#include "tests/Support/Commands.h"
#include "tests/Support/Folders.h"
#include "tests/Support/HostFixture.h"
#include "tests/Support/OrganisationFiles.h"
#include "tests/Support/SampleRecords.h"
#include "tests/Support/SoftToken.h"

namespace orvik {
namespace {

using test::OrganisationFiles;
using test::ProgramEnd;
using test::runToEnd;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
namespace files = platform::files;

/// `orvik backup` with keys that openssl makes. The user's data folder is below the test's own home.
class SealedBackup : public test::HostFixture {
 protected:
  ProgramEnd sealed(const Arguments& more = {}) const {
    Arguments arguments{"--encrypt", "--key", organisation.key.string()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return runToEnd(backup(arguments));
  }
  ProgramEnd withKey() const { return runToEnd(backup({"--key", organisation.key.string()})); }
  ProgramEnd keyless() const { return runToEnd(backup()); }
  static ProgramEnd tool(Arguments arguments) {
    arguments.insert(arguments.begin(), std::string(ORVIK_PROGRAM_FOLDER) + "/orvikctl");
    test::ProgramStart start;
    start.arguments = std::move(arguments);
    return runToEnd(start);
  }
  files::Path instance() const { return root / "127.0.0.1"; }
  files::Path record() const { return instance() / "encryption.json"; }
  std::map<std::string, std::string> content() const { return test::contentOf(instance()); }

  files::Path copies() const {
    return folder / ".local/share/orvik/encryption" / repository().descriptor()->id.text();
  }

  const OrganisationFiles organisation = OrganisationFiles::make(folder.path());
};

TEST_F(SealedBackup, SealsAndIsVerifiedWithTheKeyAlone) {
  const auto end = sealed();
  ASSERT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(repository().latestComplete()->manifest.formatVersion, 3);
  const auto id = tool({"key-info", "--cert", organisation.certificate.string()}).output.substr(12, 16);
  EXPECT_THAT(end.error, HasSubstr("Sealed from now on for the organisation key " + id + "."));
  EXPECT_EQ(tool({"verify", instance().string(), "--key", organisation.key.string()}).status, 0);
  EXPECT_EQ(tool({"verify", instance().string()}).status, 1);
  EXPECT_EQ(tool({"list", instance().string()}).status, 0);
}

TEST_F(SealedBackup, IsSealedByEveryLaterRunAndRefusedWithoutItsKey) {
  ASSERT_EQ(sealed().status, 0);
  ASSERT_EQ(withKey().status, 0);
  EXPECT_EQ(repository().completeBackups().size(), 2U);
  EXPECT_EQ(repository().latestComplete()->manifest.formatVersion, 3);

  const auto before = content();
  const auto other = OrganisationFiles::make(folder.path(), "other");
  for (const auto& end : {keyless(), runToEnd(backup({"--key", other.key.string()})),
                          runToEnd(backup({"--encrypt", "--key", other.key.string()}))}) {
    EXPECT_EQ(end.status, 12);
    EXPECT_THAT(end.error, HasSubstr("orvik: This backup is encrypted with the organisation key "));
  }
  EXPECT_EQ(content(), before);
}

TEST_F(SealedBackup, TakesAnIdentityOfTheUsersFolder) {
  const auto identities = folder / ".local/share/orvik/identities";
  std::filesystem::create_directories(identities);
  for (const auto& path : {organisation.key, organisation.certificate})
    std::filesystem::rename(path, identities / path.filename());
  EXPECT_EQ(runToEnd(backup({"--encrypt"})).status, 0);
  EXPECT_EQ(keyless().status, 0);
  EXPECT_EQ(repository().completeBackups().size(), 2U);
}

TEST_F(SealedBackup, AKeyThatOthersCanReadIsNotUsedAndTheReasonIsTold) {
  ASSERT_EQ(sealed().status, 0);
  const auto identities = folder / ".local/share/orvik/identities";
  std::filesystem::create_directories(identities);
  for (const auto& path : {organisation.key, organisation.certificate})
    std::filesystem::rename(path, identities / path.filename());
  ::chmod((identities / "org.key.pem").c_str(), 0644);
  const auto end = keyless();
  EXPECT_EQ(end.status, 12);
  EXPECT_THAT(end.error, HasSubstr("This mends it: chmod 600 " + (identities / "org.key.pem").string()));
}

TEST_F(SealedBackup, TakesAKeyThatCannotLeaveItsTokenAndTellsWhatThePINIsNeededFor) {
  const test::TokenFolder tokens;
  const test::SoftToken token(tokens, "Safe");
  token.makeIdentity("01");
  const auto withToken = [&](test::ProgramStart start, const std::string& pin) {
    start.environment["SOFTHSM2_CONF"] = tokens.file("softhsm2.conf").string();
    if (!pin.empty()) start.environment["ORVIK_PKCS11_PIN"] = pin;
    return runToEnd(start);
  };
  const auto first = withToken(backup({"--encrypt"}), {});  // to seal takes the public key alone
  ASSERT_EQ(first.status, 0) << first.error;
  const auto second = withToken(backup(), test::SoftToken::pin);
  EXPECT_EQ(second.status, 0) << second.error;
  EXPECT_THAT(second.error, HasSubstr("0 new or changed"));

  test::ProgramStart verify;
  verify.arguments = {std::string(ORVIK_PROGRAM_FOLDER) + "/orvikctl", "verify", instance().string()};
  EXPECT_EQ(withToken(verify, test::SoftToken::pin).status, 0);

  for (const auto& [pin, reason] :
       {std::pair{std::string(), "The token \"Safe\" asks for a PIN."},
        std::pair{std::string("0000"), "The PIN in ORVIK_PKCS11_PIN is not that of"}}) {
    const auto start = platform::MonotonicClock::now();
    const auto end = withToken(backup(), pin);
    EXPECT_EQ(end.status, 12);
    EXPECT_THAT(end.error, HasSubstr(reason));
    EXPECT_THAT(end.error, Not(HasSubstr("0000")));
    EXPECT_LT(platform::MonotonicClock::now() - start, std::chrono::seconds(5));
  }
}

TEST_F(SealedBackup, WithoutAnyKeyNothingIsBackedUp) {
  const auto end = runToEnd(backup({"--encrypt"}));
  EXPECT_EQ(end.status, 12);
  EXPECT_THAT(end.error,
              HasSubstr("Backups must be encrypted (EncryptBackups), but the Orvik organisation key "
                        "is not installed on this Mac."));
  EXPECT_TRUE(repository().completeBackups().empty());
}

TEST_F(SealedBackup, AKeyFileThatCannotBeUsedIsACredentialThatIsMissing) {
  for (const auto& path : {folder / "none", organisation.certificate}) {
    const auto end = runToEnd(backup({"--encrypt", "--key", path.string()}));
    EXPECT_EQ(end.status, 12);
    EXPECT_THAT(end.error, HasSubstr(path.string()));
  }
}

TEST_F(SealedBackup, APlainFolderIgnoresAKeyAndSaysSo) {
  const auto end = runToEnd(backup({"--key", (folder / "none").string()}));
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.error, HasSubstr("--key is not used: " + instance().string() + " is not sealed."));
}

TEST_F(SealedBackup, APlainFolderThatIsSealedKeepsItsOldBackupsReadable) {
  ASSERT_EQ(keyless().status, 0);
  const auto first = repository().latestComplete()->id;
  ASSERT_EQ(sealed().status, 0);
  EXPECT_EQ(tool({"verify", instance().string(), first}).status, 0);
  EXPECT_EQ(tool({"verify", instance().string(), "--key", organisation.key.string()}).status, 0);
}

TEST_F(SealedBackup, ARecordThatCannotBeReadIsNeverReplaced) {
  ASSERT_EQ(sealed().status, 0);
  const auto good = files::read(record());
  test::write(record(), "{");
  const auto before = content();
  for (const auto& end : {sealed(), withKey(), keyless()}) {
    EXPECT_EQ(end.status, 12);
    EXPECT_THAT(end.error, HasSubstr(record().string() + " can't be read, so nothing is written."));
  }
  EXPECT_EQ(content(), before);

  // The sentence tells a command that mends it.
  const auto message = keyless().error;
  const auto command = message.substr(message.find("cp "));
  ASSERT_EQ(test::runProgram("/bin/sh", {"-c", command}).status, 0) << command;
  EXPECT_EQ(files::read(record()), good);
  EXPECT_EQ(withKey().status, 0);
}

TEST_F(SealedBackup, ARecordThatIsGoneIsNeverReplaced) {
  ASSERT_EQ(sealed().status, 0);
  files::remove(record());
  const auto before = content();
  for (const auto& end : {sealed(), withKey(), keyless()}) {
    EXPECT_EQ(end.status, 12);
    EXPECT_THAT(end.error, HasSubstr(record().string() + " is missing, so nothing is written."));
  }
  EXPECT_EQ(content(), before);
}

TEST_F(SealedBackup, ARecordThatIsGoneBesideAnInterruptedSealedRunIsNotReplacedEither) {
  ASSERT_EQ(keyless().status, 0);
  const auto options = repository().latestComplete()->manifest.options;
  PartialBackupState{"2001-01-01T000000Z", {}, {}, options, 0, true}.save(
      repository().partialDirectory("2001-01-01T000000Z"));
  const auto before = content();
  EXPECT_EQ(keyless().status, 12);
  EXPECT_EQ(sealed().status, 12);
  EXPECT_EQ(content(), before);
}

TEST_F(SealedBackup, ARecordThatGoesWhileTheLockIsWaitedForIsNoWayIntoTheClear) {
  ASSERT_EQ(sealed().status, 0);
  for (const auto& arguments : {Arguments{"--key", organisation.key.string()},
                                Arguments{"--encrypt", "--key", organisation.key.string()}}) {
    const auto own = files::read(record());
    const auto lock = BackupLock::acquire(instance(), "test", platform::now());
    auto waiting = arguments;
    waiting.insert(waiting.end(), {"--lock-wait", "30"});
    test::RunningProgram program(backup(waiting));
    ASSERT_TRUE(program.waitFor("waiting up to"));
    files::remove(record());
    const auto end = program.wait();
    EXPECT_EQ(end.status, 12);
    EXPECT_THAT(end.error, HasSubstr("was changed or removed by somebody else just now"));
    EXPECT_FALSE(files::exists(record()));
    test::write(record(), own);
  }
  EXPECT_EQ(repository().completeBackups().size(), 1U);
}

TEST_F(SealedBackup, SomebodyElsesRecordForTheSameCertificateIsRefused) {
  ASSERT_EQ(sealed().status, 0);
  const auto own = files::read(record());
  const auto key = CertificateKey::x963PublicKey(files::read(organisation.certificate));
  const auto base64 = platform::base64Encode(std::string(32, 'x'));
  const EncryptionInfo forged{1,
                              "ORVIK-AEAD-v1",
                              *platform::parseISO8601("2030-01-01T00:00:00Z"),
                              {{SecretEnvelope::keyID(key), SecretEnvelope::encrypt(base64, key)}}};
  test::write(record(), BackupFormat::makeEncoder().encode(forged));
  for (const bool hasPlainIndex : {false, true}) {
    if (hasPlainIndex)
      BackupRepository::writeIndex(
          test::emptyIndex("buildings"),
          repository().backupDirectory(repository().latestComplete()->id) / "sections/buildings.json", {});
    const auto before = content();
    for (const auto& end : {withKey(), sealed()}) {
      EXPECT_EQ(end.status, 12);
      EXPECT_THAT(end.error, HasSubstr(record().string() + " is not the record that the backup "));
    }
    EXPECT_EQ(content(), before);
  }
  // Of the copies the one that is named is the folder's own.
  ASSERT_EQ(files::visibleNames(copies()).size(), 1U);
  EXPECT_EQ(files::read(copies() / files::visibleNames(copies())[0]), own);
}

TEST_F(SealedBackup, OneDamagedIndexOfTheNewestBackupDoesNotStopTheNext) {
  ASSERT_EQ(sealed().status, 0);
  const auto sections = repository().backupDirectory(repository().latestComplete()->id) / "sections";
  test::write(sections / "buildings.json", "ORVIK-AEAD1\ndamaged");
  EXPECT_EQ(withKey().status, 0);
}

TEST_F(SealedBackup, ThePINOfATokenDoesNotReachTheCommandThatPrintsTheSecret) {
  auto start = this->start(backupWithoutSecret(
      {"--secret-command", "cat '" + secretFile.string() + "'; env > '" + (folder / "seen").string() + "'"}));
  start.environment["ORVIK_PKCS11_PIN"] = "481516";
  EXPECT_EQ(runToEnd(start).status, 0);
  EXPECT_THAT(files::read(folder / "seen"), HasSubstr("HOME="));
  EXPECT_THAT(files::read(folder / "seen"), Not(HasSubstr("ORVIK_PKCS11_PIN")));
}

TEST_F(SealedBackup, KeepsACopyOfEachRecordByTheInstancesID) {
  ASSERT_EQ(sealed().status, 0);
  ASSERT_EQ(withKey().status, 0);
  auto names = files::visibleNames(copies());
  ASSERT_EQ(names.size(), 1U);
  EXPECT_EQ(files::read(copies() / names[0]), files::read(record()));

  // Another folder of the same server has a record of its own.
  const auto other = runToEnd(start({"backup", "--to", (folder / "elsewhere").string(), "--url", server.url(),
                                     "--client-id", server.clientID(), "--only", "sites", "--secret-file",
                                     secretFile.string(), "--encrypt", "--key", organisation.key.string()}));
  ASSERT_EQ(other.status, 0) << other.error;
  EXPECT_EQ(files::visibleNames(copies()).size(), 2U);
}

TEST_F(SealedBackup, AKeyIDThatIsNotAtHandIsRefusedAndTheOthersAreNamed) {
  const auto id = tool({"key-info", "--cert", organisation.certificate.string()}).output.substr(12, 16);
  const auto end = sealed({"--key-id", "0123456789abcdef"});
  EXPECT_EQ(end.status, 12);
  EXPECT_THAT(end.error, HasSubstr("There is no organisation key 0123456789abcdef; at hand: " + id + "."));
  EXPECT_FALSE(files::exists(record()));
  EXPECT_EQ(sealed({"--key-id", id}).status, 0);
}

}  // namespace
}  // namespace orvik
