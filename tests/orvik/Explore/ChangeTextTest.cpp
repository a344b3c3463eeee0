#include "orvik/Explore/ChangeText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orvik::host {
namespace {

using testing::ElementsAre;

using Text = std::optional<std::string>;

std::vector<std::string> linesOf(const Text& old, const Text& now) {
  return changeText::lines({"Path", old, now}, Paint(false));
}

TEST(ChangeText, AShortChangeIsOneLine) {
  EXPECT_THAT(linesOf("Yes", "No"), ElementsAre("Path: Yes -> No"));
  EXPECT_THAT(linesOf({}, "new"), ElementsAre("Path: (none) -> new"));
  EXPECT_THAT(linesOf("old", {}), ElementsAre("Path: old -> (none)"));
  EXPECT_THAT(linesOf("", "x"), ElementsAre("Path: \"\" -> x"));
}

TEST(ChangeText, ALongValueShowsTheStretchThatDiffers) {
  const std::string start(300, 'a'), end(300, 'z');
  const auto lines = linesOf(start + "X" + end, start + "Y" + end);
  const std::string before = "…" + std::string(20, 'a'), behind = std::string(38, 'z') + "…";
  EXPECT_THAT(lines, ElementsAre("Path:", "  - " + before + "X" + behind, "  + " + before + "Y" + behind));
}

TEST(ChangeText, AStretchBeginsBetweenCharacters) {
  std::string start;
  for (int i = 0; i < 80; ++i) start += "ä";
  // ä and ö begin with the same byte.
  EXPECT_EQ(linesOf(start + "ä", start + "ö").at(0),
            "Path: …" + start.substr(0, 40) + "ä -> …" + start.substr(0, 40) + "ö");
}

TEST(ChangeText, OfSeveralLinesThoseAreShownThatDiffer) {
  EXPECT_THAT(linesOf("a\nb\nc\n", "a\nB\nc\n"), ElementsAre("Path: from line 2 on", "  - b", "  + B"));
  EXPECT_THAT(linesOf("a\nc\n", "a\nb\nc\n"), ElementsAre("Path: from line 2 on", "  + b"));
  EXPECT_THAT(linesOf("a", "a\nb"), ElementsAre("Path: from line 2 on", "  + b"));
  EXPECT_THAT(linesOf("a\n", "a"), ElementsAre("Path: only the end of the last line differs"));
  EXPECT_THAT(linesOf({}, "a\nb"), ElementsAre("Path: (none) ->", "  + a", "  + b"));
}

TEST(ChangeText, NoValueIsShownWithoutEnd) {
  std::string old, now;
  for (int i = 0; i < 1000; ++i) {
    old += std::string(1000, 'o') + "\n";
    now += std::string(1000, 'n') + "\n";
  }
  const auto lines = linesOf(old, now);
  ASSERT_EQ(lines.size(), 13u);
  EXPECT_EQ(lines[6], "  - … 995 more lines");
  for (const auto& line : lines) EXPECT_LT(line.size(), 110u);
  for (const auto& line : linesOf(std::string(1'000'000, 'a'), std::string(1'000'000, 'b')))
    EXPECT_LT(line.size(), 200u);
  EXPECT_LT(changeText::lines({std::string(10'000, 'p'), "a", "b"}, Paint(false)).at(0).size(), 250u);
}

TEST(ChangeText, ValuesFromElsewhereCannotControlATerminal) {
  EXPECT_THAT(linesOf("\x1b[2J", "\xE2\x80\xAEx"), ElementsAre("Path: ␛[2J -> <U+202E>x"));
  EXPECT_THAT(linesOf("a\r\nb", "a\nb"), ElementsAre("Path: from line 1 on", "  - a␍", "  + a"));
}

TEST(ChangeText, ColoursTellOldFromNew) {
  const auto line = changeText::lines({"Path", "Yes", "No"}, Paint(true)).at(0);
  EXPECT_EQ(line, "Path: \x1b[1;31mYes\x1b[0m -> \x1b[1;32mNo\x1b[0m");
}

TEST(ChangeText, ScriptsGetWholeValues) {
  const std::string value(100'000, 'a');
  EXPECT_EQ(changeText::json({{"Path", value, {}}}).text(), R"([{"path":"Path","old":")" + value + R"("}])");
}

}  // namespace
}  // namespace orvik::host
