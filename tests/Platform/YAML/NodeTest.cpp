#include "Platform/YAML/Node.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace platform::yaml {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

std::string problemOf(std::string_view text) {
  try {
    parse(text);
  } catch (const ParseError& error) {
    return error.description();
  }
  return "";
}

/// The value of the key "x".
const Node& x(const std::shared_ptr<const Node>& root) { return *root->member("x"); }

TEST(YAMLNode, MappingsKeepTheirOrderAndKnowTheirLines) {
  const auto root = parse("b: 1\na:\n  - x\n  - {c: d}\n");
  ASSERT_EQ(root->members.size(), 2U);
  EXPECT_EQ(root->members[0].first, "b");
  EXPECT_EQ(root->members[1].first, "a");
  EXPECT_EQ(root->member("a")->elements.at(1)->member("c")->text, "d");
  EXPECT_EQ(root->member("a")->elements.at(1)->line, 4U);
  EXPECT_EQ(root->member("z"), nullptr);
}

TEST(YAMLNode, AnEmptyTextIsNothing) {
  for (const auto* text : {"", "\n", "# remark\n", "---\n", "--- ~\n", "\xef\xbb\xbf"})
    EXPECT_TRUE(parse(text)->isNull()) << text;
}

TEST(YAMLNode, AByteOrderMarkMayStandInFront) {
  const auto root = parse("\xef\xbb\xbfx: 1\ny: 2\n");
  EXPECT_EQ(x(root).text, "1");
  ASSERT_EQ(root->members.size(), 2U);
  EXPECT_EQ(root->members[1].first, "y");
}

TEST(YAMLNode, ScalarsMeanWhatIsAskedOfThem) {
  for (const auto* text : {"x: true", "x: Yes", "x: on", "x: !!bool true"})
    EXPECT_EQ(x(parse(text)).boolean(), true) << text;
  for (const auto* text : {"x: FALSE", "x: no", "x: Off"}) EXPECT_EQ(x(parse(text)).boolean(), false) << text;
  for (const auto* text : {"x: 'true'", "x: \"yes\"", "x: tRue", "x: 1", "x:", "x: [true]", "x: !!str true"})
    EXPECT_EQ(x(parse(text)).boolean(), std::nullopt) << text;
}

TEST(YAMLNode, IntegersAreReadInEveryBase) {
  const std::pair<const char*, std::int64_t> known[] = {{"12", 12},
                                                        {"-12", -12},
                                                        {"+12", 12},
                                                        {"1_000", 1000},
                                                        {"0x1F", 31},
                                                        {"0b101", 5},
                                                        {"0o17", 15},
                                                        {"017", 15},
                                                        {"0", 0},
                                                        {"190:20:30", 685230},
                                                        {"9223372036854775807", 9'223'372'036'854'775'807},
                                                        {"-9223372036854775808", INT64_MIN}};
  for (const auto& [text, value] : known)
    EXPECT_EQ(x(parse("x: " + std::string(text))).integer(), value) << text;
  for (const auto* text : {"9223372036854775808", "1.0", "1e3", "'12'", "x", "0x", "--1", "1:60", "08", "_1",
                           "~", "99999999999:59:59:59:59:59:59:59:59:59"})
    EXPECT_EQ(x(parse("x: " + std::string(text))).integer(), std::nullopt) << text;
}

TEST(YAMLNode, APlainTextIsAsItWasWritten) {
  EXPECT_EQ(x(parse("x: 07:30")).text, "07:30");
  EXPECT_EQ(x(parse("x: |\n  a\n   b\n\n")).text, "a\n b\n");
  EXPECT_EQ(x(parse(R"(x: "a\tb\u00e4")")).text, "a\tbä");
}

TEST(YAMLNode, AnAliasSharesWhatItNames) {
  const auto root = parse("a: &it {k: v}\nb: *it\nc: [*it, *it]\n");
  EXPECT_EQ(root->member("a"), root->member("b"));
  EXPECT_EQ(root->member("c")->elements[1].get(), root->member("a"));
}

TEST(YAMLNode, MergedKeysNeverHideOthers) {
  const auto root = parse(
      "base: &base {a: 1, b: 2}\nother: &other {b: 3, c: 4}\n"
      "x:\n  <<: [*base, *other]\n  a: 9\n");
  const Node& merged = x(root);
  ASSERT_EQ(merged.members.size(), 3U);
  EXPECT_EQ(merged.member("a")->text, "9");
  EXPECT_EQ(merged.member("b")->text, "2");
  EXPECT_EQ(merged.member("c")->text, "4");
  EXPECT_EQ(x(parse("x: {'<<': 1}")).member("<<")->text, "1");
}

TEST(YAMLNode, WhatIsWrongIsToldWithItsLine) {
  EXPECT_THAT(problemOf("a: 1\n\tb: 2\n"), StartsWith("line 2, column 1: "));
  EXPECT_THAT(problemOf("a:\n  b: 1\n c: 2\n"), StartsWith("line 3, column 2: "));
  EXPECT_THAT(problemOf("a: [1, 2\n"), StartsWith("line 2, column 1: "));
  EXPECT_EQ(problemOf("a: 1\nb: 2\na: 3\n"), "line 3: the key \"a\" stands twice");
  EXPECT_EQ(problemOf("a: 1\n---\nb: 2\n"), "line 2: a second document begins");
  EXPECT_EQ(problemOf("x: *it\n"), "line 1: the alias \"*it\" names nothing");
  EXPECT_EQ(problemOf("x: &it [*it]\n"), "line 1: the alias \"*it\" stands inside of what it names");
  EXPECT_EQ(problemOf("? [a, b]\n: c\n"), "line 1: a key is a list or a mapping");
  EXPECT_EQ(problemOf("x: {<<: 1}\n"), "line 1: \"<<\" needs a mapping, or a list of them");
  EXPECT_EQ(problemOf("x: {<<: [1]}\n"), "line 1: \"<<\" needs a mapping, or a list of them");
  EXPECT_THAT(problemOf("a: \xff\n"), StartsWith("byte 3: "));
  EXPECT_THAT(problemOf(std::string("a: \0b\n", 6)), StartsWith("byte 3: "));
  EXPECT_THAT(problemOf("a: 'b"), HasSubstr("line 1"));
}

TEST(YAMLNode, NestingHasALimit) {
  EXPECT_EQ(problemOf(std::string(127, '[') + std::string(127, ']')), "");
  EXPECT_EQ(problemOf(std::string(100'000, '[')), "line 1: nested deeper than 128 levels");
}

TEST(YAMLNode, ATextBeyondTheGreatestSizeIsRefusedUnread) {
  const std::string text(maximumSize + 1, ' ');
  EXPECT_EQ(problemOf(text), "134217729 bytes; at most 134217728 are read");
}

}  // namespace
}  // namespace platform::yaml
