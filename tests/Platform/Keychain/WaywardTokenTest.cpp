#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <barrier>
#include <thread>
#include <vector>

#include "Platform/Crypto/P256.h"
#include "Platform/Keychain/TokenIdentities.h"
#include "Platform/Keychain/TokenSession.h"
#include "tests/Support/OnlyModule.h"
#include "tests/Support/SoftToken.h"

// Modules and tokens that don't keep to the rules.

namespace platform::keychain {
namespace {

using orvik::test::OnlyModule;
using orvik::test::ScopedVariable;
using orvik::test::SoftToken;
using orvik::test::TokenFolder;
using testing::IsEmpty;
using testing::SizeIs;

class WaywardToken : public testing::Test {
 protected:
  WaywardToken() { token.makeIdentity("01"); }

  /// The secret with `peer`, or the reason that was given.
  std::string exchange() const {
    const auto identities = tokenIdentities();
    const auto key = identities.at(0)->privateKey();
    try {
      return Bytes(key->sharedSecret(peer.publicKey()).reveal());
    } catch (const AgreementError& error) {
      return error.description();
    }
  }
  std::string secret() const { return Bytes(peer.sharedSecret(token.point("01")).reveal()); }

  std::string refusal(const Identity& identity) const try {
    identity.privateKey();
    return {};
  } catch (const Error& error) {
    return error.description();
  }

  TokenFolder folder;
  SoftToken token{folder};
  const OnlyModule module{ORVIK_WAYWARD_MODULE};
  ScopedVariable pin{"ORVIK_PKCS11_PIN", SoftToken::pin};
  ScopedVariable fault{"ORVIK_TEST_TOKEN_FAULT"};
  const files::Path log = folder.file("calls");
  ScopedVariable logVariable{"ORVIK_TEST_TOKEN_LOG", log.string()};
  const P256PrivateKey peer = P256PrivateKey::generate();
};

TEST_F(WaywardToken, WithoutAFaultItIsAnyToken) { EXPECT_EQ(exchange(), secret()); }

TEST_F(WaywardToken, AModuleThatDoesNotStartIsLeftOut) {
  fault.set("does not start");
  EXPECT_THAT(tokenIdentities(), IsEmpty());
  fault.set({});
  EXPECT_THAT(tokenIdentities(), SizeIs(1));
}

TEST_F(WaywardToken, AModuleThatIsNotThereIsLeftOut) {
  const OnlyModule missing("/nonexistent/module.so");
  EXPECT_THAT(tokenIdentities(), IsEmpty());
}

TEST_F(WaywardToken, ATokenThatTakesNoSessionIsLeftOutAndLaterAnError) {
  const auto identities = tokenIdentities();
  fault.set("no session");
  EXPECT_THAT(tokenIdentities(), IsEmpty());
  EXPECT_EQ(refusal(*identities.at(0)),
            "The token \"Keys\" can't be used: The device was removed or unplugged");
}

TEST_F(WaywardToken, CountsAreBounded) {
  fault.set("endless slots");
  EXPECT_THAT(tokenIdentities(), SizeIs(256));
  fault.set("endless objects");
  EXPECT_THAT(tokenIdentities(), SizeIs(mostTokenObjects));
  fault.set("more objects than room");
  EXPECT_THAT(tokenIdentities(), IsEmpty());
}

TEST_F(WaywardToken, SizesAreBounded) {
  for (const auto* name : {"huge attributes", "attributes that grow"}) {
    fault.set(name);
    EXPECT_THAT(tokenIdentities(), IsEmpty()) << name;
  }
}

TEST_F(WaywardToken, AnotherTokenInTheSlotIsNotTriedWithThePIN) {
  const auto identities = tokenIdentities();
  fault.set("another token");
  EXPECT_EQ(refusal(*identities.at(0)), "The token \"Keys\" is no longer in its slot.");
  EXPECT_EQ(files::read(log), "C_Initialize\n");
}

TEST_F(WaywardToken, APINThatIsLockedByTheTryIsToldSo) {
  fault.set("locked");
  EXPECT_EQ(
      refusal(*tokenIdentities().at(0)),
      "The PIN of the token \"Keys\" is locked after too many wrong ones; the token's own tool unlocks it.");
}

TEST_F(WaywardToken, ThreadsWithAWrongPINLeaveTheLastTry) {
  fault.set("two tries");
  pin.set("999999");
  const auto identities = tokenIdentities();
  constexpr int threads = 4;
  std::barrier start(threads);
  {
    std::vector<std::jthread> all;
    for (int i = 0; i < threads; ++i)
      all.emplace_back([&] {
        start.arrive_and_wait();
        EXPECT_THROW(identities.at(0)->privateKey(), Error);
      });
  }
  EXPECT_EQ(files::read(log), "C_Initialize\nC_Login\n");
}

TEST_F(WaywardToken, ALabelThatIsNoTextIsShownAsQuestionMarks) {
  pin.set({});
  fault.set("strange label");
  EXPECT_EQ(
      refusal(*tokenIdentities().at(0)),
      "The token \"" + std::string(32, '?') +
          "\" asks for a PIN. Put it in ORVIK_PKCS11_PIN or its file's path in ORVIK_PKCS11_PIN_SOURCE.");
}

TEST_F(WaywardToken, ATokenThatWantsTheWrappedPointGetsItSecond) {
  fault.set("octet strings only");
  EXPECT_EQ(exchange(), secret());
  EXPECT_EQ(files::read(log),
            "C_Initialize\nC_Login\nC_DeriveKey raw\nC_DeriveKey octet string\nC_DestroyObject\n");
}

TEST_F(WaywardToken, AKeyThatMayNotAgreeGivesTheTokensReason) {
  fault.set("no derivation");
  EXPECT_EQ(exchange(), "This operation cannot be done with this key");
}

TEST_F(WaywardToken, ASecretOfAnotherLengthIsRefusedAndLeavesTheToken) {
  fault.set("short secrets");
  EXPECT_EQ(exchange(), "The token's result has another length than 32 bytes");
  EXPECT_EQ(files::read(log), "C_Initialize\nC_Login\nC_DeriveKey raw\nC_DestroyObject\n");
}

TEST_F(WaywardToken, ASecretThatCantBeReadGivesTheTokensReason) {
  const auto identities = tokenIdentities();
  const auto key = identities.at(0)->privateKey();
  fault.set("secrets stay inside");
  EXPECT_THROW(key->sharedSecret(peer.publicKey()), AgreementError);
}

}  // namespace
}  // namespace platform::keychain
