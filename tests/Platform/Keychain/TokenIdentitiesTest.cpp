#include "Platform/Keychain/TokenIdentities.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <barrier>
#include <chrono>
#include <thread>

#include "Platform/Crypto/P256.h"
#include "tests/Support/SoftToken.h"

namespace platform::keychain {
namespace {

using orvik::test::outputOf;
using orvik::test::ScopedVariable;
using orvik::test::SoftToken;
using orvik::test::TokenFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

using Identities = std::vector<std::shared_ptr<const Identity>>;

std::vector<Bytes> pointsOf(const Identities& identities) {
  std::vector<Bytes> points;
  for (const auto& each : identities) points.push_back(each->certificate().ellipticCurvePoint().value());
  return points;
}

/// Whether a key gives the secret that its peer computes from the certificate.
bool agrees(const Identity& identity) {
  const auto peer = P256PrivateKey::generate();
  return identity.privateKey()->sharedSecret(peer.publicKey()) ==
         peer.sharedSecret(identity.certificate().ellipticCurvePoint().value());
}

class TokenIdentities : public testing::Test {
 protected:
  TokenFolder folder;
  SoftToken token{folder};
};

/// With the PIN at hand.
class UnlockedToken : public TokenIdentities {
 protected:
  ScopedVariable pin{"ORVIK_PKCS11_PIN", SoftToken::pin};
};

TEST_F(TokenIdentities, AnEmptyTokenAndNoTokenShowNone) {
  EXPECT_THAT(tokenIdentities(), IsEmpty());
  files::removeTree(token.path());
  EXPECT_THAT(tokenIdentities(), IsEmpty());
}

TEST_F(TokenIdentities, AModuleWithoutItsConfigurationShowsNone) {
  token.makeIdentity("01");
  const ScopedVariable configuration("SOFTHSM2_CONF", folder.file("missing").string());
  EXPECT_THAT(tokenIdentities(), IsEmpty());
}

TEST_F(TokenIdentities, ACertificateWithItsKeyIsOneWithoutAnyPIN) {
  token.makeIdentity("01");
  EXPECT_THAT(pointsOf(tokenIdentities()), ElementsAre(token.point("01")));
}

TEST_F(TokenIdentities, APublicKeyAloneWillDo) {
  token.makeIdentity("01");
  token.erase("privkey", "01");
  EXPECT_THAT(tokenIdentities(), SizeIs(1));
  token.erase("pubkey", "01");
  EXPECT_THAT(tokenIdentities(), IsEmpty());
}

TEST_F(UnlockedToken, APrivateKeyAloneWillDoOnceItIsVisible) {
  token.makeIdentity("01");
  token.makeIdentity("02");
  token.erase("pubkey", "02");
  const auto before = tokenIdentities();
  ASSERT_THAT(before, SizeIs(1));
  const auto loggedIn = before.front()->privateKey();
  const auto now = tokenIdentities();
  ASSERT_THAT(now, SizeIs(2));
  EXPECT_TRUE(agrees(*now.back()));
}

TEST_F(TokenIdentities, AKeyWithoutACertificateIsNone) {
  token.makeKey("01");
  EXPECT_THAT(tokenIdentities(), IsEmpty());
}

TEST_F(TokenIdentities, ACertificateUnderAnotherIDIsNone) {
  token.makeKey("01");
  token.certify("01", "0100");
  EXPECT_THAT(tokenIdentities(), IsEmpty());
}

TEST_F(TokenIdentities, OtherCurvesAndRSAAreLeftOut) {
  token.makeKey("01", "EC:secp384r1");
  token.certifyOtherKey("01", {"-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-384"});
  token.makeKey("02", "EC:prime256v1");
  token.certifyOtherKey("02", {"-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:secp256k1"});
  token.makeKey("03", "EC:prime256v1");
  token.certifyOtherKey("03", {"-algorithm", "ED25519"});
  token.makeIdentity("04", "rsa:2048");
  token.makeIdentity("05");
  EXPECT_THAT(pointsOf(tokenIdentities()), ElementsAre(token.point("05")));
}

TEST_F(TokenIdentities, ACertificateThatDoesNotParseIsLeftOut) {
  token.makeIdentity("01");
  token.makeKey("02");
  token.makeUnreadableCertificate("02");
  EXPECT_THAT(pointsOf(tokenIdentities()), ElementsAre(token.point("01")));
}

TEST_F(TokenIdentities, AKeyInAnotherTokenDoesNotCount) {
  const SoftToken other(folder, "Other");
  token.makeKey("01");
  const auto key = folder.file("key.der");
  orvik::test::write(key, token.publicKeyDER("01"));
  other.writeCertificate(other.certificateOf(key), "01");
  EXPECT_THAT(tokenIdentities(), IsEmpty());
}

TEST_F(TokenIdentities, ACertificateThatIsThereTwiceIsTwoInTheOrderOfTokens) {
  const SoftToken other(folder, "Other");
  token.makeIdentity("01");
  token.certify("01", "01");
  other.makeIdentity("01");
  const auto mine = token.point("01"), others = other.point("01");
  EXPECT_THAT(pointsOf(tokenIdentities()),
              testing::AnyOf(ElementsAre(mine, mine, others), ElementsAre(others, mine, mine)));
  EXPECT_EQ(pointsOf(tokenIdentities()), pointsOf(tokenIdentities()));
}

TEST_F(TokenIdentities, ATokenThatComesAndGoesIsSeenAtTheNextCall) {
  token.makeIdentity("01");
  EXPECT_THAT(tokenIdentities(), SizeIs(1));
  const SoftToken other(folder, "Other");
  other.makeIdentity("02");
  EXPECT_THAT(tokenIdentities(), SizeIs(2));
  files::removeTree(token.path());
  EXPECT_THAT(pointsOf(tokenIdentities()), ElementsAre(other.point("02")));
}

TEST_F(UnlockedToken, TheKeyCantLeaveAndStillAgrees) {
  token.makeIdentity("01");
  EXPECT_THAT(token.list("privkey"), HasSubstr("sensitive, always sensitive, never extractable, local"));
  const auto identities = tokenIdentities();
  ASSERT_THAT(identities, SizeIs(1));
  EXPECT_TRUE(agrees(*identities.front()));
  EXPECT_THAT(token.list("secrkey"), Not(HasSubstr("Secret Key Object")));
}

TEST_F(UnlockedToken, TheSecretIsTheOneThatOpenSSLComputesOnTheOtherSide) {
  token.makeIdentity("01");
  const auto own = folder.file("own.pem").string(), ownPoint = folder.file("own.der").string(),
             theirs = folder.file("theirs.der").string(), secret = folder.file("secret").string();
  outputOf("openssl", {"genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out", own});
  outputOf("openssl", {"pkey", "-in", own, "-pubout", "-outform", "DER", "-out", ownPoint});
  orvik::test::write(theirs, token.publicKeyDER("01"));
  outputOf("openssl", {"pkeyutl", "-derive", "-inkey", own, "-peerkey", theirs, "-out", secret});

  const auto der = files::read(ownPoint);
  const auto key = tokenIdentities().at(0)->privateKey();
  EXPECT_EQ(key->sharedSecret(der.substr(der.size() - x963Size)).reveal(), files::read(secret));
}

TEST_F(UnlockedToken, AKeyIsUsedManyTimesAndOutlivesItsIdentity) {
  token.makeIdentity("01");
  const auto key = tokenIdentities().at(0)->privateKey();
  const auto peer = P256PrivateKey::generate();
  const auto secret = peer.sharedSecret(token.point("01"));
  for (int i = 0; i < 20; ++i) EXPECT_EQ(key->sharedSecret(peer.publicKey()), secret);
}

TEST_F(UnlockedToken, EachIdentityUsesItsOwnKey) {
  const SoftToken other(folder, "Other");
  token.makeIdentity("01");
  token.makeIdentity("02");
  other.makeIdentity("01");
  const auto identities = tokenIdentities();
  ASSERT_THAT(identities, SizeIs(3));
  for (const auto& each : identities) EXPECT_TRUE(agrees(*each));
}

TEST_F(UnlockedToken, APointOffTheCurveIsRefusedBeforeTheTokenSeesIt) {
  token.makeIdentity("01");
  const auto key = tokenIdentities().at(0)->privateKey();
  EXPECT_THROW(key->sharedSecret(""), AgreementError);
  EXPECT_THROW(key->sharedSecret('\4' + std::string(64, '\1')), AgreementError);
}

TEST_F(UnlockedToken, AMissingPrivateKeyIsToldWithTheTokensName) {
  token.makeIdentity("01");
  token.erase("privkey", "01");
  const auto identities = tokenIdentities();
  try {
    identities.at(0)->privateKey();
    FAIL();
  } catch (const Error& error) {
    EXPECT_EQ(error.description(), "The token \"Keys\" holds the certificate, but not its private key.");
  }
}

TEST_F(UnlockedToken, ATokenThatIsRemovedBetweenTwoCallsIsAnErrorAndNoCrash) {
  token.makeIdentity("01");
  const auto identities = tokenIdentities();
  ASSERT_THAT(identities, SizeIs(1));
  files::removeTree(token.path());
  EXPECT_THROW(identities.front()->privateKey(), Error);
  EXPECT_THROW(identities.front()->privateKey(), Error);
}

TEST_F(UnlockedToken, ThreadsAskAndUseKeysAtOnce) {
  const SoftToken other(folder, "Other");
  token.makeIdentity("01");
  other.makeIdentity("02");
  constexpr int threads = 4, rounds = 12;
  std::barrier start(threads);
  std::atomic<int> agreed = 0;
  {
    std::vector<std::jthread> all;
    for (int i = 0; i < threads; ++i)
      all.emplace_back([&] {
        start.arrive_and_wait();
        for (int round = 0; round < rounds; ++round)
          for (const auto& each : tokenIdentities())
            if (agrees(*each)) ++agreed;
      });
  }
  EXPECT_EQ(agreed, threads * rounds * 2);
}

TEST_F(UnlockedToken, AChildAsksAgainWhateverItsParentHolds) {
  token.makeIdentity("01");
  const auto held = tokenIdentities();
  const auto key = held.at(0)->privateKey();
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    const auto identities = tokenIdentities();
    ::_exit(identities.size() == 1 && agrees(*identities.front()) ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(agrees(*held.front()));
}

TEST_F(UnlockedToken, AChildMayDropWhatItsParentHolds) {
  token.makeIdentity("01");
  auto held = tokenIdentities();
  auto key = held.at(0)->privateKey();
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    key.reset();
    held.clear();
    const auto identities = tokenIdentities();
    ::_exit(identities.size() == 1 && agrees(*identities.front()) ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(agrees(*held.front()));
}

}  // namespace
}  // namespace platform::keychain
