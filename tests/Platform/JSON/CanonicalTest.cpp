#include "Platform/JSON/Canonical.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Platform/Error.h"
#include "Platform/JSON/View.h"

namespace platform::json {
namespace {

using namespace std::string_literals;

Bytes contents(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::filesystem::path> goldenInputs() {
  std::vector<std::filesystem::path> inputs;
  for (const auto& entry : std::filesystem::directory_iterator(ORVIK_SOURCE_FOLDER "/tests/golden/canonical"))
    if (entry.path().extension() == ".json") inputs.push_back(entry.path());
  std::sort(inputs.begin(), inputs.end());
  return inputs;
}

TEST(CanonicalTest, TheGoldenTextsStayAsTheyAre) {
  const auto inputs = goldenInputs();
  ASSERT_GE(inputs.size(), 50U);
  for (const auto& input : inputs) {
    const Bytes expected = contents(std::filesystem::path(input).replace_extension(".canonical"));
    EXPECT_EQ(canonical(contents(input)), expected) << input.filename();
  }
}

TEST(CanonicalTest, GoldenTextsAreTheirOwnCanonicalTextButForTheNegativeZero) {
  for (const auto& input : goldenInputs()) {
    if (input.stem() == "doubles-negative-zero") continue;
    const Bytes text = contents(std::filesystem::path(input).replace_extension(".canonical"));
    EXPECT_EQ(canonical(text), text) << input.filename();
  }
  EXPECT_EQ(canonical("-0.0"), "-0");
  EXPECT_EQ(canonical("-0"), "0");
}

TEST(CanonicalTest, KeyOrderAndWhiteSpaceDoNotMatter) {
  EXPECT_EQ(canonical(R"({"a":1,"b":{"c":2,"d":3}})"), canonical("{ \"b\" :\n{\"d\":3,\"c\":2},\t\"a\":1 }"));
}

TEST(CanonicalTest, WhatIsNotJSONHasNoCanonicalText) {
  const std::string tooDeep = std::string(513, '[') + std::string(513, ']');
  for (const std::string& row :
       {""s, " "s, "<?xml version=\"1.0\"?><a/>"s, "\xEF\xBB\xBF{}"s, "{}x"s, "\"\\ud800\""s, "\"\\udc00\""s,
        "\"\xC0\xAF\""s, "1e400"s, "[1"s, "{}\0"s, "plain text"s, tooDeep, "1" + std::string(310, '0')}) {
    EXPECT_EQ(canonical(row), std::nullopt) << row;
    EXPECT_FALSE(validate(row)) << row;
  }
  EXPECT_TRUE(validate("{}"));
  EXPECT_TRUE(validate("100000000000000000000"));
}

TEST(CanonicalTest, BytesWithSpareCapacityAreReadInPlaceToTheSameText) {
  for (const std::size_t spare : {0, 1, 63, 64, 65, 1000})
    for (const char* text :
         {"1", "[1]", "\"text of some length, longer than small ones\"", "{\"b\":[],\"a\":2}"}) {
      Bytes bytes = text;
      const std::size_t size = bytes.size();
      bytes.resize(size + spare, '7');  // what stands in the spare room must not count
      bytes.resize(size);
      EXPECT_EQ(canonical(bytes), canonical(std::string_view(text))) << spare;
      EXPECT_TRUE(validate(bytes));
    }
}

TEST(CanonicalTest, AViewInsideLargerBytesEndsWhereItEnds) {
  const std::string bytes = "12345678";
  EXPECT_EQ(canonical(std::string_view(bytes).substr(0, 3)), "123");
  EXPECT_EQ(canonical(std::string_view("[1]]]").substr(0, 3)), "[\n  1\n]");
}

/// An object of `count` keys that share prefixes of all lengths.
std::vector<std::string> similarKeys(std::size_t count) {
  std::vector<std::string> keys;
  for (std::size_t i = 0; i < count; ++i)
    keys.push_back(std::string(i % 11, 'k') + std::to_string(i / 11) + (i % 3 == 0 ? "ü" : ""));
  return keys;
}

Bytes compactObject(const std::vector<std::string>& keys) {
  Bytes text;
  for (const std::string& key : keys) text += (text.empty() ? "{\"" : ",\"") + key + "\":\"" + key + "\"";
  return text + "}";
}

TEST(CanonicalTest, ObjectsOfEverySizeAreSortedWhateverWasRenderedBefore) {
  constexpr unsigned seed = 11;
  std::mt19937 random(seed);
  for (const std::size_t count : {1, 2, 3, 8, 23, 24, 25, 26, 63, 64, 65, 66, 300}) {
    auto keys = similarKeys(count);
    auto sorted = keys;
    std::sort(sorted.begin(), sorted.end());
    Bytes expected;
    for (const std::string& key : sorted)
      expected += (expected.empty() ? "{\n  \"" : ",\n  \"") + key + "\" : \"" + key + "\"";
    expected += "\n}";
    for (int round = 0; round < 6; ++round) {
      if (round % 2 == 0) std::shuffle(keys.begin(), keys.end(), random);
      ASSERT_EQ(canonical(compactObject(keys)), expected) << "seed " << seed << ", " << count << " keys";
    }
  }
}

TEST(CanonicalTest, ARememberedOrderIsNotAppliedToOtherKeys) {
  EXPECT_EQ(canonical(R"({"c":1,"b":2,"a":3})"), "{\n  \"a\" : 3,\n  \"b\" : 2,\n  \"c\" : 1\n}");
  EXPECT_EQ(canonical(R"({"c":1,"d":2,"a":3})"), "{\n  \"a\" : 3,\n  \"c\" : 1,\n  \"d\" : 2\n}");
  EXPECT_EQ(canonical(R"({"c":1,"a":2,"a":3})"), "{\n  \"a\" : 3,\n  \"c\" : 1\n}");
  EXPECT_EQ(canonical(R"({"c":1,"c":2,"a":3})"), "{\n  \"a\" : 3,\n  \"c\" : 2\n}");
  EXPECT_EQ(canonical(R"({"c":1,"b":2,"a":3})"), "{\n  \"a\" : 3,\n  \"b\" : 2,\n  \"c\" : 1\n}");
}

TEST(CanonicalTest, ThreadsRenderIndependently) {
  const Bytes text = compactObject(similarKeys(50));
  const auto expected = canonical(text);
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < 4; ++thread)
    threads.emplace_back([&] {
      for (int round = 0; round < 50; ++round) EXPECT_EQ(canonical(text), expected);
    });
}

TEST(CanonicalTest, ALargeDocumentLeavesTheNextOneUntouched) {
  const std::string large = "[\"" + std::string(std::size_t{18} << 20, 'x') + "\"]";
  const auto text = canonical(large);
  ASSERT_TRUE(text);
  EXPECT_EQ(text->size(), large.size() + 4);
  EXPECT_EQ(canonical("[1]"), "[\n  1\n]");
}

/// Arrays in each other, the innermost of them empty.
std::string emptyAt(std::size_t levels) {
  std::string text, end;
  for (std::size_t i = 1; i < levels; ++i) {
    text += "[\n" + std::string(2 * i, ' ');
    end = "\n" + std::string(2 * (i - 1), ' ') + "]" + end;
  }
  return text + "[\n\n" + std::string(2 * (levels - 1), ' ') + "]" + end;
}

// The room for a text grows in steps; in a thread of its own each document begins with the first of them.
TEST(CanonicalTest, EmptyContainersOfEveryDepthStayInTheRoomOfTheText) {
  for (std::size_t levels = 300; levels <= maximumDepth; ++levels) {
    const auto text = std::string(levels, '[') + std::string(levels, ']');
    std::optional<Bytes> rendered;
    std::jthread([&] { rendered = canonical(text); }).join();
    EXPECT_EQ(rendered, emptyAt(levels)) << levels;
  }
}

}  // namespace
}  // namespace platform::json
