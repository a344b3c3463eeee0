#include "OrvikCore/Store/ObjectKey.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "Platform/Crypto/Digest.h"

namespace {

using orvik::KeySet;
using orvik::ObjectKey;

TEST(ObjectKeyTest, ReadsExactly64LowerCaseDigitsAndWritesThemAgain) {
  const std::string text = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";
  const auto key = ObjectKey::parse(text);
  ASSERT_TRUE(key);
  EXPECT_EQ(key->text(), text);
  EXPECT_EQ(key->bytes[0], 0x01);
  EXPECT_EQ(key->bytes[7], 0xef);
  for (std::size_t i = 0; i < 64; ++i)
    for (const char wrong : {'A', 'g', '`', '/', ':', ' ', '\0', '\xff'}) {
      auto other = text;
      other[i] = wrong;
      EXPECT_FALSE(ObjectKey::parse(other)) << i << wrong;
    }
  EXPECT_FALSE(ObjectKey::parse(""));
  EXPECT_FALSE(ObjectKey::parse(text.substr(1)));
  EXPECT_FALSE(ObjectKey::parse(text + "0"));
}

TEST(ObjectKeyTest, OrdersAsItsTextDoes) {
  const auto low = platform::sha256Hex("a");
  const auto high = platform::sha256Hex("b");
  EXPECT_EQ(low < high, *ObjectKey::parse(low) < *ObjectKey::parse(high));
}

TEST(KeySetTest, HoldsWhatWasInsertedAndNothingElse) {
  KeySet keys;
  std::set<std::string> expected;
  EXPECT_TRUE(keys.empty());
  for (int i = 0; i < 10'000; ++i) {
    const auto text = platform::sha256Hex(std::to_string(i % 7'000));
    EXPECT_EQ(keys.insert(*ObjectKey::parse(text)), expected.insert(text).second);
  }
  EXPECT_EQ(keys.size(), expected.size());
  for (int i = 0; i < 14'000; ++i) {
    const auto text = platform::sha256Hex(std::to_string(i));
    EXPECT_EQ(keys.contains(*ObjectKey::parse(text)), expected.contains(text));
  }
}

TEST(KeySetTest, TheKeyOfZerosIsAKeyLikeAnyOther) {
  KeySet keys;
  EXPECT_FALSE(keys.contains(ObjectKey()));
  EXPECT_TRUE(keys.insert(ObjectKey()));
  EXPECT_FALSE(keys.insert(ObjectKey()));
  EXPECT_TRUE(keys.contains(ObjectKey()));
  EXPECT_EQ(keys.size(), 1U);
}

TEST(KeySetTest, KeysThatDifferInOneByteAloneAreSpread) {
  KeySet keys;
  for (std::size_t byte = 0; byte < 32; ++byte)
    for (int value = 1; value < 256; ++value) {
      ObjectKey key;
      key.bytes[byte] = static_cast<unsigned char>(value);
      EXPECT_TRUE(keys.insert(key));
    }
  EXPECT_EQ(keys.size(), 32U * 255U);
}

}  // namespace
