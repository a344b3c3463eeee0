#include "Platform/Locale/DisplayWidth.h"

#include <gtest/gtest.h>

namespace platform::locale {
namespace {

TEST(DisplayWidth, LettersOfMostScriptsTakeOneColumnEach) {
  EXPECT_EQ(displayWidth(""), 0u);
  EXPECT_EQ(displayWidth("School 1"), 8u);
  EXPECT_EQ(displayWidth("Größe"), 5u);
  EXPECT_EQ(displayWidth("Школа"), 5u);
}

TEST(DisplayWidth, WideLettersAndEmojiTakeTwo) {
  EXPECT_EQ(displayWidth("学校"), 4u);
  EXPECT_EQ(displayWidth("Ａ"), 2u);
  EXPECT_EQ(displayWidth("한국"), 4u);
  EXPECT_EQ(displayWidth("🏫!"), 3u);
}

TEST(DisplayWidth, MarksAndWhatShowsNothingTakeNone) {
  EXPECT_EQ(displayWidth("e\u0301"), 1u);
  EXPECT_EQ(displayWidth("a\u200Bb"), 2u);
  EXPECT_EQ(displayWidth("\u1112\u1161\u11AB"), 2u) << "a syllable that is written in its parts";
  EXPECT_EQ(displayWidth("a\u00ADb"), 3u) << "a soft hyphen is shown";
}

TEST(DisplayWidth, BytesThatAreNoTextCountAsTheirReplacement) { EXPECT_EQ(displayWidth("a\xFF\xFE"), 3u); }

}  // namespace
}  // namespace platform::locale
