#include "Platform/Hex.h"

#include <gtest/gtest.h>

#include "Platform/Crypto/Digest.h"

namespace platform {
namespace {

TEST(HexTest, EncodesEveryByteAsTwoLowerCaseDigits) {
  EXPECT_EQ(hexEncode(""), "");
  EXPECT_EQ(hexEncode(std::string_view("\x00\x0f\xa5\xff", 4)), "000fa5ff");
}

TEST(HexTest, DecodingGivesBackWhatWasEncoded) {
  Bytes all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  EXPECT_EQ(hexDecode(hexEncode(all)), all);
  const Bytes random = randomBytes(4097);
  EXPECT_EQ(hexDecode(hexEncode(random)), random);
}

TEST(HexTest, DecodingTakesUpperCaseDigits) { EXPECT_EQ(hexDecode("DEadBEef"), "\xde\xad\xbe\xef"); }

TEST(HexTest, DecodingRefusesWhatIsNoHexadecimalText) {
  for (const auto* text :
       {"0", "abc", "0g", "g0", " 0", "0x", "-1", "\xc3\xa9", "@0", "`0", "/0", ":0", "G0"})
    EXPECT_EQ(hexDecode(text), std::nullopt) << text;
  EXPECT_EQ(hexDecode(std::string_view("\0\0", 2)), std::nullopt);
}

TEST(HexTest, ADigestIsExactly64LowerCaseDigits) {
  const std::string name = sha256Hex("abc");
  EXPECT_TRUE(isLowerHex64(name));
  EXPECT_FALSE(isLowerHex64(""));
  EXPECT_FALSE(isLowerHex64(std::string_view(name).substr(1)));
  EXPECT_FALSE(isLowerHex64(name + "0"));
  for (const char bad : {'A', 'g', '/', '.', '\0', ' ', ':', '`'}) {
    std::string changed = name;
    changed[31] = bad;
    EXPECT_FALSE(isLowerHex64(changed)) << static_cast<int>(bad);
  }
}

}  // namespace
}  // namespace platform
