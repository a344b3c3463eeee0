#include "Platform/Crypto/KeyedHash.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Crypto/CryptoError.h"
#include "Platform/Hex.h"

namespace platform {
namespace {

std::string ascending(unsigned char first, unsigned char last) {
  std::string bytes;
  for (unsigned value = first; value <= last; ++value) bytes += static_cast<char>(value);
  return bytes;
}

// RFC 4231, section 4.
TEST(KeyedHashTest, HMACMatchesThePublishedExamples) {
  const struct {
    std::string key, text;
    const char* code;
  } examples[]{
      {std::string(20, '\x0b'), "Hi There",
       "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7"},
      {"Jefe", "what do ya want for nothing?",
       "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843"},
      {std::string(20, '\xaa'), std::string(50, '\xdd'),
       "773ea91e36800e46854db8ebd09181a72959098b3ef8c122d9635514ced565fe"},
      {ascending(1, 25), std::string(50, '\xcd'),
       "82558a389a443c0ea4cc819899f2083a85f0faa3e578f8077a2e3ff46729665b"},
      {std::string(131, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First",
       "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54"},
      {std::string(131, '\xaa'),
       "This is a test using a larger than block-size key and a larger than block-size data. The key needs "
       "to "
       "be hashed before being used by the HMAC algorithm.",
       "9b09ffa71b942fcb27635fbcd5b0e944bfdc63644f0713938a7f51535c3a35e2"},
  };
  for (const auto& example : examples) {
    const HMACSHA256 hash(example.key);
    EXPECT_EQ(hexEncode(hash(example.text)), example.code);
    EXPECT_EQ(hexEncode(hash(example.text)), example.code) << "the second time";
  }
  EXPECT_TRUE(hexEncode(HMACSHA256(std::string(20, '\x0c'))("Test With Truncation"))
                  .starts_with("a3b6167473100ee06e0c796c2955552b"));
}

TEST(KeyedHashTest, HMACOfNothingIsTheSameUnderAKeyOf256BitsAndItsBytes) {
  const auto key = Secret256::random();
  EXPECT_EQ(HMACSHA256(key)(""), HMACSHA256(key.reveal())(""));
  EXPECT_EQ(HMACSHA256(key)("").size(), 32U);
}

TEST(KeyedHashTest, ManyThreadsShareOneHash) {
  const HMACSHA256 hash("Jefe");
  const auto expected = hash("what do ya want for nothing?");
  std::atomic<int> good = 0;
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < 4; ++thread)
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i)
        if (hash("what do ya want for nothing?") == expected) ++good;
    });
  threads.clear();
  EXPECT_EQ(good, 2000);
}

// RFC 5869, appendix A.1 to A.3.
TEST(KeyedHashTest, HKDFMatchesThePublishedExamples) {
  const struct {
    std::string material, salt, info, output;
  } examples[]{
      {std::string(22, '\x0b'), ascending(0x00, 0x0c), ascending(0xf0, 0xf9),
       "3cb25f25faacd57a90434f64d0362f2a2d2d0a90cf1a5a4c5db02d56ecc4c5bf34007208d5b887185865"},
      {ascending(0x00, 0x4f), ascending(0x60, 0xaf), ascending(0xb0, 0xff),
       "b11e398dc80327a1c8e7f78c596a49344f012eda2d4efad8a050cc4c19afa97c"
       "59045a99cac7827271cb41c65e590e09da3275600c2f09b8367793a9aca3db71cc30c58179ec3e87c14c01d5c1f3434f1d8"
       "7"},
      {std::string(22, '\x0b'), "", "",
       "8da4e775a563c18f715f802a063c5a31b8a11f5c5ee1879ec3454e5f3c738d2d9d201395faa4b61a96c8"},
  };
  for (const auto& example : examples) {
    const auto derived = hkdfSHA256(example.material, example.salt, example.info, example.output.size() / 2);
    EXPECT_EQ(hexEncode(derived.reveal()), example.output);
  }
}

TEST(KeyedHashTest, ADerivedKeyIsTheFirst32Bytes) {
  const auto material = Secret256::random();
  EXPECT_EQ(deriveKey(material, "salt", "info").reveal(),
            hkdfSHA256(material.reveal(), "salt", "info", 64).reveal().substr(0, 32));
  EXPECT_NE(deriveKey(material, "salt", "info"), deriveKey(material, "salt", "Info"));
  EXPECT_NE(deriveKey(material, "salt", "info"), deriveKey(material, {}, "info"));
}

// RFC 5869, 2.2: no salt is a salt of 32 zero bytes.
TEST(KeyedHashTest, NoSaltIsAStringOfZeros) {
  const auto material = Secret256::random();
  EXPECT_EQ(deriveKey(material, {}, "info"), deriveKey(material, std::string(32, '\0'), "info"));
}

TEST(KeyedHashTest, HKDFRefusesALengthThatItCantGive) {
  EXPECT_EQ(hkdfSHA256("material", "", "", 8160).reveal().size(), 8160U);
  EXPECT_THROW(hkdfSHA256("material", "", "", 8161), CryptoError);
  EXPECT_THROW(hkdfSHA256("material", "", "", 0), CryptoError);
}

}  // namespace
}  // namespace platform
