#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "Platform/Crypto/P256.h"
#include "Platform/Keychain/TokenIdentities.h"
#include "tests/Support/OnlyModule.h"
#include "tests/Support/SoftToken.h"

// How private keys in a token are reached, and what is said when they can't be.

namespace platform::keychain {
namespace {

using orvik::test::OnlyModule;
using orvik::test::ScopedVariable;
using orvik::test::SoftToken;
using orvik::test::TokenFolder;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr std::uint64_t keypad = 0x100, fewTries = 0x10000, lastTry = 0x20000, locked = 0x40000;
constexpr const char* wrongPIN = "999999";

class TokenLogin : public testing::Test {
 protected:
  TokenLogin() { token.makeIdentity("01"); }

  /// Why the key can't be had; empty when it can, and is the right one.
  std::string refusal() const {
    const auto identities = tokenIdentities();
    if (identities.size() != 1) return "no identity";
    try {
      const auto peer = P256PrivateKey::generate();
      EXPECT_EQ(identities.front()->privateKey()->sharedSecret(peer.publicKey()),
                peer.sharedSecret(token.point("01")));
      return {};
    } catch (const Error& error) {
      return error.description();
    }
  }

  void writePIN(std::string_view content, mode_t mode = 0600) const {
    orvik::test::write(pinFile, content);
    ASSERT_EQ(::chmod(pinFile.c_str(), mode), 0);
  }

  /// The calls that started the module or reached for a PIN or a key, one a line; only a module that notes
  /// them has any.
  std::string calls() const { return files::tryRead(log).value_or("none were noted"); }

  TokenFolder folder;
  SoftToken token{folder};
  ScopedVariable pin{"ORVIK_PKCS11_PIN"};
  ScopedVariable source{"ORVIK_PKCS11_PIN_SOURCE"};
  const files::Path pinFile = folder.file("pin");
  const files::Path log = folder.file("calls");
  ScopedVariable logVariable{"ORVIK_TEST_TOKEN_LOG", log.string()};
};

TEST_F(TokenLogin, ThePINOfTheEnvironmentOpensTheToken) {
  pin.set(SoftToken::pin);
  EXPECT_EQ(refusal(), "");
}

TEST_F(TokenLogin, WithoutAPINTheTokenAndBothVariablesAreNamed) {
  const std::string sentence =
      "The token \"Keys\" asks for a PIN. Put it in ORVIK_PKCS11_PIN or its file's path in "
      "ORVIK_PKCS11_PIN_SOURCE.";
  EXPECT_EQ(refusal(), sentence);
  pin.set("");
  source.set("");
  EXPECT_EQ(refusal(), sentence);
}

TEST_F(TokenLogin, ThePINIsTheFirstLineOfTheSourceFile) {
  for (const auto* content : {"481516", "481516\n", "481516\r\n", "481516\nlater lines\n"}) {
    writePIN(content);
    for (const auto* scheme : {"", "file:", "file://"}) {
      source.set(scheme + pinFile.string());
      EXPECT_EQ(refusal(), "") << scheme << content;
    }
  }
}

TEST_F(TokenLogin, ThePINOfTheEnvironmentGoesBeforeTheFile) {
  writePIN(wrongPIN);
  source.set(pinFile.string());
  pin.set(SoftToken::pin);
  EXPECT_EQ(refusal(), "");
}

TEST_F(TokenLogin, APINFileThatOthersCanReadIsRefusedWithWhatMendsIt) {
  source.set("file:" + pinFile.string());
  for (const mode_t mode : {0644u, 0640u, 0602u}) {
    writePIN(SoftToken::pin, mode);
    EXPECT_EQ(refusal(), "Others have a right to the PIN file " + pinFile.string() +
                             ". This mends it: chmod 600 " + pinFile.string());
  }
}

TEST_F(TokenLogin, APINFileThatIsMissingEmptyOrFarTooLongIsNamed) {
  source.set(pinFile.string());
  EXPECT_EQ(refusal(), "Can't read " + pinFile.string() + ": No such file or directory");
  for (const auto* content : {"", "\n481516\n", "\r\n"}) {
    writePIN(content);
    EXPECT_EQ(refusal(), "The PIN file " + pinFile.string() + " begins with an empty line.");
  }
  writePIN(std::string(5000, '1'));
  EXPECT_THAT(refusal(), HasSubstr("Can't read " + pinFile.string() + ": it is longer than"));
}

TEST_F(TokenLogin, APINSourceThatIsNoFileIsNotWaitedFor) {
  const auto pipe = folder.file("pipe");
  orvik::test::makePipe(pipe);
  for (const auto& path : {pipe, folder.tokens(), files::Path("/dev/tty")}) {
    source.set(path.string());
    EXPECT_EQ(refusal(), "The PIN file " + path.string() + " is no regular file.");
  }
}

TEST_F(TokenLogin, AWrongPINIsToldWithItsSourceAndNeverShown) {
  pin.set(wrongPIN);
  EXPECT_EQ(refusal(), "The PIN in ORVIK_PKCS11_PIN is not that of the token \"Keys\".");
  pin.set("1");
  EXPECT_EQ(refusal(), "The PIN in ORVIK_PKCS11_PIN is not that of the token \"Keys\".");
  pin.set(std::string(4000, '7'));
  EXPECT_EQ(refusal(), "The PIN in ORVIK_PKCS11_PIN is not that of the token \"Keys\".");
  pin.set({});
  writePIN(wrongPIN);
  source.set(pinFile.string());
  EXPECT_EQ(refusal(), "The PIN in the file " + pinFile.string() + " is not that of the token \"Keys\".");
}

TEST_F(TokenLogin, AWrongPINIsTriedOnceHoweverOftenTheKeyIsWanted) {
  const OnlyModule noting(ORVIK_WAYWARD_MODULE);
  pin.set(wrongPIN);
  for (int i = 0; i < 5; ++i)
    EXPECT_EQ(refusal(), "The PIN in ORVIK_PKCS11_PIN is not that of the token \"Keys\".");
  const auto noted = calls();
  EXPECT_EQ(noted.find("C_Login"), noted.rfind("C_Login")) << noted;
  pin.set(SoftToken::pin);
  EXPECT_EQ(refusal(), "");
}

TEST_F(TokenLogin, ListingNeverLogsIn) {
  const OnlyModule noting(ORVIK_WAYWARD_MODULE);
  pin.set(SoftToken::pin);
  EXPECT_THAT(tokenIdentities(), testing::SizeIs(1));
  EXPECT_EQ(calls(), "C_Initialize\n");
}

TEST_F(TokenLogin, OneKeyIsOneLoginAndLeavesNothingBehind) {
  const OnlyModule noting(ORVIK_WAYWARD_MODULE);
  pin.set(SoftToken::pin);
  const auto identities = tokenIdentities();
  const auto key = identities.at(0)->privateKey();
  const auto second = identities.at(0)->privateKey();
  EXPECT_EQ(calls(), "C_Initialize\nC_Login\n");
  key->sharedSecret(P256PrivateKey::generate().publicKey());
  EXPECT_EQ(calls(), "C_Initialize\nC_Login\nC_DeriveKey raw\nC_DestroyObject\n");
}

TEST_F(TokenLogin, WhereSomebodyIsLoggedInNoPINIsNeeded) {
  pin.set(SoftToken::pin);
  const auto identities = tokenIdentities();
  const auto key = identities.at(0)->privateKey();
  pin.set({});
  EXPECT_EQ(refusal(), "");
}

TEST_F(TokenLogin, TheLoginEndsWithTheLastKey) {
  const auto identities = tokenIdentities();
  pin.set(SoftToken::pin);
  identities.at(0)->privateKey();
  pin.set({});
  EXPECT_THROW(identities.at(0)->privateKey(), Error);
}

TEST_F(TokenLogin, TheLastTryIsLeftToItsOwner) {
  const OnlyModule noting(ORVIK_WAYWARD_MODULE);
  token.addFlags(lastTry | fewTries);
  for (const auto* text : {SoftToken::pin, wrongPIN, ""}) {
    pin.set(text);
    EXPECT_EQ(
        refusal(),
        "The token \"Keys\" allows one more try before its PIN is locked, and that is left to you: log in "
        "once with the token's own tool.");
  }
  EXPECT_EQ(calls(), "C_Initialize\nC_Initialize\nC_Initialize\n");
}

TEST_F(TokenLogin, FewTriesAreNotTheLast) {
  token.addFlags(fewTries);
  pin.set(SoftToken::pin);
  EXPECT_EQ(refusal(), "");
}

TEST_F(TokenLogin, ALockedPINIsNotTried) {
  const OnlyModule noting(ORVIK_WAYWARD_MODULE);
  token.addFlags(locked | lastTry);
  pin.set(SoftToken::pin);
  EXPECT_EQ(refusal(),
            "The PIN of the token \"Keys\" is locked after too many wrong ones; the token's own tool "
            "unlocks it.");
  EXPECT_EQ(calls(), "C_Initialize\n");
}

TEST_F(TokenLogin, AKeypadIsNeverWaitedFor) {
  const OnlyModule noting(ORVIK_WAYWARD_MODULE);
  token.addFlags(keypad);
  EXPECT_EQ(refusal(),
            "The token \"Keys\" takes its PIN on a keypad, where nobody may be to type it. If it takes "
            "one from a program too, put it in ORVIK_PKCS11_PIN or its file's path in "
            "ORVIK_PKCS11_PIN_SOURCE.");
  EXPECT_EQ(calls(), "C_Initialize\n");
  pin.set(SoftToken::pin);
  EXPECT_EQ(refusal(), "");
}

}  // namespace
}  // namespace platform::keychain
