#include "orvik/Output/VisibleText.h"

#include <gtest/gtest.h>

namespace orvik::host {
namespace {

constexpr const char* override_ = "\xE2\x80\xAE";  // U+202E, which turns what follows

TEST(VisibleText, LinesAndTabsOfATextStay) {
  EXPECT_EQ(visible("a\tb\nc\n"), "a\tb\nc\n");
  EXPECT_EQ(visible("Gebäude"), "Gebäude");
}

TEST(VisibleText, WhatControlsATerminalIsShown) {
  EXPECT_EQ(visible("a\x1b[2Jb\r\n"), "a␛[2Jb␍\n");
  EXPECT_EQ(visible(std::string("\0\x7f\x08", 3)), "␀␡␈");
  EXPECT_EQ(visible("\xc2\x9b"), "<U+009B>");
  EXPECT_EQ(visible("\xff"), "\xEF\xBF\xBD");
}

TEST(VisibleText, MarksThatTurnTheDirectionOfWritingAreShown) {
  EXPECT_EQ(visible(std::string("a") + override_ + "b"), "a<U+202E>b");
}

TEST(VisibleText, ANameIsOneLine) { EXPECT_EQ(visibleLine("a\nb\tc"), "a␊b␉c"); }

TEST(Fitted, CutsAtAWidthInCharacters) {
  EXPECT_EQ(fitted("Gebäude", 7), "Gebäude");
  EXPECT_EQ(fitted("Gebäude", 5), "Gebä…");
  EXPECT_EQ(fitted("Gebäude", 4), "Geb…");
  EXPECT_EQ(fitted("Gebäude", 0), "");
}

TEST(Fitted, TakesControlOverATerminalOutOfATextFromElsewhere) {
  EXPECT_EQ(oneLine("a\x1b[2Jb\nc\xc2\x9b"), "a␛[2Jb c<U+009B>");
  EXPECT_EQ(oneLine("\xff"), "\xEF\xBF\xBD");
  EXPECT_EQ(fitted("\xc2\x9b", 4), "<U+…");
}

}  // namespace
}  // namespace orvik::host
