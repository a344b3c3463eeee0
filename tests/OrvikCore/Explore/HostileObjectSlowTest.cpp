#include <gtest/gtest.h>

#include <string>

#include "tests/OrvikCore/Explore/Describing.h"

namespace orvik {
namespace {

using test::described;
using test::factLines;
using Nodes = std::vector<ObjectDescription::OutlineNode>;

constexpr int many = 1'000'000;
constexpr std::size_t deep = 500;

std::string repeated(std::string_view text, std::size_t times) {
  std::string all;
  all.reserve(text.size() * times);
  for (std::size_t i = 0; i < times; ++i) all += text;
  return all;
}

/// How far down the first children go.
std::size_t depthOf(const Nodes& nodes) {
  std::size_t depth = 0;
  for (const auto* level = &nodes; !level->empty(); ++depth) {
    if (!level->front().children) return depth + 1;
    level = &*level->front().children;
  }
  return depth;
}

std::size_t labelBytes(const Nodes& nodes) {
  std::size_t bytes = 0;
  for (const auto& node : nodes) {
    bytes += node.label.size();
    if (node.children) bytes += labelBytes(*node.children);
  }
  return bytes;
}

TEST(HostileObjectSlowTest, AMillionKeysAreDescribed) {
  std::string json = "{";
  for (int i = 0; i < many; ++i)
    json += (i == 0 ? "\"k" : ",\"k") + std::to_string(i) + "\":" + std::to_string(i);
  json += "}";
  for (const auto& [section, facts] : {std::pair("computers", 0U), std::pair("categories", 20U)}) {
    const auto description = described(section, json);
    EXPECT_EQ(description.outline.size(), static_cast<std::size_t>(many));
    EXPECT_EQ(description.facts.size(), facts);
  }
}

TEST(HostileObjectSlowTest, AMillionElementsAreDescribed) {
  const std::string elements = "[" + repeated(R"({"name":"x"},)", many - 1) + R"({"name":"y"}])";
  const auto description =
      described("computerGroups", R"({"computers":)" + elements + R"(,"is_smart":true})");
  ASSERT_EQ(description.lists.size(), 1U);
  EXPECT_EQ(description.lists[0].entries.size(), static_cast<std::size_t>(many));
  EXPECT_EQ(description.lists[0].entries.back(), "y");
  EXPECT_EQ(description.outline.at(0).value, std::to_string(many));
}

TEST(HostileObjectSlowTest, ListsAndObjectsOf500LevelsAreDescribed) {
  const std::string lists = repeated("[", deep) + "1" + repeated("]", deep);
  EXPECT_EQ(depthOf(described("policies", lists).outline), deep);
  const std::string objects = repeated(R"({"name":)", deep) + "1" + repeated("}", deep);
  // One level is the wrapper of the record.
  EXPECT_EQ(depthOf(described("policies", objects).outline), deep - 1);
  const std::string mixed = repeated(R"([{"name":)", deep / 2) + "1" + repeated("}]", deep / 2);
  EXPECT_EQ(depthOf(described("policies", mixed).outline), deep);
  EXPECT_EQ(factLines(described("policies", R"({"x":1,"general":{"enabled":)" + mixed + "}}")),
            std::vector<std::string>{"Enabled: 1"});
}

TEST(HostileObjectSlowTest, LevelsAboveAMillionElementsDoNotRepeatThem) {
  const std::string elements = repeated("null,", many) + repeated("\"abc\",", many / 10) + "0";
  const std::string json = repeated("[", deep) + elements + repeated("]", deep);
  const auto description = described("x", json);
  EXPECT_EQ(depthOf(description.outline), deep);
  EXPECT_LT(labelBytes(description.outline), json.size() * 4);
  const std::string named = repeated(R"({"displayName":[)", deep / 2) + elements + repeated("]}", deep / 2);
  EXPECT_LT(labelBytes(described("x", "[" + named + "]").outline), named.size() * 5);
}

TEST(HostileObjectSlowTest, LongTextsAreShownWhole) {
  const std::string text = repeated("ä", many);
  const auto description =
      described("scripts", R"({"scriptContents":")" + text + R"(","info":")" + text + R"("})");
  EXPECT_EQ(description.texts.at(0).text, text);
  EXPECT_EQ(description.facts.at(0).value, text);
  EXPECT_EQ(ObjectDescriber::label(text).size(), text.size());
  EXPECT_EQ(ObjectDescriber::label(repeated("_a", many)).size(), 2U * many - 1);
}

}  // namespace
}  // namespace orvik
