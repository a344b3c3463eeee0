#include <gtest/gtest.h>

#include "Platform/Locale/Text.h"

namespace platform::locale {
namespace {

using Scalars = std::vector<char32_t>;

constexpr char32_t bad = 0xFFFD;

TEST(UTF8, ScalarsOfEveryLength) {
  EXPECT_EQ(scalars(""), Scalars{});
  EXPECT_EQ(scalars("aß€😀"), (Scalars{U'a', U'ß', U'€', U'😀'}));
  EXPECT_EQ(scalars(std::string_view("a\0b", 3)), (Scalars{U'a', 0, U'b'}));
}

struct Row {
  std::string bytes;
  Scalars expected;
};

class Broken : public testing::TestWithParam<Row> {};

TEST_P(Broken, IsReplacedPartByPart) {
  EXPECT_EQ(scalars(GetParam().bytes), GetParam().expected);
  EXPECT_FALSE(isValidUTF8(GetParam().bytes));
  EXPECT_FALSE(isValidUTF8("eight ok" + GetParam().bytes + "and more than eight"));
}

// Unicode 15, section 3.9, tables 3-8 to 3-11.
INSTANTIATE_TEST_SUITE_P(
    Standard, Broken,
    testing::Values(
        Row{"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41", {bad, bad, bad, bad, bad, bad, bad, bad, U'A'}},
        Row{"\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41", {bad, bad, bad, bad, bad, bad, bad, bad, U'A'}},
        Row{"\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", {bad, bad, bad, bad, bad, U'A', bad, bad, U'B'}},
        Row{"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", {bad, bad, bad, bad, U'A'}}));

INSTANTIATE_TEST_SUITE_P(CutShort, Broken,
                         testing::Values(Row{"\xC3", {bad}}, Row{"a\xE2\x82", {U'a', bad}},
                                         Row{"\xF0\x9F\x98", {bad}}, Row{"\x80", {bad}},
                                         Row{"\xF5\x80\x80\x80", {bad, bad, bad, bad}}));

TEST(UTF8, BordersOfTheRangesAreValid) {
  for (const char32_t scalar :
       {0x0u, 0x7Fu, 0x80u, 0x7FFu, 0x800u, 0xFFFu, 0x1000u, 0xCFFFu, 0xD7FFu, 0xE000u, 0xFFFFu, 0x10000u,
        0x3FFFFu, 0x40000u, 0xFFFFFu, 0x100000u, 0x10FFFFu}) {
    std::string text;
    appendUTF8(text, scalar);
    EXPECT_TRUE(isValidUTF8(text)) << std::hex << static_cast<std::uint32_t>(scalar);
    EXPECT_EQ(scalars(text), Scalars{scalar});
  }
}

TEST(UTF8, ABeginningEndsBetweenScalars) {
  EXPECT_EQ(beginning("", 3), "");
  EXPECT_EQ(beginning("abc", 3), "abc");
  EXPECT_EQ(beginning("abc", 2), "ab");
  EXPECT_EQ(beginning("abc", 0), "");
  const std::string text = "aß€😀";
  for (const auto& [bytes, expected] : std::vector<std::pair<std::size_t, std::string>>{
           {1, "a"}, {2, "a"}, {3, "aß"}, {5, "aß"}, {6, "aß€"}, {9, "aß€"}, {10, text}, {99, text}})
    EXPECT_EQ(beginning(text, bytes), expected) << bytes;
}

TEST(UTF8, WhatIsNoScalarIsAppendedAsTheReplacement) {
  for (const char32_t number : {0xD800u, 0xDFFFu, 0x110000u, 0xFFFFFFFFu}) {
    std::string text = "x";
    appendUTF8(text, number);
    EXPECT_EQ(text, "x\uFFFD");
  }
}

TEST(UTF8, ValidityLooksAtEveryByte) {
  EXPECT_TRUE(isValidUTF8(""));
  for (std::size_t length = 1; length < 40; ++length) {
    for (std::size_t at = 0; at < length; ++at) {
      std::string text(length, 'a');
      EXPECT_TRUE(isValidUTF8(text));
      text[at] = '\xFF';
      EXPECT_FALSE(isValidUTF8(text)) << at << " of " << length;
    }
  }
}

}  // namespace
}  // namespace platform::locale
