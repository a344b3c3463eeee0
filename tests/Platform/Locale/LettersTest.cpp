#include <gtest/gtest.h>

#include "Platform/Locale/Text.h"
#include "tests/Support/ScopedVariable.h"

namespace platform::locale {
namespace {

using orvik::test::ScopedVariable;

TEST(Letters, LettersMarksAndNumbersAreAlphanumeric) {
  for (const char32_t scalar : std::u32string_view(U"azAZ09ßÄЖ日\u0301\u0903²½Ⅷ٣𝒜ªǅʰ")) {
    EXPECT_TRUE(isAlphanumeric(scalar)) << std::hex << static_cast<std::uint32_t>(scalar);
  }
}

TEST(Letters, NothingElseIs) {
  for (const char32_t scalar : U" -._/\\:+€©😀\u00A0\u200D\uFFFD\uE000\u0378\n\x7F") {
    EXPECT_FALSE(isAlphanumeric(scalar)) << std::hex << static_cast<std::uint32_t>(scalar);
  }
  for (const char32_t number : {0xD800u, 0x110000u, 0x80000041u, 0xFFFFFFFFu})
    EXPECT_FALSE(isAlphanumeric(number));
}

TEST(Letters, LowerCaseOfASCIILeavesTheRest) {
  EXPECT_EQ(lowercased(""), "");
  EXPECT_EQ(lowercased("JAMF-01._@[`{Z"), "jamf-01._@[`{z");
  EXPECT_EQ(lowercased(std::string_view("A\0B", 3)), std::string_view("a\0b", 3));
}

TEST(Letters, LowerCaseKnowsUnicode) {
  EXPECT_EQ(lowercased("ÄÖÜ ẞ"), "äöü ß");
  EXPECT_EQ(lowercased("ΟΔΟΣ"), "οδος");  // sigma at the end of a word
  EXPECT_EQ(lowercased("İ"), "i\u0307");
  EXPECT_EQ(lowercased("日本 X"), "日本 x");
}

TEST(Letters, LowerCaseDoesNotKnowTheLocale) {
  const ScopedVariable locale("LC_ALL", "tr_TR.UTF-8");
  EXPECT_EQ(lowercased("I é"), "i é");
  EXPECT_EQ(lowercased("I"), "i");
}

TEST(Letters, UpperCaseKnowsUnicodeAndNoLocale) {
  const ScopedVariable locale("LC_ALL", "tr_TR.UTF-8");
  EXPECT_EQ(uppercased(""), "");
  EXPECT_EQ(uppercased("jamf-01._@[`{zZ"), "JAMF-01._@[`{ZZ");
  EXPECT_EQ(uppercased("äöü ß i"), "ÄÖÜ SS I");
  EXPECT_EQ(uppercased("日本 x\xFF"), "日本 X\uFFFD");
}

TEST(Letters, AScalarHasAKind) {
  for (const char32_t scalar : std::u32string_view(U"azßäжªʰ"))
    EXPECT_EQ(letterKind(scalar), LetterKind::lowercase) << static_cast<std::uint32_t>(scalar);
  for (const char32_t scalar : std::u32string_view(U"AZẞÄЖ𝒜"))
    EXPECT_EQ(letterKind(scalar), LetterKind::uppercase) << static_cast<std::uint32_t>(scalar);
  for (const char32_t scalar : std::u32string_view(U"09٣²½"))
    EXPECT_EQ(letterKind(scalar), LetterKind::number) << static_cast<std::uint32_t>(scalar);
  for (const char32_t scalar : std::u32string_view(U"_-. 日ǅ\u0301\uFFFD€"))
    EXPECT_EQ(letterKind(scalar), LetterKind::other) << static_cast<std::uint32_t>(scalar);
}

TEST(Letters, InvalidBytesBecomeTheReplacement) {
  EXPECT_EQ(lowercased("A\xFFZ"), "a\uFFFDz");
  EXPECT_EQ(lowercased("\xE2\x82"), "\uFFFD");
}

}  // namespace
}  // namespace platform::locale
