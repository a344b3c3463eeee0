#include "JamfCore/Authentication/KeychainStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>

#include "Platform/Files/Files.h"
#include "Platform/Keychain/Passwords.h"
#include "tests/Support/ScopedVariable.h"
#include "tests/Support/SessionKeychain.h"

namespace jamf {
namespace {

using orvik::test::ScopedVariable;
using platform::SecretString;
using testing::HasSubstr;

const KeychainStore store{"org.orvik.test"};
const auto first = *platform::UUID::parse("0F0E0D0C-0B0A-4908-8706-050403020100");
const auto second = *platform::UUID::parse("1F0E0D0C-0B0A-4908-8706-050403020100");

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

void set(const std::string& text, const platform::UUID& orgID = first) {
  store.setSecret(SecretString(text), orgID, "clientSecret");
}

/// What both kinds of keychains do alike.
void keepsSecrets() {
  store.deleteSecret(first, "clientSecret");  // never stored, and no error
  EXPECT_EQ(textOf(store.secret(first, "clientSecret")), "nothing");
  set("one");
  set("zwei ü\n");
  set("other", second);
  store.setSecret(SecretString(std::string("another key")), first, "key");
  EXPECT_EQ(textOf(store.secret(first, "clientSecret")), "zwei ü\n");
  EXPECT_EQ(textOf(KeychainStore{"org.orvik.other"}.secret(first, "clientSecret")), "nothing");
  store.deleteSecret(first, "clientSecret");
  EXPECT_EQ(textOf(store.secret(first, "clientSecret")), "nothing");
  EXPECT_EQ(textOf(store.secret(first, "key")), "another key");
  EXPECT_EQ(textOf(store.secret(second, "clientSecret")), "other");
}

TEST(OrgKeychainStore, ErrorsAreTold) {
  EXPECT_EQ(KeychainError::dataConversionFailed().description(), "Failed to convert secret to/from Data");
  EXPECT_EQ(KeychainError::unexpectedStatus(-25308, "it is locked").description(),
            "Keychain error (-25308): it is locked");
  EXPECT_EQ(KeychainError::unexpectedStatus(-1).description(), "Keychain error with status -1");
}

class FolderOrgKeychain : public testing::Test {
 protected:
  std::filesystem::path secrets() const { return home / "orvik/secrets"; }

  platform::files::TempFolder home;
  ScopedVariable bus{"DBUS_SESSION_BUS_ADDRESS"};
  ScopedVariable runtime{"XDG_RUNTIME_DIR"};
  ScopedVariable data{"XDG_DATA_HOME", home.path().string()};
};

TEST_F(FolderOrgKeychain, KeepsSecretsWhereThereIsNoSessionBus) { keepsSecrets(); }

TEST_F(FolderOrgKeychain, SettingTwiceLeavesOneRecordWithTheSecondValue) {
  set("one");
  set("two");
  EXPECT_EQ(platform::files::list(secrets()),
            std::vector<std::string>{"org.orvik.test,0F0E0D0C-0B0A-4908-8706-050403020100.clientSecret"});
  EXPECT_EQ(textOf(store.secret(first, "clientSecret")), "two");
}

TEST_F(FolderOrgKeychain, WhatIsNoTextIsNeitherStoredNorGiven) {
  EXPECT_EQ(refusal([] { set("\xFF"); }), "Failed to convert secret to/from Data");
  EXPECT_EQ(textOf(store.secret(first, "clientSecret")), "nothing");
  platform::keychain::secretFolder(secrets())->set(store.service, first.text() + ".clientSecret",
                                                   SecretString(std::string("\xFF\xFE")));
  EXPECT_EQ(refusal([] { store.secret(first, "clientSecret"); }), "Failed to convert secret to/from Data");
}

TEST_F(FolderOrgKeychain, AFolderThatOthersMayLookIntoIsRefused) {
  set("one");
  ::chmod(secrets().c_str(), 0755);
  EXPECT_THAT(refusal([] { set("two"); }), HasSubstr("Keychain error (-2070): "));
}

TEST(ServiceKeychain, KeepsSecretsOfOrganizationsInTheKeyring) {
  const orvik::test::SessionKeychain session;
  keepsSecrets();
}

}  // namespace
}  // namespace jamf
