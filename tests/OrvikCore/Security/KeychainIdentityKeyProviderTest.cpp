#include "OrvikCore/Security/KeychainIdentityKeyProvider.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <barrier>
#include <thread>

#include "OrvikCore/Security/CertificateKey.h"
#include "OrvikCore/Security/SecretEnvelope.h"
#include "OrvikCore/Security/SecretError.h"
#include "Platform/Crypto/P256.h"
#include "tests/Support/LogRecorder.h"
#include "tests/Support/SoftToken.h"

namespace {

using namespace orvik;
using platform::P256PrivateKey;
using test::outputOf;
using test::ScopedVariable;
using test::SoftToken;
using test::TokenFolder;
using testing::ElementsAre;
using testing::IsEmpty;

/// A token, the identities folder of a user, and nothing of this machine's own.
class KeychainKeys : public testing::Test {
 protected:
  std::string keyID(const std::string& id) const { return SecretEnvelope::keyID(token.point(id)); }

  /// Puts a key with its certificate into the user's folder; gives its public key.
  platform::Bytes putPair(const std::string& name, mode_t mode = 0600) const {
    const auto key = folder.file("pair.pem").string();
    outputOf("openssl", {"genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out", key});
    const auto certificate = outputOf("openssl", {"req", "-x509", "-new", "-key", key, "-subj", "/CN=Orvik"});
    const auto path = folder.file("data/orvik/identities/" + name);
    test::write(path, platform::files::read(key) + certificate);
    ::chmod(path.c_str(), mode);
    return CertificateKey::x963PublicKey(certificate);
  }

  /// What the provider says; empty when it gives the secret.
  std::string refusal(const std::string& id, std::string_view ephemeral) const try {
    provider.sharedSecret(id, ephemeral);
    return {};
  } catch (const SecretError& error) {
    return error.text();
  }
  std::string refusal(const std::string& id) const { return refusal(id, peer.publicKey()); }

  TokenFolder folder;
  SoftToken token{folder};
  ScopedVariable pin{"ORVIK_PKCS11_PIN", SoftToken::pin};
  ScopedVariable data{"XDG_DATA_HOME", folder.file("data").string()};
  KeychainIdentityKeyProvider provider;
  const P256PrivateKey peer = P256PrivateKey::generate();
};

TEST_F(KeychainKeys, NothingInstalledIsAnEmptyList) {
  EXPECT_THAT(provider.availableKeyIDs(), IsEmpty());
  EXPECT_THAT(provider.publicKeys(), IsEmpty());
}

TEST_F(KeychainKeys, AValueForACertificateOpensWithTheKeyInTheToken) {
  token.makeIdentity("01");
  const auto der = platform::files::read(folder.file("certificate.der"));
  const auto value = SecretEnvelope::encrypt("Grüße", CertificateKey::x963PublicKey(der));
  EXPECT_EQ(SecretEnvelope::decrypt(value, provider).reveal(), "Grüße");
}

TEST_F(KeychainKeys, AValueForACertificateOpensWithTheKeyInAFile) {
  const auto value = SecretEnvelope::encrypt("hush", putPair("a.pem"));
  EXPECT_EQ(SecretEnvelope::decrypt(value, provider).reveal(), "hush");
}

TEST_F(KeychainKeys, TheSecretIsTheOneOfTheOtherSide) {
  token.makeIdentity("01");
  EXPECT_EQ(provider.sharedSecret(keyID("01"), peer.publicKey()), peer.sharedSecret(token.point("01")));
}

TEST_F(KeychainKeys, TokensStandBeforeFilesAndDuplicatesStay) {
  token.makeIdentity("01");
  token.certify("01", "01");
  const auto b = SecretEnvelope::keyID(putPair("b.pem")), a = SecretEnvelope::keyID(putPair("a.pem"));
  const auto inToken = keyID("01");
  EXPECT_THAT(provider.availableKeyIDs(), ElementsAre(inToken, inToken, a, b));
}

TEST_F(KeychainKeys, ListingNeedsNoPIN) {
  token.makeIdentity("01");
  pin.set({});
  EXPECT_THAT(provider.availableKeyIDs(), ElementsAre(keyID("01")));
  EXPECT_THAT(provider.publicKeys(), ElementsAre(std::pair{keyID("01"), token.point("01")}));
}

TEST_F(KeychainKeys, PublicKeysHoldEachKeyOnce) {
  token.makeIdentity("01");
  token.certify("01", "01");
  const auto point = putPair("a.pem");
  EXPECT_EQ(provider.publicKeys(),
            (PublicKeys{{keyID("01"), token.point("01")}, {SecretEnvelope::keyID(point), point}}));
}

TEST_F(KeychainKeys, NothingIsKeptBetweenCalls) {
  const auto point = putPair("a.pem");
  EXPECT_THAT(provider.availableKeyIDs(), testing::SizeIs(1));
  platform::files::removeTree(folder.file("data/orvik/identities"));
  EXPECT_THAT(provider.availableKeyIDs(), IsEmpty());
  token.makeIdentity("01");
  EXPECT_THAT(provider.availableKeyIDs(), ElementsAre(keyID("01")));
  platform::files::removeTree(token.path());
  EXPECT_THAT(provider.availableKeyIDs(), IsEmpty());
}

TEST_F(KeychainKeys, AKeyThatIsNotThereIsNamed) {
  token.makeIdentity("01");
  EXPECT_EQ(
      refusal("0123456789abcdef"),
      "the organisation key 0123456789abcdef is not installed on this Mac (deploy the Orvik key profile)");
  EXPECT_EQ(
      refusal("0123456789abcdef", "junk"),
      "the organisation key 0123456789abcdef is not installed on this Mac (deploy the Orvik key profile)");
  try {
    provider.sharedSecret("x", peer.publicKey());
    FAIL();
  } catch (const SecretError& error) {
    EXPECT_EQ(error.description(),
              "Encrypted secret: the organisation key x is not installed on this Mac (deploy the Orvik key "
              "profile)");
  }
}

TEST_F(KeychainKeys, ARefusedKeyIsNamedAndTheReasonIsLogged) {
  token.makeIdentity("01");
  const auto id = keyID("01");
  const auto text =
      "no access to the private key " + id + " (enable \"Allow all apps access\" in the certificate payload)";
  const support::LogRecorder log;
  pin.set({});
  EXPECT_EQ(refusal(id), text);
  EXPECT_EQ(refusal(id, "junk"), text);
  EXPECT_TRUE(log.mentions("organisation key " + id + ": The token \"Keys\" asks for a PIN. Put it in "));
  pin.set("993399");
  EXPECT_EQ(refusal(id), text);
  EXPECT_TRUE(
      log.mentions("organisation key " + id + ": The PIN in ORVIK_PKCS11_PIN is not that of the token"));
  EXPECT_FALSE(log.mentions("993399"));
}

TEST_F(KeychainKeys, AnExposedKeyFileIsRefusedAndTheReasonIsLogged) {
  const auto id = SecretEnvelope::keyID(putPair("a.pem", 0644));
  const support::LogRecorder log;
  EXPECT_EQ(refusal(id), "no access to the private key " + id +
                             " (enable \"Allow all apps access\" in the certificate payload)");
  EXPECT_TRUE(log.mentions("chmod 600 " + folder.file("data/orvik/identities/a.pem").string()));
}

TEST_F(KeychainKeys, BytesThatAreNoPointAreAnInvalidEphemeralKey) {
  token.makeIdentity("01");
  const auto inFile = SecretEnvelope::keyID(putPair("a.pem"));
  auto offTheCurve = peer.publicKey();
  offTheCurve.back() = static_cast<char>(offTheCurve.back() ^ 1);
  for (const auto& id : {keyID("01"), inFile})
    for (const auto& bytes : {platform::Bytes(), platform::Bytes("\4junk"), offTheCurve,
                              platform::Bytes(65, '\0'), peer.publicKey() + "x"})
      EXPECT_EQ(refusal(id, bytes), "invalid ephemeral key");
}

TEST_F(KeychainKeys, AFailedExchangeGivesTheTokensReason) {
  token.makeKey("01", "EC:prime256v1", {"--usage-sign"});
  token.certify("01", "01");
  EXPECT_EQ(refusal(keyID("01")), "key exchange failed: This operation cannot be done with this key");
}

TEST_F(KeychainKeys, WhoOpensAValueIsToldWhyTheKeyCantBeHad) {
  token.makeIdentity("01");
  const auto id = keyID("01");
  const auto value = SecretEnvelope::encrypt("hush", token.point("01"));
  pin.set({});
  try {
    SecretEnvelope::decrypt(value, provider);
    FAIL();
  } catch (const SecretError& error) {
    EXPECT_EQ(error.description(), "Encrypted secret: no access to the private key " + id +
                                       " (enable \"Allow all apps access\" in the certificate payload)");
  }
}

TEST_F(KeychainKeys, ThreadsOpenValuesAtOnce) {
  token.makeIdentity("01");
  const auto value = SecretEnvelope::encrypt("hush", token.point("01"));
  constexpr int threads = 4;
  std::barrier start(threads);
  std::atomic<int> opened = 0;
  {
    std::vector<std::jthread> all;
    for (int i = 0; i < threads; ++i)
      all.emplace_back([&] {
        start.arrive_and_wait();
        for (int round = 0; round < 5; ++round)
          if (SecretEnvelope::decrypt(value, provider).reveal() == "hush") ++opened;
      });
  }
  EXPECT_EQ(opened, threads * 5);
}

TEST_F(KeychainKeys, AChildOpensValuesToo) {
  token.makeIdentity("01");
  const auto value = SecretEnvelope::encrypt("hush", token.point("01"));
  EXPECT_EQ(SecretEnvelope::decrypt(value, provider).reveal(), "hush");
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) ::_exit(SecretEnvelope::decrypt(value, provider).reveal() == "hush" ? 0 : 1);
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

}  // namespace
