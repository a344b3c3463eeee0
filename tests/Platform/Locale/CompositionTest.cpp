#include <gtest/gtest.h>

#include <chrono>

#include "Platform/Locale/Text.h"

namespace platform::locale {
namespace {

TEST(Composition, ALetterAndItsMarkBecomeOne) {
  EXPECT_EQ(composed("Cafe\u0301"), "Caf\u00E9");
  EXPECT_EQ(composed("Caf\u00E9"), "Caf\u00E9");
  EXPECT_EQ(composed("o\u0323\u0302"), "\u1ED9");
  EXPECT_EQ(composed("o\u0302\u0323"), "\u1ED9");
  EXPECT_EQ(composed("\u1112\u1161\u11AB"), "\uD55C");
  EXPECT_EQ(composed("\u212B"), "\u00C5");
}

TEST(Composition, WhatHasNoComposedFormStays) {
  EXPECT_EQ(composed("x\u0301"), "x\u0301");
  EXPECT_EQ(composed("\u0301"), "\u0301");
  EXPECT_EQ(composed("ﬁ ß 日本 😀"), "ﬁ ß 日本 😀");
  EXPECT_EQ(composed("\u0915\u093C"), "\u0915\u093C");  // a composition that Unicode excludes
}

TEST(Composition, ASCIIIsComposedAlready) {
  EXPECT_EQ(composed(""), "");
  EXPECT_EQ(composed(std::string_view("a\0\r\nb", 5)), std::string_view("a\0\r\nb", 5));
}

TEST(Composition, InvalidBytesBecomeTheReplacement) {
  EXPECT_EQ(composed("e\xFF\u0301"), "e\uFFFD\u0301");
  EXPECT_EQ(composed("\xE2\x82"), "\uFFFD");
  EXPECT_EQ(composed(std::string(5000, '\x80')).size(), 15000u);
}

TEST(Composition, LongTextsAreComposedAcrossThePiecesTheyAreReadIn) {
  for (std::size_t shift = 0; shift < 8; ++shift) {
    std::string text(shift, '-'), expected(shift, '-');
    for (int i = 0; i < 3000; ++i) {
      text += "o\u0302\u0323";
      expected += "\u1ED9";
    }
    EXPECT_EQ(composed(text), expected) << shift;
  }
}

TEST(Composition, MarksWithoutEndTakeNoLongTime) {
  std::string text = "x";
  for (int i = 0; i < 200'000; ++i) text += i % 2 ? "\u0316" : "\u0301";
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(composed(text).size(), text.size());
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

}  // namespace
}  // namespace platform::locale
