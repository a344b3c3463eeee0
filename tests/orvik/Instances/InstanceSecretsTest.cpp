#include "orvik/Instances/InstanceSecrets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "OrvikCore/Security/SecretEnvelope.h"
#include "Platform/Crypto/P256.h"
#include "Platform/Files/Files.h"
#include "orvik/ExitStatus.h"
#include "tests/Support/OrganisationFiles.h"
#include "tests/Support/ScopedVariable.h"

namespace orvik::host {
namespace {

namespace files = platform::files;
using platform::SecretString;
using testing::HasSubstr;
using testing::Not;

struct InstanceSecretsTest : testing::Test {
  files::TempFolder home;
  test::ScopedVariable data{"XDG_DATA_HOME", home.path().string()};
  test::ScopedVariable bus{"DBUS_SESSION_BUS_ADDRESS"};
  test::ScopedVariable runtime{"XDG_RUNTIME_DIR"};
  InstanceConfig instance{
      platform::UUID::random(), "My School", "https://school.example", "client", {}, nullptr};

  void manage(std::string secret) {
    instance.managedSecret = std::make_shared<const SecretString>(std::move(secret));
  }
  std::filesystem::path secrets() const { return home / "orvik/secrets"; }
  std::string refusal() const {
    try {
      instanceSecret(instance);
    } catch (const CredentialError& error) {
      return error.description();
    }
    return "(given)";
  }
};

TEST_F(InstanceSecretsTest, TheKeychainsSecretIsGotAnewAtEachCall) {
  credentialStore().saveSecret(SecretString(std::string("first")), instance);
  const auto supply = instanceSecret(instance);
  EXPECT_EQ(supply.source, "the keychain");
  EXPECT_EQ(supply.provider().reveal(), "first");
  credentialStore().saveSecret(SecretString(std::string("second")), instance);
  EXPECT_EQ(supply.provider().reveal(), "second");
}

TEST_F(InstanceSecretsTest, AnAbsentOneSaysHowToPutItThere) {
  EXPECT_THAT(refusal(), HasSubstr("orvik instances add --name 'My School' --url https://school.example "
                                   "--client-id client --secret-file FILE"));
}

TEST_F(InstanceSecretsTest, AnEmptyOneIsRefused) {
  credentialStore().saveSecret(SecretString(), instance);
  EXPECT_EQ(refusal(), "The client secret of My School is empty.");
}

TEST_F(InstanceSecretsTest, AKeychainThatOthersCanReadIsRefusedWithTheRemedy) {
  credentialStore().saveSecret(SecretString(std::string("hidden")), instance);
  ASSERT_EQ(::chmod(secrets().c_str(), 0755), 0);
  EXPECT_THAT(refusal(),
              testing::AllOf(HasSubstr("My School"), HasSubstr("chmod"), Not(HasSubstr("hidden"))));
}

TEST_F(InstanceSecretsTest, AManagedOneInPlainIsUsed) {
  manage("in plain");
  const auto supply = instanceSecret(instance);
  EXPECT_EQ(supply.source, "a managed setting");
  EXPECT_EQ(supply.provider().reveal(), "in plain");
}

TEST_F(InstanceSecretsTest, ASealedOneOpensWithAKeyOfThisMachine) {
  const auto made = test::OrganisationFiles::make(home.path());
  const auto key = files::read(made.key);
  const auto identity = home / "orvik/identities/org.pem";
  files::atomicWrite(key + files::read(made.certificate), identity, files::Flush::no,
                     std::filesystem::perms::owner_read);
  manage(SecretEnvelope::encrypt("sealed one", platform::P256PrivateKey::fromPEM(key).publicKey()));
  EXPECT_EQ(instanceSecret(instance).provider().reveal(), "sealed one");
  files::remove(identity);
  EXPECT_THAT(refusal(), testing::StartsWith("The managed client secret of My School can't be opened: "));
}

TEST_F(InstanceSecretsTest, ASealedOneThatIsDamagedIsRefused) {
  for (const auto* text : {"ORVIK-ENC:v1:", "ORVIK-ENC:v1:AAAA", "ORVIK-ENC:v1:\xFF"}) {
    manage(text);
    EXPECT_THAT(refusal(), testing::StartsWith("The managed client secret of My School can't be opened: "));
  }
}

TEST_F(InstanceSecretsTest, ASecretAtHandIsGivenAgainAndAgain) {
  const auto supply = supplyOf({SecretString(std::string("once read")), "the file f"});
  EXPECT_EQ(supply.provider().reveal(), "once read");
  EXPECT_EQ(supply.provider().reveal(), "once read");
  EXPECT_EQ(supply.source, "the file f");
}

}  // namespace
}  // namespace orvik::host
