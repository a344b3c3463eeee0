#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "Platform/Locale/Text.h"

namespace platform::locale {
namespace {

std::string utf8(char32_t scalar) {
  std::string text;
  appendUTF8(text, scalar);
  return text;
}

// Unicode Character Database, PropList.txt, White_Space.
const std::set<char32_t> whiteSpace{0x09,   0x0A,   0x0B,   0x0C,   0x0D,   0x20,   0x85,   0xA0,   0x1680,
                                    0x2000, 0x2001, 0x2002, 0x2003, 0x2004, 0x2005, 0x2006, 0x2007, 0x2008,
                                    0x2009, 0x200A, 0x2028, 0x2029, 0x202F, 0x205F, 0x3000};

const std::set<char32_t> lineEnds{0x0A, 0x0B, 0x0C, 0x0D, 0x85, 0x2028, 0x2029};

TEST(WhiteSpaceTest, ExactlyUnicodesWhiteSpaceIsTrimmed) {
  for (char32_t scalar = 0; scalar <= 0x10FFFF; ++scalar) {
    if (scalar >= 0xD800 && scalar <= 0xDFFF) continue;
    const auto space = utf8(scalar);
    const auto text = space + "x" + space;
    EXPECT_EQ(trimmed(text), whiteSpace.contains(scalar) ? "x" : text) << std::hex << std::uint32_t{scalar};
  }
}

TEST(WhiteSpaceTest, WhatStandsInsideStays) {
  EXPECT_EQ(trimmed(" \t\r\n\u00A0 a \u2003 b\u3000\u0085 "), "a \u2003 b");
  EXPECT_EQ(trimmed(" \n\u2028 "), "");
  EXPECT_EQ(trimmed(""), "");
  EXPECT_EQ(trimmed("a"), "a");
}

TEST(WhiteSpaceTest, BytesThatAreNoTextAreKept) {
  for (const std::string text : {"\x85", "\xA0", "\xC2", "\xE2\x80", "x\xA0", "\xFFx\xE2\x80"})
    EXPECT_EQ(trimmed(" " + text + " "), text);
}

TEST(WhiteSpaceTest, LinesAreCutAtEveryLineEndAndNowhereElse) {
  for (char32_t scalar = 0; scalar <= 0x3100; ++scalar) {
    const auto text = "a" + utf8(scalar) + "b";
    if (lineEnds.contains(scalar))
      EXPECT_EQ(lines(text), (std::vector<std::string_view>{"a", "b"})) << std::hex << std::uint32_t{scalar};
    else
      EXPECT_EQ(lines(text), std::vector<std::string_view>{text}) << std::hex << std::uint32_t{scalar};
  }
}

TEST(WhiteSpaceTest, EmptyLinesAreLines) {
  EXPECT_EQ(lines(""), (std::vector<std::string_view>{""}));
  EXPECT_EQ(lines("\n"), (std::vector<std::string_view>{"", ""}));
  EXPECT_EQ(lines("a\r\nb\n"), (std::vector<std::string_view>{"a", "", "b", ""}));
}

}  // namespace
}  // namespace platform::locale
