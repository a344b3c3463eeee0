#include <gtest/gtest.h>

#include <chrono>
#include <numeric>
#include <random>

#include "Platform/Locale/Text.h"

namespace platform::locale {
namespace {

using Characters = std::vector<std::string>;

Characters fromTheFront(std::string_view text) {
  Characters all;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = charactersAfter(text, at, 1);
    all.emplace_back(text.substr(at, end - at));
    at = end;
  }
  return all;
}

Characters fromTheBack(std::string_view text) {
  Characters all;
  for (std::size_t at = text.size(); at > 0;) {
    const std::size_t begin = charactersBefore(text, at, 1);
    all.emplace(all.begin(), text.substr(begin, at - begin));
    at = begin;
  }
  return all;
}

std::string joined(const Characters& parts) {
  return std::accumulate(parts.begin(), parts.end(), std::string());
}

class Whole : public testing::TestWithParam<Characters> {};

TEST_P(Whole, CharactersArePassedInBothDirections) {
  const auto& expected = GetParam();
  const std::string text = joined(expected);
  EXPECT_EQ(fromTheFront(text), expected);
  EXPECT_EQ(fromTheBack(text), expected);
  std::size_t offset = 0;
  for (std::size_t count = 0; count <= expected.size(); ++count) {
    EXPECT_EQ(charactersAfter(text, 0, count), offset) << count;
    EXPECT_EQ(charactersBefore(text, text.size(), expected.size() - count), offset) << count;
    if (count < expected.size()) offset += expected[count].size();
  }
}

INSTANTIATE_TEST_SUITE_P(
    Texts, Whole,
    testing::Values(Characters{}, Characters{"a"}, Characters{"a", "b", "-"}, Characters{"é", "a", "日", "😀"},
                    Characters{"e\u0301", "x", "o\u0323\u0302", "z"},  // marks
                    Characters{"a", "\r\n", "b", "\n", "\r", "\r\n"},  // line ends
                    Characters{"\r\n", "é", "\r\n"},                   //
                    Characters{"\n", "\u0301", "\r\n", "\u0301"},      // marks on none
                    Characters{"👨‍👩‍👧‍👦", "👩🏽‍💻", "x",
                               "👍🏿"},        // joined and toned
                    Characters{"🇩🇪", "🇫🇷", "🇯🇵"},  // flags
                    Characters{"x", "🇩🇪", "🇫🇷", "\U0001F1EF"}, Characters{"1\uFE0F\u20E3", "2"},  // a keycap
                    Characters{"\u1112\u1161\u11AB", "\uD55C"},                                   // Hangul
                    Characters{"\u0600"
                               "1",
                               "2"},                                        // a sign before a digit
                    Characters{"ש\u05C1", "ל", "\u200F", "\u202E", "a"},    // right to left
                    Characters{"\xFF", "a", "\xE2\x82", "b", "\x80", "é"},  // no text
                    Characters{std::string(1, '\0'), "a", std::string(1, '\0')}));

TEST(CharactersTest, EndsOfTheTextAreKept) {
  EXPECT_EQ(charactersAfter("abc", 3, 1), 3u);
  EXPECT_EQ(charactersAfter("abc", 0, 100), 3u);
  EXPECT_EQ(charactersAfter("aé", 0, 100), 3u);
  EXPECT_EQ(charactersAfter("abc", 99, 1), 3u);
  EXPECT_EQ(charactersAfter("", 0, 1), 0u);
  EXPECT_EQ(charactersBefore("abc", 0, 1), 0u);
  EXPECT_EQ(charactersBefore("abc", 3, 100), 0u);
  EXPECT_EQ(charactersBefore("aé", 3, 100), 0u);
  EXPECT_EQ(charactersBefore("abc", 99, 1), 2u);
  EXPECT_EQ(charactersBefore("", 0, 1), 0u);
  EXPECT_EQ(charactersBefore("é", 2, 0), 2u);
  EXPECT_EQ(charactersAfter("é", 0, 0), 0u);
}

TEST(CharactersTest, TheOffsetCountsAsTheBeginningOfACharacter) {
  EXPECT_EQ(charactersAfter("e\u0301x", 1, 1), 3u);
  EXPECT_EQ(charactersBefore("e\u0301", 1, 1), 0u);
  EXPECT_EQ(charactersAfter("\r\n", 1, 1), 2u);
  EXPECT_EQ(charactersBefore("\r\n", 1, 1), 0u);
  EXPECT_EQ(charactersAfter("a🇩🇪🇫🇷", 5, 1), 13u);
}

/// The rules look at a text in parts; what lies across the border of two is one character nevertheless.
TEST(CharactersTest, LongTextsArePassedAsOne) {
  const Characters units{"e\u0301", "🇩🇪", "👨‍👩‍👧‍👦", "\r\n", "日", "\u0915\u093C"};
  std::mt19937 random(3);
  std::string text;
  std::vector<std::size_t> ends{0};
  while (text.size() < 200'000) {
    text += units[random() % units.size()];
    ends.push_back(text.size());
  }
  for (const std::size_t count : {std::size_t{1}, std::size_t{9'000}, ends.size() / 2, ends.size() - 1}) {
    EXPECT_EQ(charactersAfter(text, 0, count), ends[count]);
    EXPECT_EQ(charactersBefore(text, text.size(), count), ends[ends.size() - 1 - count]);
  }
  EXPECT_EQ(charactersAfter(text, 0, ends.size()), text.size());
  EXPECT_EQ(charactersBefore(text, text.size(), ends.size()), 0u);
}

TEST(CharactersTest, ACharacterWithoutEndIsSeveral) {
  std::string text = "e";
  while (text.size() < 300'000) text += "\u0301";
  EXPECT_EQ(charactersAfter(text, 0, 1), 65'535u);
  EXPECT_EQ(charactersAfter(text, 0, 2), 131'071u);
  EXPECT_EQ(charactersAfter(text, 0, 100), text.size());
  EXPECT_EQ(charactersBefore(text, text.size(), 1), text.size() - 65'536);
  EXPECT_EQ(charactersBefore(text, text.size(), 100), 0u);
}

TEST(CharactersTest, OnlyTheCharactersPassedTakeTime) {
  std::string text;
  for (const std::string unit : {"a", "é", "🇩🇪", "\xFF"}) {
    text.clear();
    while (text.size() < 20'000'000) text += unit;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 20; ++i) {
      EXPECT_GT(charactersAfter(text, 10'000'000, 60), 10'000'000u);
      EXPECT_LT(charactersBefore(text, 10'000'000, 40), 10'000'000u);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << unit;
  }
}

}  // namespace
}  // namespace platform::locale
