#include "OrvikCore/Config/CredentialStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "JamfCore/Networking/APIError.h"
#include "OrvikCore/Security/SecretError.h"
#include "Platform/Files/Files.h"
#include "SampleServer/SampleServer.h"
#include "tests/Support/ScopedVariable.h"
#include "tests/Support/TestKeys.h"

namespace orvik {
namespace {

using platform::SecretString;
using test::ScopedVariable;

class CredentialStoreTest : public testing::Test {
 protected:
  static InstanceConfig instanceAt(std::string url, std::string clientID = "client") {
    InstanceConfig instance;
    instance.id = platform::UUID::random();
    instance.name = "School";
    instance.url = std::move(url);
    instance.clientID = std::move(clientID);
    return instance;
  }
  static InstanceConfig managed(std::string secret) {
    auto instance = instanceAt("https://jamf.example");
    instance.managedSecret = std::make_shared<const SecretString>(std::move(secret));
    return instance;
  }

  platform::files::TempFolder home;
  ScopedVariable bus{"DBUS_SESSION_BUS_ADDRESS"};
  ScopedVariable runtime{"XDG_RUNTIME_DIR"};
  ScopedVariable data{"XDG_DATA_HOME", (home / "data").string()};
  CredentialStore store{"org.orvik.test", std::make_shared<InMemoryKeyProvider>(test::organisationKeys())};
};

TEST_F(CredentialStoreTest, ASecretIsSavedFoundAndDeleted) {
  const auto instance = instanceAt("https://jamf.example");
  EXPECT_FALSE(store.hasSecret(instance));
  store.saveSecret(SecretString(std::string("hunter2")), instance);
  EXPECT_TRUE(store.hasSecret(instance));
  EXPECT_FALSE(store.hasSecret(instanceAt("https://jamf.example")));
  const auto provider = store.secretProvider(instance);
  EXPECT_EQ(provider().reveal(), "hunter2");
  store.saveSecret(SecretString(std::string("changed")), instance);
  EXPECT_EQ(provider().reveal(), "changed") << "it is asked anew";
  store.deleteSecret(instance);
  EXPECT_FALSE(store.hasSecret(instance));
  store.deleteSecret(instance);
}

TEST_F(CredentialStoreTest, TheAccountIsTheIDInUpperCase) {
  const auto instance = instanceAt("https://jamf.example");
  store.keychain.set(SecretString(std::string("x")), instance.id.text() + ".clientSecret");
  EXPECT_EQ(store.secretProvider(instance)().reveal(), "x");
}

TEST_F(CredentialStoreTest, AnAbsentSecretIsAnAPIError) {
  const auto provider = store.secretProvider(instanceAt("https://jamf.example"));
  EXPECT_THROW(provider(), jamf::APIError);
}

TEST_F(CredentialStoreTest, AManagedSecretIsOpenedAtEachCall) {
  const auto instance = managed(SecretEnvelope::encrypt("hunter2", test::organisationKey().publicKey()));
  EXPECT_TRUE(store.hasSecret(instance));
  const auto provider = store.secretProvider(instance);
  EXPECT_EQ(provider().reveal(), "hunter2");
  EXPECT_EQ(provider().reveal(), "hunter2");
}

TEST_F(CredentialStoreTest, AManagedSecretForAnotherKeyFailsAndIsThere) {
  const auto stranger = platform::P256PrivateKey::generate();
  const auto instance = managed(SecretEnvelope::encrypt("hunter2", stranger.publicKey()));
  EXPECT_TRUE(store.hasSecret(instance));
  EXPECT_THROW(store.secretProvider(instance)(), SecretError);
}

TEST_F(CredentialStoreTest, AManagedSecretInPlainIsUsedAsItIs) {
  EXPECT_EQ(store.secretProvider(managed("plain"))().reveal(), "plain");
}

TEST_F(CredentialStoreTest, AKeychainThatFailsHoldsNoSecret) {
  platform::files::createDirectories(home / "data/orvik");
  platform::files::atomicWrite("in the way", home / "data/orvik/secrets");
  EXPECT_FALSE(store.hasSecret(instanceAt("https://jamf.example")));
  EXPECT_THROW(store.secretProvider(instanceAt("https://jamf.example"))(), tuv::KeychainError);
}

TEST_F(CredentialStoreTest, AURLThatIsNoneMakesNoClient) {
  EXPECT_THROW(store.makeClient(instanceAt("  "), std::make_shared<platform::HTTPSession>()), jamf::APIError);
}

TEST_F(CredentialStoreTest, AClientReadsTheServerWithTheSecret) {
  const sample::SampleServer server{sample::SampleOptions{}};
  const auto instance = instanceAt(server.url() + "/", server.clientID());
  store.saveSecret(SecretString(server.clientSecret()), instance);
  const auto client = store.makeClient(instance, std::make_shared<platform::HTTPSession>());
  EXPECT_THAT(client->get("api/v1/jamf-pro-version", {}, {}), testing::HasSubstr("version"));
}

}  // namespace
}  // namespace orvik
