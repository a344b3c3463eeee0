#include "Platform/PDF/Text.h"

#include <gtest/gtest.h>

namespace platform::pdf {
namespace {

TEST(DrawableText, NoncharactersAreReplacedAndTheirNeighboursKept) {
  for (const auto* text : {"\uFFFE", "\uFFFF", "\uFDD0", "\uFDEF", "\U0001FFFE", "\U0010FFFF"})
    EXPECT_EQ(drawable(text, U' '), "\uFFFD") << text;
  for (const auto* text : {"\uFFFD", "\uFDCF", "\uFDF0", "\U0001F469\u200D\U0001F4BB", "\U0001FFFD"})
    EXPECT_EQ(drawable(text, U' '), text);
}

TEST(DrawableText, ControlsAreReplacedButForLineEndsTabsAndDirectionalMarks) {
  EXPECT_EQ(drawable("a\x1b[b\x7f", U' '), "a\uFFFD[b\uFFFD");
  EXPECT_EQ(drawable("a\tb\r\nc\nd", U'|'), "a b|c|d");
  EXPECT_EQ(drawable("\u200Eabc", U' '), "\u200Eabc");
}

TEST(DrawableText, BytesThatAreNoUTF8AreReplaced) { EXPECT_EQ(drawable("a\xff", U' '), "a\uFFFD"); }

}  // namespace
}  // namespace platform::pdf
