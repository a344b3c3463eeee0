#include "TuvCore/KeychainStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "Platform/Files/Files.h"
#include "Platform/Keychain/Passwords.h"
#include "tests/Support/ScopedVariable.h"
#include "tests/Support/SessionKeychain.h"

namespace tuv {
namespace {

using orvik::test::ScopedVariable;
using orvik::test::SessionKeychain;
using platform::SecretString;
using testing::HasSubstr;

const KeychainStore store{"org.orvik.test"};

std::string textOf(const std::optional<SecretString>& secret) {
  return secret ? std::string(secret->reveal()) : "nothing";
}

std::string refusal(const std::function<void()>& operation) {
  try {
    operation();
  } catch (const KeychainError& error) {
    return error.description();
  }
  return "it was not refused";
}

/// What both kinds of keychains do alike.
void keepsSecrets() {
  EXPECT_EQ(textOf(store.string("absent")), "nothing");
  store.set(SecretString(std::string("first")), "account");
  store.set(SecretString(std::string("zweites ü\n")), "account");
  store.set(SecretString(std::string("other")), "another");
  EXPECT_EQ(textOf(store.string("account")), "zweites ü\n");
  EXPECT_EQ(textOf(KeychainStore{"org.orvik.other"}.string("account")), "nothing");
  store.remove("account");
  EXPECT_EQ(textOf(store.string("account")), "nothing");
  EXPECT_EQ(textOf(store.string("another")), "other");
  store.remove("account");
}

TEST(KeychainStore, ErrorsAreTold) {
  EXPECT_EQ(KeychainError::unexpectedStatus(-25291).description(), "Keychain error -25291: unknown error");
  EXPECT_EQ(KeychainError::unexpectedStatus(-1, "no bus").description(), "Keychain error -1: no bus");
  EXPECT_EQ(KeychainError::invalidData().description(), "Keychain item is not valid UTF-8 data");
}

class FolderKeychain : public testing::Test {
 protected:
  std::filesystem::path secrets() const { return home / "data/orvik/secrets"; }
  std::filesystem::path onlyFile() const { return secrets() / platform::files::list(secrets()).at(0); }

  platform::files::TempFolder home;
  ScopedVariable bus{"DBUS_SESSION_BUS_ADDRESS"};
  ScopedVariable runtime{"XDG_RUNTIME_DIR"};
  ScopedVariable data{"XDG_DATA_HOME", (home / "data").string()};
};

TEST_F(FolderKeychain, KeepsSecretsWhereThereIsNoSessionBus) { keepsSecrets(); }

TEST_F(FolderKeychain, SettingTwiceLeavesOneFileThatOnlyItsOwnerCanRead) {
  store.set(SecretString(std::string("first")), "a");
  store.set(SecretString(std::string("second")), "a");
  EXPECT_EQ(platform::files::list(secrets()).size(), 1U);
  struct stat status {};
  ASSERT_EQ(stat(onlyFile().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
  ASSERT_EQ(stat(secrets().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0700U);
}

TEST_F(FolderKeychain, BytesThatAreNoTextAreInvalidData) {
  store.set(SecretString(std::string("\xFF\xFE")), "a");
  EXPECT_EQ(refusal([] { store.string("a"); }), "Keychain item is not valid UTF-8 data");
}

TEST_F(FolderKeychain, AFolderThatOthersMayLookIntoIsRefusedWithTheCommandThatMendsIt) {
  store.set(SecretString(std::string("x")), "a");
  ASSERT_EQ(chmod(secrets().c_str(), 0750), 0);
  const auto command = HasSubstr("run: chmod 700 '" + secrets().string() + "'");
  EXPECT_THAT(refusal([] { store.string("a"); }), command);
  EXPECT_THAT(refusal([] { store.set(SecretString(std::string("y")), "a"); }), command);
  EXPECT_THAT(refusal([] { store.remove("a"); }), command);
}

TEST_F(FolderKeychain, AFileThatOthersMayReadIsRefused) {
  store.set(SecretString(std::string("x")), "a");
  ASSERT_EQ(chmod(onlyFile().c_str(), 0644), 0);
  EXPECT_THAT(refusal([] { store.string("a"); }), HasSubstr("run: chmod 600 '"));
}

TEST_F(FolderKeychain, NamesThatTravelStayInTheFolder) {
  const std::string account = "../../a/b%\n,";
  store.set(SecretString(std::string("x")), account);
  EXPECT_EQ(textOf(store.string(account)), "x");
  EXPECT_EQ(platform::files::list(secrets()).size(), 1U);
  EXPECT_THAT(refusal([] { store.string(std::string(300, 'n')); }), HasSubstr("too long"));
}

TEST_F(FolderKeychain, AFileInPlaceOfTheFolderIsRefused) {
  platform::files::createDirectories(secrets().parent_path());
  platform::files::atomicWrite("x", secrets());
  EXPECT_THAT(refusal([] { store.string("a"); }), HasSubstr("is not a folder"));
}

TEST_F(FolderKeychain, ABusThatDoesNotAnswerLeavesTheFolder) {
  bus.set("unix:path=" + (home / "nobody").string());
  keepsSecrets();
  EXPECT_TRUE(platform::files::isDirectory(secrets()));
}

TEST(ServiceKeychain, KeepsSecretsInTheKeyring) {
  const SessionKeychain session;
  keepsSecrets();
  EXPECT_FALSE(platform::files::exists(std::filesystem::path(std::getenv("XDG_DATA_HOME")) / "orvik"));
}

TEST(ServiceKeychain, SettingTwiceLeavesOneItemWithTheSecondValue) {
  const SessionKeychain session;
  store.set(SecretString(std::string("first")), "a");
  store.set(SecretString(std::string("second")), "a");
  store.remove("a");
  EXPECT_EQ(textOf(store.string("a")), "nothing");
}

TEST(ServiceKeychain, BytesThatAreNoTextAreInvalidData) {
  const SessionKeychain session;
  const auto service = platform::keychain::secretService();
  ASSERT_TRUE(service) << "a process sees its first session bus alone: run this test in one of its own";
  service->set(store.service, "a", SecretString(std::string("\xFF\xFE")));
  EXPECT_EQ(refusal([] { store.string("a"); }), "Keychain item is not valid UTF-8 data");
}

TEST(ServiceKeychain, ALockedKeychainRefusesAndAsksNobody) {
  const SessionKeychain session;
  store.set(SecretString(std::string("x")), "a");
  session.lock();
  EXPECT_THAT(refusal([] { store.string("a"); }), HasSubstr("Keychain error -25308: the keychain is locked"));
  EXPECT_THAT(refusal([] { store.set(SecretString(std::string("y")), "b"); }), HasSubstr("-25308"));
  EXPECT_THAT(refusal([] { store.remove("a"); }), HasSubstr("-25308"));
}

TEST(ServiceKeychain, AKeychainThatDiesAndComesBackBetweenTwoCallsIsNoMatter) {
  SessionKeychain session;
  store.set(SecretString(std::string("x")), "a");
  session.stopKeyring();
  session.startKeyring();
  EXPECT_EQ(textOf(store.string("a")), "x");
}

}  // namespace
}  // namespace tuv
