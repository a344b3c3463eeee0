#include "OrvikCore/Security/SecretEnvelope.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "OrvikCore/Security/SecretError.h"
#include "Platform/Base64.h"
#include "Platform/Crypto/AESGCM.h"
#include "Platform/Crypto/KeyedHash.h"
#include "Platform/Hex.h"
#include "tests/Support/TestKeys.h"

namespace {

using namespace orvik;
using platform::Bytes;

static_assert(
    std::is_same_v<decltype(SecretEnvelope::decrypt("", test::organisationKeys())), platform::SecretString>);

/// Agrees with one key whatever ID it is asked for.
class AnyIDProvider final : public DecryptionKeyProvider {
 public:
  platform::Secret256 sharedSecret(const std::string&, std::string_view ephemeralX963) const override {
    return test::organisationKey().sharedSecret(ephemeralX963);
  }
  PublicKeys publicKeys() const override { return {}; }
};

class RefusingProvider final : public DecryptionKeyProvider {
 public:
  platform::Secret256 sharedSecret(const std::string& keyID, std::string_view) const override {
    throw SecretError::crypto("refused for " + keyID);
  }
  PublicKeys publicKeys() const override { return {}; }
};

std::string sealed(std::string_view text) {
  return SecretEnvelope::encrypt(text, test::organisationKey().publicKey());
}

std::string opened(std::string_view value) {
  return std::string(SecretEnvelope::decrypt(value, test::organisationKeys()).reveal());
}

/// The text of the failure; "taken" without one.
std::string failure(std::string_view value,
                    const DecryptionKeyProvider& keys = test::organisationKeys()) try {
  SecretEnvelope::decrypt(value, keys);
  return "taken";
} catch (const SecretError& error) {
  return error.text();
}

const std::string notAValue = "not a ORVIK-ENC value";
const std::string malformed = "malformed value";

std::string head() { return "ORVIK-ENC:v1:" + test::organisationKeyID() + ":"; }

std::string notAuthentic() { return "authentication failed for key " + test::organisationKeyID(); }

std::string urlSafe(std::string_view bytes) {
  auto text = platform::base64Encode(bytes);
  while (text.ends_with('=')) text.pop_back();
  for (char& c : text) c = c == '+' ? '-' : c == '/' ? '_' : c;
  return text;
}

Bytes payloadOf(const std::string& value) {
  auto text = value.substr(head().size());
  for (char& c : text) c = c == '-' ? '+' : c == '_' ? '/' : c;
  text.append((4 - text.size() % 4) % 4, '=');
  return platform::base64Decode(text).value();
}

/// A value that holds any bytes, made from its parts.
std::string valueOf(std::string_view plain) {
  const auto ephemeral = platform::P256PrivateKey::generate();
  const auto key = platform::deriveKey(ephemeral.sharedSecret(test::organisationKey().publicKey()),
                                       ephemeral.publicKey(), "orvik-enc-v1");
  Bytes payload = ephemeral.publicKey();
  platform::AESGCM(key).seal(plain, "ORVIK-ENC:v1:" + test::organisationKeyID(), payload);
  return head() + urlSafe(payload);
}

TEST(SecretEnvelopeTest, OpensWhatItSealed) {
  for (const std::string& text :
       {std::string("client secret"), std::string("a"), std::string("Grüße 🗝️ ключ"),
        std::string("\0x", 2), std::string("line\nline\r\n"), std::string("  blanks "),
        std::string(1000, 'x')})
    EXPECT_EQ(opened(sealed(text)), text);
}

TEST(SecretEnvelopeTest, OpensAMebibyte) {
  const std::string text(1 << 20, 'm');
  EXPECT_EQ(opened(sealed(text)), text);
}

TEST(SecretEnvelopeTest, AValueHasTheStatedForm) {
  const auto value = sealed("text");
  EXPECT_TRUE(value.starts_with(head()));
  EXPECT_EQ(value.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_",
                                    head().size()),
            std::string::npos);
  const auto payload = payloadOf(value);
  EXPECT_EQ(payload.size(), 93U + 4U);
  EXPECT_EQ(payload.front(), '\x04');
  EXPECT_NO_THROW(platform::requireP256PublicKey(payload.substr(0, 65)));
}

TEST(SecretEnvelopeTest, OpensAValueThatWasMadeFromItsParts) { EXPECT_EQ(opened(valueOf("parts")), "parts"); }

TEST(SecretEnvelopeTest, AnEmptyTextHasAPayloadOf93Bytes) {
  EXPECT_EQ(payloadOf(sealed("")).size(), 93U);
  EXPECT_EQ(opened(sealed("")), "");
}

TEST(SecretEnvelopeTest, EachValueHasItsOwnKeyAndNonce) {
  std::set<Bytes> keys, nonces;
  for (int i = 0; i < 20; ++i) {
    const auto payload = payloadOf(sealed("same"));
    keys.insert(payload.substr(0, 65));
    nonces.insert(payload.substr(65, 12));
  }
  EXPECT_EQ(keys.size(), 20U);
  EXPECT_EQ(nonces.size(), 20U);
}

TEST(SecretEnvelopeTest, WhiteSpaceAroundAValueIsIgnoredButMakesItNoEnvelope) {
  const auto value = sealed("text");
  EXPECT_TRUE(SecretEnvelope::isEnvelope(value));
  for (const char* space :
       {" ", "\n", "\r\n", "\t \v\f", "\xC2\xA0", "\xC2\x85", "\xE2\x80\xA8", "\xE3\x80\x80"}) {
    EXPECT_EQ(opened(space + value + space), "text");
    EXPECT_FALSE(SecretEnvelope::isEnvelope(space + value));
    EXPECT_TRUE(SecretEnvelope::isEnvelope(value + space));
  }
}

TEST(SecretEnvelopeTest, OnlyThePrefixMakesAnEnvelope) {
  EXPECT_TRUE(SecretEnvelope::isEnvelope("ORVIK-ENC:v1:"));
  EXPECT_TRUE(SecretEnvelope::isEnvelope("ORVIK-ENC:v1:anything at all"));
  for (const char* text : {"", "ORVIK-ENC:v1", "ORVIK-ENC:v2:", "orvik-enc:v1:", "XORVIK-ENC:v1:"})
    EXPECT_FALSE(SecretEnvelope::isEnvelope(text)) << text;
}

TEST(SecretEnvelopeTest, AKeyIDIsTheBeginningOfTheDigestOfAnyBytes) {
  EXPECT_EQ(SecretEnvelope::keyID(""), "e3b0c44298fc1c14");
  EXPECT_EQ(SecretEnvelope::keyID("abc"), "ba7816bf8f01cfea");
}

TEST(SecretEnvelopeTest, AChangedKeyIDFailsAlsoWhereTheProviderHasThatKey) {
  const auto value = sealed("text");
  const auto other = platform::P256PrivateKey::generate();
  const auto otherID = SecretEnvelope::keyID(other.publicKey());
  const auto changed = "ORVIK-ENC:v1:" + otherID + value.substr(head().size() - 1);
  EXPECT_EQ(failure(changed, InMemoryKeyProvider({test::organisationKey(), other})),
            "authentication failed for key " + otherID);
  EXPECT_EQ(failure(changed, AnyIDProvider()), "authentication failed for key " + otherID);
  EXPECT_EQ(failure(changed), "no private key for key id " + otherID);
}

TEST(SecretEnvelopeTest, AValueNeedsItsPrefixAndTwoPieces) {
  const auto value = sealed("text");
  const auto id = test::organisationKeyID();
  for (const std::string& text :
       {std::string(), std::string("   "), std::string("text"), std::string("ORVIK-ENC:v1:"),
        std::string("ORVIK-ENC:v1::"), std::string("ORVIK-ENC:v1:::::"), "ORVIK-ENC:v1:" + id, head(),
        head() + "  \n", "ORVIK-ENC:v1::" + id + ":", "orvik-enc:v1:" + value.substr(13), "x" + value,
        "ORVIK-ENC:v2:" + value.substr(13), "ORVIK-ENC:v1" + value.substr(13), "\xEF\xBB\xBF" + value})
    EXPECT_EQ(failure(text), notAValue) << text;
}

TEST(SecretEnvelopeTest, ColonsInFrontOfTheKeyIDAreEmptyPieces) {
  const auto value = sealed("text");
  EXPECT_EQ(opened("ORVIK-ENC:v1::" + value.substr(13)), "text");
  EXPECT_EQ(opened("ORVIK-ENC:v1::::" + value.substr(13)), "text");
}

TEST(SecretEnvelopeTest, APayloadIsCutAtTheFirstColonOnly) {
  const auto value = sealed("text");
  EXPECT_EQ(failure(value + ":"), malformed);
  EXPECT_EQ(failure(head() + ":" + value.substr(head().size())), malformed);
  EXPECT_EQ(failure(head() + ":"), malformed);
  auto inside = value;
  inside[value.size() - 10] = ':';
  EXPECT_EQ(failure(inside), malformed);
}

TEST(SecretEnvelopeTest, APayloadMayBePaddedAlready) {
  for (const char* text : {"", "1", "12", "123"}) {
    auto value = sealed(text);
    while ((value.size() - head().size()) % 4 != 0) value += '=';
    EXPECT_EQ(opened(value), text);
    EXPECT_EQ(failure(value + "===="), malformed);
  }
}

TEST(SecretEnvelopeTest, APayloadMayHaveTheDigitsOfStandardBase64) {
  auto value = sealed(std::string(300, 'x'));
  for (std::size_t i = head().size(); i < value.size(); ++i)
    value[i] = value[i] == '-' ? '+' : value[i] == '_' ? '/' : value[i];
  EXPECT_EQ(opened(value), std::string(300, 'x'));
}

TEST(SecretEnvelopeTest, APayloadThatIsNoBase64IsMalformed) {
  const auto value = sealed("text");
  EXPECT_EQ(failure(head() + std::string(125, 'A')), malformed) << "1 modulo 4: three \"=\" are no padding";
  for (const char* bad : {" ", "\n", "\t", "*", "=", "\xC3\xBC", ".", ","}) {
    auto changed = value;
    changed.replace(head().size() + 40, 1, bad);
    EXPECT_EQ(failure(changed), malformed) << bad;
  }
  EXPECT_EQ(failure(head() + "?"), malformed);
  EXPECT_EQ(failure(value + std::string(1, '\0')), malformed);
}

TEST(SecretEnvelopeTest, StrayBitsInTheLastDigitAreMalformed) {
  for (const char* text : {"1", "12"}) {  // 94 and 95 bytes: four and two bits are left over
    auto value = sealed(text);
    ASSERT_NE((value.size() - head().size()) % 4, 0U);
    ++value.back();
    EXPECT_EQ(failure(value), malformed) << value.back();
  }
}

TEST(SecretEnvelopeTest, APayloadOfFewerThan93BytesIsMalformed) {
  const auto payload = payloadOf(sealed(""));
  for (std::size_t length = 1; length < payload.size(); ++length)
    EXPECT_EQ(failure(head() + urlSafe(payload.substr(0, length))), malformed) << length;
  EXPECT_EQ(failure(head() + urlSafe(payload)), "taken");
}

TEST(SecretEnvelopeTest, ATamperedPayloadIsNotAuthentic) {
  const auto payload = payloadOf(sealed("text"));
  for (const std::size_t at : {std::size_t{64}, std::size_t{65}, std::size_t{77}, payload.size() - 1}) {
    auto changed = payload;
    changed[at] = static_cast<char>(changed[at] ^ 1);
    EXPECT_EQ(failure(head() + urlSafe(changed)), notAuthentic()) << at;
  }
  EXPECT_EQ(failure(head() + urlSafe(payload + '\0')), notAuthentic());
  EXPECT_EQ(failure(head() + urlSafe(payload.substr(0, payload.size() - 1))), notAuthentic());
}

TEST(SecretEnvelopeTest, AnEphemeralKeyThatIsNoPointIsNotAuthentic) {
  auto payload = payloadOf(sealed("text"));
  for (const Bytes& point :
       {Bytes(65, '\0'), '\x04' + Bytes(64, '\0'), '\x02' + payload.substr(1, 64), Bytes(65, '\xff')}) {
    payload.replace(0, 65, point);
    EXPECT_EQ(failure(head() + urlSafe(payload)), notAuthentic());
  }
}

TEST(SecretEnvelopeTest, AnotherKeyUnderTheSameIDIsNotAuthentic) {
  class OtherKey final : public DecryptionKeyProvider {
   public:
    platform::Secret256 sharedSecret(const std::string&, std::string_view point) const override {
      return platform::P256PrivateKey::generate().sharedSecret(point);
    }
    PublicKeys publicKeys() const override { return {}; }
  };
  EXPECT_EQ(failure(sealed("text"), OtherKey()), notAuthentic());
}

TEST(SecretEnvelopeTest, WhatTheProviderSaysPassesThrough) {
  EXPECT_EQ(failure(sealed("text"), RefusingProvider()), "refused for " + test::organisationKeyID());
  EXPECT_EQ(failure(sealed("text"), InMemoryKeyProvider({})),
            "no private key for key id " + test::organisationKeyID());
}

TEST(SecretEnvelopeTest, EveryOtherFailureOfAProviderIsNotAuthentic) {
  class Broken final : public DecryptionKeyProvider {
   public:
    platform::Secret256 sharedSecret(const std::string&, std::string_view) const override {
      throw std::runtime_error("the token is gone");
    }
    PublicKeys publicKeys() const override { return {}; }
  };
  EXPECT_EQ(failure(sealed("text"), Broken()), notAuthentic());
}

TEST(SecretEnvelopeTest, AKeyIDIsTakenAsItStands) {
  EXPECT_EQ(failure("ORVIK-ENC:v1: k :" + std::string(124, 'A')), "no private key for key id  k ");
  EXPECT_EQ(failure("ORVIK-ENC:v1:k\n:" + std::string(124, 'A')), "no private key for key id k\n");
}

TEST(SecretEnvelopeTest, AnOpenedTextMustBeUTF8) {
  for (const char* bytes : {"\xff", "caf\xe9", "\xed\xa0\x80", "\xc0\x80", "\xf5\x80\x80\x80", "\xe2\x82"})
    EXPECT_EQ(failure(valueOf(bytes)), "plaintext is not UTF-8");
}

TEST(SecretEnvelopeTest, ARecipientThatIsNoPointIsThePrimitivesFailure) {
  const auto point = test::organisationKey().publicKey();
  for (const Bytes& recipient : {Bytes(), Bytes(65, '\0'), point.substr(1), point + '\0'})
    EXPECT_THROW(SecretEnvelope::encrypt("text", recipient), platform::CryptoError);
}

TEST(SecretEnvelopeTest, ErrorsSayWhatTheyAreAboutAndCompareByText) {
  const auto error = SecretError::crypto("malformed value");
  EXPECT_EQ(error.description(), "Encrypted secret: malformed value");
  EXPECT_EQ(error, SecretError::crypto("malformed value"));
  EXPECT_FALSE(error == SecretError::crypto("malformed"));
}

TEST(InMemoryKeyProviderTest, EntersEachKeyUnderItsID) {
  const auto one = platform::P256PrivateKey::generate();
  const auto other = platform::P256PrivateKey::generate();
  const InMemoryKeyProvider keys({one, other, one});
  const auto oneID = SecretEnvelope::keyID(one.publicKey());
  EXPECT_EQ(keys.publicKeys(), (PublicKeys{{oneID, one.publicKey()},
                                           {SecretEnvelope::keyID(other.publicKey()), other.publicKey()}}));
  EXPECT_EQ(keys.sharedSecret(oneID, other.publicKey()), one.sharedSecret(other.publicKey()));
  EXPECT_THROW(keys.sharedSecret(oneID, "no point"), platform::CryptoError);
  EXPECT_TRUE(InMemoryKeyProvider({}).publicKeys().empty());
}

}  // namespace
