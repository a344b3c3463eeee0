#include "OrvikCore/Explore/LineDiff.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

namespace orvik {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// The lines with the marks that a unified diff has.
std::vector<std::string> marked(std::string_view old, std::string_view now, std::size_t context = 3) {
  std::vector<std::string> lines;
  for (const auto& line : LineDiff::unified(old, now, context))
    lines.push_back(std::string(1, " -+~"[static_cast<int>(line.kind)]) + std::string(line.text));
  return lines;
}

/// The new text made of the old one and what differs; the old one's lines are checked on the way.
std::string applied(std::string_view old, const std::vector<LineDiff::Line>& lines) {
  const auto all = LineDiff::linesOf(old);
  std::string text;
  std::size_t next = 1, count = 1;  // the numbers of the next lines of the old and the new text
  const auto keep = [&] { text.append(all[next++ - 1]).append("\n"), ++count; };
  for (const auto& line : lines) {
    if (line.kind == LineDiff::Kind::gap) continue;
    while (line.kind == LineDiff::Kind::added ? count < line.now : next < line.old) keep();
    if (line.kind == LineDiff::Kind::same) {
      EXPECT_EQ(line.now, count);
    }
    if (line.kind != LineDiff::Kind::added) {
      EXPECT_EQ(all[next++ - 1], line.text);
    }
    if (line.kind == LineDiff::Kind::removed) continue;
    text.append(line.text).append("\n");
    ++count;
  }
  while (next <= all.size()) keep();
  return text;
}

TEST(LineDiff, ShowsALineThatChangedWithThoseAround) {
  EXPECT_THAT(marked("a\nb\nc\nd\ne\nf\ng\nh\ni\n", "a\nb\nc\nd\nE\nf\ng\nh\ni\n"),
              ElementsAre("~", " b", " c", " d", "-e", "+E", " f", " g", " h", "~"));
}

TEST(LineDiff, NumbersLinesOfBothTexts) {
  const auto lines = LineDiff::unified("a\nb\nc\n", "a\nx\ny\nc\n");
  using Kind = LineDiff::Kind;
  EXPECT_THAT(lines,
              ElementsAre(LineDiff::Line{Kind::same, 1, 1, "a"}, LineDiff::Line{Kind::removed, 2, 0, "b"},
                          LineDiff::Line{Kind::added, 0, 2, "x"}, LineDiff::Line{Kind::added, 0, 3, "y"},
                          LineDiff::Line{Kind::same, 3, 4, "c"}));
}

TEST(LineDiff, FindsTheFewestLines) {
  const auto lines = marked("a\nb\nc\na\nb\nb\na\n", "c\nb\na\nb\na\nc\n", 0);
  EXPECT_EQ(std::ranges::count_if(lines, [](const auto& line) { return line.front() != '~'; }), 5);
  EXPECT_THAT(marked("one\ntwo\n", "one\nand\ntwo\n"), ElementsAre(" one", "+and", " two"));
}

TEST(LineDiff, EqualTextsHaveNoLines) {
  EXPECT_THAT(marked("a\nb\n", "a\nb\n"), IsEmpty());
  EXPECT_THAT(marked("", ""), IsEmpty());
  EXPECT_THAT(marked("a", "a\n"), IsEmpty());
}

TEST(LineDiff, ATextMayBeEmpty) {
  EXPECT_THAT(marked("", "a\nb"), ElementsAre("+a", "+b"));
  EXPECT_THAT(marked("a\n\n", ""), ElementsAre("-a", "-"));
}

TEST(LineDiff, WithoutContextGapsStandBetweenWhatDiffers) {
  EXPECT_THAT(marked("a\nb\nc\nd\n", "A\nb\nc\nD\n", 0), ElementsAre("-a", "+A", "~", "-d", "+D"));
  EXPECT_THAT(marked("a\nb\nc\nd\n", "A\nb\nc\nD\n", 1), ElementsAre("-a", "+A", " b", " c", "-d", "+D"));
}

TEST(LineDiff, GivesTheNewTextBackWhenItIsApplied) {
  std::mt19937 random(20250304);
  const auto text = [&] {
    std::string made;
    for (auto lines = random() % 30; lines > 0; --lines)
      made.append(1, static_cast<char>('a' + random() % 4)).append("\n");
    return made;
  };
  for (int round = 0; round < 2000; ++round) {
    const auto old = text(), now = text();
    ASSERT_EQ(applied(old, LineDiff::unified(old, now, random() % 4)), now) << old << "->\n" << now;
  }
}

TEST(LineDiff, TextsWithoutMuchInCommonAreToldAsOneStretch) {
  std::string old, now;
  for (int i = 0; i < 3000; ++i) {
    old += "old " + std::to_string(i) + "\n";
    now += "new " + std::to_string(i) + "\nsame\n";
  }
  const auto lines = LineDiff::unified(old, now);
  EXPECT_EQ(lines.size(), 9000U);
  EXPECT_EQ(applied(old, lines), now);
}

TEST(LineDiff, AMillionLinesWithOneChangeTakeAMoment) {
  std::string old;
  for (int i = 0; i < 500'000; ++i) old += std::to_string(i) + "\n";
  auto now = old;
  now.replace(now.find("\n250000\n"), 8, "\nx\n");
  EXPECT_THAT(marked(old, now, 0), ElementsAre("~", "-250000", "+x", "~"));
}

}  // namespace
}  // namespace orvik
