#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>

#include "OrvikCore/Security/BackupEncryption.h"
#include "tests/Support/Folders.h"
#include "tests/Support/OpensslKeys.h"
#include "tests/Support/OwnDataHome.h"
#include "tests/Support/TestKeys.h"

// Folders that this machine's own identities unlock.

namespace {

using namespace orvik;
using platform::files::TempFolder;

/// Whether something opened the identities folder since the last question.
class IdentitiesWatch {
 public:
  IdentitiesWatch() : watch_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    EXPECT_GE(inotify_add_watch(watch_, test::identitiesFolder().c_str(), IN_OPEN), 0);
  }
  ~IdentitiesWatch() { close(watch_); }
  bool wasOpened() const {
    std::array<char, 4096> events;
    bool any = false;
    while (read(watch_, events.data(), events.size()) > 0) any = true;
    return any;
  }

 private:
  int watch_;
};

class KeychainUnlock : public testing::Test {
 protected:
  KeychainUnlock() { std::filesystem::create_directories(test::identitiesFolder()); }
  ~KeychainUnlock() override {
    std::filesystem::remove_all(test::identitiesFolder());
    BackupEncryption::forgetKeys();
  }
  void installIdentity() const {
    const auto path = test::identitiesFolder() / "org.pem";
    platform::files::atomicWrite(test::certificateOf(key) + key, path);
    std::filesystem::permissions(path, std::filesystem::perms::owner_read);
  }

  const std::string key = test::newPKCS8Key();
  const InMemoryKeyProvider keys{{platform::P256PrivateKey::fromPEM(key)}};
  const TempFolder folder;
};

TEST_F(KeychainUnlock, APlainFolderDoesntTouchTheKeychain) {
  installIdentity();
  const IdentitiesWatch watch;
  EXPECT_EQ(BackupEncryption::cipherFor(folder.path()), std::nullopt);
  EXPECT_EQ(BackupEncryption::cipherFor(folder / "missing"), std::nullopt);
  EXPECT_FALSE(watch.wasOpened());
}

TEST_F(KeychainUnlock, ASealedFolderOpensWithAnInstalledIdentity) {
  const auto cipher = BackupEncryption::prepare(folder.path(), keys);
  BackupEncryption::forgetKeys();
  const IdentitiesWatch watch;
  EXPECT_EQ(BackupEncryption::cipherFor(folder.path()), std::nullopt);
  EXPECT_TRUE(watch.wasOpened());

  installIdentity();
  EXPECT_EQ(BackupEncryption::cipherFor(folder.path()), cipher);
  EXPECT_TRUE(watch.wasOpened());
  EXPECT_EQ(BackupEncryption::cipherFor(folder.path()), cipher);
  EXPECT_FALSE(watch.wasOpened()) << "the second time it is unlocked already";
}

TEST_F(KeychainUnlock, AnIdentityThatGoesStaysUnlockedUntilTheKeysAreForgotten) {
  const auto cipher = BackupEncryption::prepare(folder.path(), keys);
  std::filesystem::remove_all(test::identitiesFolder());
  EXPECT_EQ(BackupEncryption::cipherFor(folder.path()), cipher);
  BackupEncryption::forgetKeys();
  EXPECT_EQ(BackupEncryption::cipherFor(folder.path()), std::nullopt);
}

TEST_F(KeychainUnlock, ARecordThatNobodyCanOpenGivesNothing) {
  test::write(folder / "encryption.json",
              "{\"createdAt\":\"2025-03-04T09:15:00Z\",\"formatVersion\":1,"
              "\"keys\":[{\"keyID\":\"k\",\"wrapped\":\"w\"}],\"scheme\":\"s\"}");
  installIdentity();
  EXPECT_TRUE(BackupEncryption::isEncrypted(folder.path()));
  EXPECT_EQ(BackupEncryption::cipherFor(folder.path()), std::nullopt);
}

}  // namespace
