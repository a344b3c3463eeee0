#include "OrvikCore/Security/BackupEncryption.h"

#include <gtest/gtest.h>

#include <memory>

#include "OrvikCore/Format/BackupFormat.h"
#include "tests/Support/Folders.h"
#include "tests/Support/OwnDataHome.h"
#include "tests/Support/SampleRecords.h"
#include "tests/Support/TestKeys.h"

namespace {

using namespace orvik;
using platform::files::TempFolder;

class Encryption : public testing::Test {
 protected:
  ~Encryption() override { BackupEncryption::forgetKeys(); }

  void writeInfo() const {
    const EncryptionInfo info{1, "ORVIK-AEAD-v1", test::date("2025-03-04T09:15:00Z"), {{"k1", "w"}}};
    test::write(folder / "encryption.json", BackupFormat::makeEncoder().encode(info));
  }

  TempFolder folder;
};

TEST_F(Encryption, AFolderWithItsRecordIsEncrypted) {
  EXPECT_FALSE(BackupEncryption::isEncrypted(folder.path()));
  writeInfo();
  EXPECT_TRUE(BackupEncryption::isEncrypted(folder.path()));
  EXPECT_EQ(BackupEncryption::info(folder.path())->keys.front().keyID, "k1");
}

TEST_F(Encryption, ARecordThatCantBeReadIsNone) {
  for (const char* text : {"", "{", "{}", "[]"}) {
    test::write(folder / "encryption.json", text);
    EXPECT_FALSE(BackupEncryption::isEncrypted(folder.path())) << text;
  }
  std::filesystem::remove(folder / "encryption.json");
  test::makePipe(folder / "encryption.json");
  EXPECT_FALSE(BackupEncryption::isEncrypted(folder.path()));
}

TEST_F(Encryption, ARecordThatIsFarTooLongIsNotRead) {
  test::makeSparse(folder / "encryption.json", std::uintmax_t{1} << 40);
  EXPECT_FALSE(BackupEncryption::isEncrypted(folder.path()));
}

TEST_F(Encryption, APlainFolderHasNoCipher) {
  EXPECT_EQ(BackupEncryption::cipherFor(folder.path()), std::nullopt);
}

TEST_F(Encryption, AnUnlockedCipherIsFoundUnderAllSpellingsOfItsFolder) {
  const auto cipher = test::sealFolder(folder.path());
  const auto text = folder.path().string();
  const auto name = folder.path().filename().string();
  EXPECT_EQ(BackupEncryption::cipherFor(text), cipher);
  EXPECT_EQ(BackupEncryption::cipherFor(text + "/"), cipher);
  EXPECT_EQ(BackupEncryption::cipherFor(text + "//."), cipher);
  EXPECT_EQ(BackupEncryption::cipherFor(text + "/../" + name), cipher);
  EXPECT_EQ(BackupEncryption::cipherFor(std::filesystem::relative(folder.path())), cipher);
  EXPECT_EQ(BackupEncryption::cipherFor(text + "x"), std::nullopt);
}

TEST_F(Encryption, ForgetKeysEmptiesTheTable) {
  test::sealFolder(folder.path());
  BackupEncryption::forgetKeys();
  EXPECT_EQ(BackupEncryption::cipherFor(folder.path()), std::nullopt);
}

TEST(BackupEncryptionError, SaysWhichKeysAreMissing) {
  const auto error = BackupEncryptionError::locked({"k1", "k2"});
  EXPECT_EQ(error.kind(), BackupEncryptionError::Kind::locked);
  EXPECT_EQ(error.keyIDs(), (std::vector<std::string>{"k1", "k2"}));
  EXPECT_EQ(error.description(),
            "This backup is encrypted with the organisation key k1, k2, which is not installed on this Mac. "
            "Deploy the Orvik organisation key profile.");
  EXPECT_EQ(BackupEncryptionError::locked({}).description(),
            "This backup is encrypted with the organisation key , which is not installed on this Mac. Deploy "
            "the Orvik organisation key profile.");
  EXPECT_EQ(BackupEncryptionError::damaged("authentication failed").description(),
            "Encrypted data is damaged or was changed: authentication failed");
  EXPECT_EQ(BackupEncryptionError::noOrganisationKey().description(),
            "Backups must be encrypted (EncryptBackups), but the Orvik organisation key is not installed on "
            "this Mac. Deploy the organisation key profile, then back up again.");
}

}  // namespace
