#include "OrvikCore/Security/BackupCipher.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Crypto/AESGCM.h"
#include "Platform/Crypto/KeyedHash.h"
#include "Platform/Hex.h"
#include "tests/Support/TestKeys.h"

namespace {

using namespace orvik;
using platform::Bytes;

const std::string zeroDataKey(32, '\0');

BackupCipher zeroCipher() { return BackupCipher(platform::Secret256::copyOf(zeroDataKey).value()); }

/// The kind and sentence with which sealed bytes are refused.
std::string refusal(const BackupCipher& cipher, std::string_view bytes) try {
  cipher.open(bytes);
  return "taken";
} catch (const BackupEncryptionError& error) {
  EXPECT_EQ(error.kind(), BackupEncryptionError::Kind::damaged);
  return error.description();
}

const std::string notAuthentic = "Encrypted data is damaged or was changed: authentication failed";

TEST(BackupCipherTest, OnlyTheWholeMagicMakesBytesSealed) {
  EXPECT_EQ(BackupCipher::magic.size(), 12U);
  EXPECT_EQ(BackupCipher::magic.back(), '\x0a');
  EXPECT_TRUE(BackupCipher::isSealed("ORVIK-AEAD1\n"));
  EXPECT_FALSE(BackupCipher::isSealed("ORVIK-AEAD1"));
  EXPECT_FALSE(BackupCipher::isSealed("ORVIK-AEAD1\r\n"));
  EXPECT_FALSE(BackupCipher::isSealed(" ORVIK-AEAD1\n"));
  EXPECT_FALSE(BackupCipher::isSealed(""));
  EXPECT_FALSE(BackupCipher::isSealed("{\n\n}"));
}

TEST(BackupCipherTest, ASealedBlobIsMagicNonceCipherTextAndTag) {
  const auto cipher = test::cipherOf();
  for (const std::size_t length : {0, 1, 15, 16, 17, 5000}) {
    const Bytes plain(length, 'p');
    const auto sealed = cipher.seal(plain);
    EXPECT_EQ(sealed.size(), 40 + length);
    EXPECT_TRUE(sealed.starts_with("ORVIK-AEAD1\n"));
    EXPECT_EQ(cipher.open(sealed), plain);
  }
}

TEST(BackupCipherTest, ItsKeysAreDerivedFromTheDataKeyWithoutSalt) {
  const auto dataKey = platform::Secret256::random();
  const auto sealKey = platform::hkdfSHA256(dataKey.reveal(), {}, "orvik seal", 32);
  const auto nameKey = platform::hkdfSHA256(dataKey.reveal(), {}, "orvik name", 32);
  const BackupCipher cipher(dataKey);
  Bytes plain;
  EXPECT_TRUE(platform::AESGCM(*platform::Secret256::copyOf(sealKey.reveal()))
                  .open(cipher.seal("text").substr(12), {}, plain));
  EXPECT_EQ(plain, "text");
  EXPECT_EQ(cipher.name("text"), platform::hexEncode(platform::HMACSHA256(nameKey.reveal())("text")));
}

TEST(BackupCipherTest, PlainBytesPassThroughOpen) {
  const auto cipher = test::cipherOf();
  for (const std::string& bytes : {std::string(), std::string("{\n\n}"), std::string("ORVIK-AEAD1"),
                                   std::string("\0\xff", 2), std::string(5000, 'x')}) {
    EXPECT_EQ(cipher.open(bytes), bytes);
    Bytes plain = "what was there";
    cipher.open(bytes, plain);
    EXPECT_EQ(plain, bytes);
  }
}

TEST(BackupCipherTest, MagicBeforeFewerThan28BytesIsDamaged) {
  const auto cipher = test::cipherOf();
  const auto sealed = cipher.seal("");
  ASSERT_EQ(sealed.size(), 40U);
  for (std::size_t length = 12; length < 40; ++length)
    EXPECT_EQ(refusal(cipher, sealed.substr(0, length)), notAuthentic) << length;
  EXPECT_EQ(refusal(cipher, sealed), "taken");
  EXPECT_EQ(refusal(cipher, sealed + "x"), notAuthentic);
}

TEST(BackupCipherTest, AnotherKeysBlobIsDamaged) {
  EXPECT_EQ(refusal(test::cipherOf("one"), test::cipherOf("other").seal("text")), notAuthentic);
}

TEST(BackupCipherTest, ABlobInABlobOpensOnce) {
  const auto cipher = test::cipherOf();
  const auto inner = cipher.seal("text");
  EXPECT_EQ(cipher.open(cipher.seal(inner)), inner);
}

TEST(BackupCipherTest, EverySealDiffersAndEveryNameIsTheSame) {
  const auto cipher = test::cipherOf();
  std::set<Bytes> seals, names;
  for (int i = 0; i < 100; ++i) {
    seals.insert(cipher.seal("text"));
    names.insert(BackupCipher(test::dataKey()).name("text"));
  }
  EXPECT_EQ(seals.size(), 100U);
  EXPECT_EQ(names.size(), 1U);
  EXPECT_TRUE(platform::isLowerHex64(*names.begin()));
}

TEST(BackupCipherTest, NamesTellNothingAcrossInstances) {
  EXPECT_NE(test::cipherOf("one").name("text"), test::cipherOf("other").name("text"));
  EXPECT_NE(test::cipherOf().name("text"), platform::sha256Hex("text"));
  EXPECT_NE(test::cipherOf().name("text"), test::cipherOf().name("text "));
}

TEST(BackupCipherTest, CopiesShareTheirKeysAndCompareEqual) {
  const auto cipher = zeroCipher();
  const auto copy = cipher;
  EXPECT_EQ(copy, cipher);
  EXPECT_EQ(zeroCipher(), cipher);
  EXPECT_FALSE(test::cipherOf() == cipher);
  EXPECT_EQ(copy.open(cipher.seal("text")), "text");
}

TEST(BackupCipherTest, ManyThreadsUseOneCipher) {
  const auto cipher = test::cipherOf();
  const auto name = cipher.name("text");
  std::atomic<int> good = 0;
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < 4; ++thread)
    threads.emplace_back([&] {
      for (int i = 0; i < 200; ++i)
        if (cipher.open(cipher.seal("text")) == "text" && cipher.name("text") == name) ++good;
    });
  threads.clear();
  EXPECT_EQ(good, 800);
}

}  // namespace
