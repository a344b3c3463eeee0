#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/BackupJournal.h"
#include "OrvikCore/Store/BackupVerifier.h"
#include "Platform/Concurrency/Cancellation.h"
#include "tests/Support/Folders.h"
#include "tests/Support/RunFixture.h"
#include "tests/Support/ScopedVariable.h"
#include "tests/Support/TestKeys.h"

namespace {

using namespace orvik;
using test::RunFixture;
using testing::Each;
using testing::Not;
namespace files = platform::files;

/// Runs that seal for the test's organisation key. The machine's own identities play no part.
class SealedRun : public testing::Test {
 protected:
  SealedRun() { fixture.bodies.classicSection("policies", "policies", 6); }
  ~SealedRun() override { BackupEncryption::forgetKeys(); }

  BackupJob plainJob() const {
    auto job = fixture.job({"policies"});
    job.options.maxConcurrentRequests = 1;  // one after another: it is known what stands before a stop
    return job;
  }
  BackupJob job() const {
    auto job = plainJob();
    job.encrypt = true;
    job.encryptionKeys = std::make_shared<InMemoryKeyProvider>(test::organisationKeys());
    return job;
  }
  BackupManifest run(const BackupJob& job, const std::stop_token& stop = {}) {
    return BackupEngine(job).run(ResumeInterrupted::yes, fixture.onEvent(), stop);
  }
  /// Ends a run when a path is asked for.
  void interruptAt(const BackupJob& job, const std::string& path) {
    std::stop_source stop;
    fixture.stopAt(path, stop);
    EXPECT_THROW(run(job, stop.get_token()), platform::CancellationError);
    fixture.onCall = {};
  }
  int problems(const BackupManifest& manifest) {
    return static_cast<int>(
        verifyBackup(fixture.repository(), {manifest.backupID, manifest}, [](const auto&) {}).problems);
  }
  files::Path backup(const BackupManifest& manifest) const {
    return fixture.repository().backupDirectory(manifest.backupID);
  }
  std::vector<std::string> objects() const {
    std::vector<std::string> all;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(fixture.root() / "store/objects"))
      if (entry.is_regular_file()) all.push_back(files::read(entry.path()));
    return all;
  }

  RunFixture fixture;
  const test::ScopedVariable data{"XDG_DATA_HOME", (fixture.folder / "data").string()};
};

MATCHER(IsSealed, "") { return BackupCipher::isSealed(arg); }

TEST_F(SealedRun, SealsObjectsAndIndexesAndSaysSoInItsManifest) {
  const auto manifest = run(job());
  EXPECT_EQ(manifest.formatVersion, 3);
  ASSERT_TRUE(manifest.encryption);
  EXPECT_EQ(manifest.encryption->scheme, "ORVIK-AEAD-v1");
  EXPECT_EQ(manifest.encryption->keyIDs, std::vector{test::organisationKeyID()});
  EXPECT_EQ(fixture.repository().manifest(manifest.backupID), manifest);
  EXPECT_EQ(objects().size(), 6U);
  EXPECT_THAT(objects(), Each(IsSealed()));
  EXPECT_TRUE(BackupCipher::isSealed(files::read(backup(manifest) / "sections/policies.json")));
  EXPECT_EQ(problems(manifest), 0);
}

TEST_F(SealedRun, NothingOfAnObjectStandsInTheFolderInTheClear) {
  run(job());
  for (const auto& [path, bytes] : test::contentOf(fixture.root()))
    EXPECT_THAT(bytes, Not(testing::HasSubstr("policies 3"))) << path;
}

TEST_F(SealedRun, ManifestAuditDescriptorAndRecordStayPlain) {
  const auto manifest = run(job());
  for (const auto& path :
       {backup(manifest) / "manifest.json", backup(manifest) / "audit.jsonl", backup(manifest) / "state.json",
        fixture.root() / "instance.json", fixture.root() / "encryption.json"})
    EXPECT_TRUE(files::read(path).starts_with('{')) << path;
}

TEST_F(SealedRun, AnUnchangedSecondRunStoresNothingAndComparesWithTheFirst) {
  run(job());
  const auto before = test::contentOf(fixture.root() / "store");
  const auto second = run(job());
  EXPECT_EQ(test::contentOf(fixture.root() / "store"), before);
  EXPECT_EQ(second.totals.newOrChangedObjects, 0);
  EXPECT_EQ(second.totals.objects, 6);
}

TEST_F(SealedRun, ASealedFolderIsSealedByRunsThatDoNotAskForItToo) {
  run(job());
  auto plain = job();
  plain.encrypt = false;
  BackupEncryption::forgetKeys();
  const auto manifest = run(plain);
  EXPECT_EQ(manifest.formatVersion, 3);
  EXPECT_THAT(objects(), Each(IsSealed()));
}

TEST_F(SealedRun, WithoutTheKeyNothingIsWrittenIntoASealedFolder) {
  run(job());
  BackupEncryption::forgetKeys();
  const auto before = test::contentOf(fixture.root());
  for (const bool encrypt : {false, true}) {
    auto keyless = job();
    keyless.encrypt = encrypt;
    keyless.encryptionKeys =
        std::make_shared<InMemoryKeyProvider>(std::vector{platform::P256PrivateKey::generate()});
    try {
      run(keyless);
      FAIL() << "it was written";
    } catch (const BackupEncryptionError& error) {
      EXPECT_EQ(error.kind(), BackupEncryptionError::Kind::locked);
      EXPECT_EQ(error.keyIDs(), std::vector{test::organisationKeyID()});
    }
  }
  EXPECT_EQ(test::contentOf(fixture.root()), before);
  EXPECT_FALSE(files::exists(fixture.root() / BackupFormat::lockFile));
}

TEST_F(SealedRun, WithoutAnyKeyAFirstSealedRunMakesNoBackup) {
  auto keyless = job();
  keyless.encryptionKeys = nullptr;  // the keychain, which is empty
  try {
    run(keyless);
    FAIL() << "it was written";
  } catch (const BackupEncryptionError& error) {
    EXPECT_EQ(error.kind(), BackupEncryptionError::Kind::noOrganisationKey);
  }
  EXPECT_FALSE(files::exists(fixture.root() / "encryption.json"));
  EXPECT_FALSE(files::exists(fixture.root() / "store"));
  EXPECT_EQ(fixture.reader->calls().size(), 0U);
}

TEST_F(SealedRun, APlainFolderThatIsSealedLaterKeepsItsOldBackupsReadableWithoutAKey) {
  const auto plain = run(plainJob());
  const auto sealed = run(job());
  EXPECT_EQ(sealed.parentBackupID, plain.backupID);
  EXPECT_EQ(objects().size(), 12U) << "all objects are stored anew under hidden names";
  BackupEncryption::forgetKeys();
  EXPECT_EQ(problems(plain), 0);
  EXPECT_EQ(problems(sealed), 1);
  BackupEncryption::unlock(fixture.root(), test::organisationKeys());
  EXPECT_EQ(problems(plain), 0);
  EXPECT_EQ(problems(sealed), 0);
}

TEST_F(SealedRun, AnInterruptedSealedRunGoesOnFromItsSealedJournal) {
  interruptAt(job(), "JSSResource/policies/id/4");
  const auto id = fixture.repository().partialBackupIDs().at(0);
  const auto partial = fixture.repository().partialDirectory(id);
  EXPECT_EQ(PartialBackupState::load(partial)->encrypted, true);
  EXPECT_FALSE(files::read(partial / BackupFormat::journalFile).starts_with('{'));
  EXPECT_TRUE(BackupJournal::read(partial).empty());
  EXPECT_GE(BackupJournal::read(partial, fixture.repository().cipher()).size(), 3U);

  BackupEncryption::forgetKeys();
  const auto manifest = run(job());
  EXPECT_EQ(manifest.backupID, id);
  EXPECT_EQ(fixture.reader->count("JSSResource/policies/id/1"), 1U);
  EXPECT_EQ(problems(manifest), 0);
}

TEST_F(SealedRun, APlainPartialIsNotTakenUpByASealedRun) {
  interruptAt(plainJob(), "JSSResource/policies/id/4");
  const auto id = fixture.repository().partialBackupIDs().at(0);
  const auto manifest = run(job());
  EXPECT_NE(manifest.backupID, id);
  EXPECT_TRUE(fixture.repository().partialBackupIDs().empty());
}

TEST_F(SealedRun, AFolderWhoseRecordIsGoneIsNotWrittenInTheClear) {
  run(job());
  files::remove(fixture.root() / "encryption.json");
  BackupEncryption::forgetKeys();
  const auto before = test::contentOf(fixture.root());
  try {
    run(plainJob());
    FAIL() << "it was written";
  } catch (const BackupEncryptionError& error) {
    EXPECT_EQ(error.kind(), BackupEncryptionError::Kind::damaged);
  }
  EXPECT_EQ(test::contentOf(fixture.root()), before);
}

TEST_F(SealedRun, ARecordThatVanishesWhileTheRunGoesOnIsNotPublishedOver) {
  fixture.onCall = [&](const auto& call, auto&) {
    if (call.path == "JSSResource/policies/id/4") files::remove(fixture.root() / "encryption.json");
  };
  EXPECT_THROW(run(job()), tuv::Error);
  EXPECT_TRUE(fixture.repository().completeBackups().empty());
  EXPECT_EQ(fixture.repository().partialBackupIDs().size(), 1U);
}

TEST_F(SealedRun, ThePreferredKeyIsTheOnlyRecipientOfANewRecord) {
  const auto other = platform::P256PrivateKey::generate();
  auto preferring = job();
  preferring.encryptionKeys =
      std::make_shared<InMemoryKeyProvider>(std::vector{test::organisationKey(), other});
  preferring.encryptionKeyID = test::organisationKeyID();
  EXPECT_EQ(run(preferring).encryption->keyIDs, std::vector{test::organisationKeyID()});
}

}  // namespace
