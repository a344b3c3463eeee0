#include "Platform/JSON/View.h"

#include <sys/mman.h>

#include <cstdint>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace platform::json {
namespace {

using namespace std::string_literals;
using testing::HasSubstr;

std::string problemOf(std::string_view bytes) {
  try {
    Document::parse(bytes);
  } catch (const ParseError& error) {
    return error.description();
  }
  return "";
}

Kind kindOf(std::string_view bytes) { return Document::parse(bytes)->root().kind(); }

TEST(ViewTest, EachValueHasItsKind) {
  EXPECT_EQ(kindOf("null"), Kind::null);
  EXPECT_EQ(kindOf("true"), Kind::boolean);
  EXPECT_EQ(kindOf("false"), Kind::boolean);
  EXPECT_EQ(kindOf("-1"), Kind::integer);
  EXPECT_EQ(kindOf("9223372036854775807"), Kind::integer);
  EXPECT_EQ(kindOf("9223372036854775808"), Kind::unsignedInteger);
  EXPECT_EQ(kindOf("18446744073709551616"), Kind::number);
  EXPECT_EQ(kindOf("1.0"), Kind::number);
  EXPECT_EQ(kindOf("\"\""), Kind::string);
  EXPECT_EQ(kindOf("[]"), Kind::array);
  EXPECT_EQ(kindOf("{}"), Kind::object);
}

TEST(ViewTest, AValueAnswersOnlyToItsOwnKind) {
  const auto document = Document::parse(R"({"t":true,"s":"x","n":null,"a":[1],"o":{"k":1},"d":2.0})");
  const View root = document->root();
  EXPECT_EQ(root["t"]->boolean(), true);
  EXPECT_FALSE(root["s"]->boolean());
  EXPECT_EQ(root["s"]->string(), "x");
  EXPECT_FALSE(root["t"]->string());
  EXPECT_TRUE(root["n"]->isNull());
  EXPECT_FALSE(root["a"]->number());
  EXPECT_FALSE(root["s"]->number());
  EXPECT_TRUE(root["s"]->elements().empty());
  EXPECT_TRUE(root["a"]->members().empty());
  EXPECT_TRUE(root["o"]->elements().empty());
  EXPECT_FALSE((*root["a"])["k"]);
  EXPECT_FALSE(root["d"]->int64());
  EXPECT_FALSE(root["d"]->uint64());
  EXPECT_EQ(root["d"]->number(), 2.0);
}

TEST(ViewTest, IntegersAreReadInBothTypesWhereTheyFit) {
  const auto document =
      Document::parse("[7,-7,9223372036854775808,18446744073709551615,-9223372036854775808]");
  std::vector<View> values;
  const Elements elements = document->root().elements();
  for (const View each : elements) values.push_back(each);
  EXPECT_EQ(values[0].int64(), 7);
  EXPECT_EQ(values[0].uint64(), 7U);
  EXPECT_EQ(values[0].number(), 7.0);
  EXPECT_EQ(values[1].int64(), -7);
  EXPECT_FALSE(values[1].uint64());
  EXPECT_FALSE(values[2].int64());
  EXPECT_EQ(values[2].uint64(), 9223372036854775808U);
  EXPECT_EQ(values[3].uint64(), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(values[3].number(), 18446744073709551616.0);
  EXPECT_EQ(values[4].int64(), std::numeric_limits<std::int64_t>::min());
}

TEST(ViewTest, IntegersBeyond64BitsAreDoubles) {
  const auto document =
      Document::parse(R"([18446744073709551616,-9223372036854775809,{"1":"123456789012345678901"}])");
  std::vector<View> values;
  const Elements elements = document->root().elements();
  for (const View each : elements) values.push_back(each);
  EXPECT_EQ(values[0].number(), 18446744073709551616.0);
  EXPECT_FALSE(values[0].uint64());
  EXPECT_EQ(values[1].number(), -9223372036854775808.0);
  EXPECT_EQ(values[2]["1"]->string(), "123456789012345678901");
}

TEST(ViewTest, MembersStandInTheDocumentsOrderWithRepeats) {
  const auto document = Document::parse(R"({"b":1,"a":{"x":[1,2]},"b":"two","c":3.5})");
  std::string seen;
  const Members members = document->root().members();
  for (const auto& [key, value] : members) seen += std::string(key) + "=" + value.serialized() + ";";
  EXPECT_EQ(seen, R"(b=1;a={"x":[1,2]};b="two";c=3.5;)");
  EXPECT_EQ(members.count(), 4U);
}

TEST(ViewTest, OfARepeatedKeyTheLastCounts) {
  const auto document = Document::parse(R"({"a":1,"b":2,"a":{"c":3}})");
  EXPECT_EQ((*document->root()["a"])["c"]->int64(), 3);
  EXPECT_FALSE(document->root()["c"]);
}

TEST(ViewTest, SortedMembersAscendByBytesAndOfARepeatedKeyTheLastStays) {
  const auto keysOf = [](std::string_view bytes) {
    const auto document = Document::parse(bytes);
    std::string text;
    for (const auto& [key, value] : document->root().sortedMembers())
      text += std::string(key) + "=" + value.serialized() + " ";
    return text;
  };
  EXPECT_EQ(keysOf(R"({"a":1,"b":2})"), "a=1 b=2 ");
  EXPECT_EQ(keysOf(R"({"b":1,"ä":2,"":3,"B":4,"ab":5,"a":6})"), "=3 B=4 a=6 ab=5 b=1 ä=2 ");
  EXPECT_EQ(keysOf(R"({"a":1,"a":2})"), "a=2 ");
  EXPECT_EQ(keysOf(R"({"b":1,"a":2,"b":3,"c":4,"a":5,"b":6})"), "a=5 b=6 c=4 ");
  for (const auto* other : {"{}", "[1]", "1", "null"}) EXPECT_EQ(keysOf(other), "");
}

TEST(ViewTest, ElementsStepOverNestedContainers) {
  const auto document = Document::parse(R"([[1,[2]],{"a":[3]},"x",1.5,18446744073709551615,-1,true,null])");
  const Elements elements = document->root().elements();
  EXPECT_EQ(elements.count(), 8U);
  EXPECT_FALSE(elements.empty());
  EXPECT_EQ((*elements.begin()).serialized(), "[1,[2]]");
}

TEST(ViewTest, SerializedIsCompactInTheDocumentsOrder) {
  const auto text = R"({"b":[1,-2,1.0,1e20,true,false,null,18446744073709551615,"ü\n\u0001"],"a":{},"a":[]})";
  EXPECT_EQ(Document::parse(" { \"b\" : [] } ")->root().serialized(), R"({"b":[]})");
  EXPECT_EQ(Document::parse(text)->root().serialized(),
            R"({"b":[1,-2,1,1e+20,true,false,null,18446744073709551615,"ü\n\u0001"],"a":{},"a":[]})");
}

TEST(ViewTest, TextsAreUnescaped) {
  EXPECT_EQ(Document::parse(R"("\u00fc\ud83d\ude00\/\n\u0000")")->root().string(), "ü😀/\n\0"s);
}

TEST(ViewTest, ADocumentOutlivesItsBytesAndIsReadByManyThreads) {
  std::shared_ptr<const Document> document;
  {
    Bytes bytes = R"({"list":[1,2,3],"text":"a longer text that is stored elsewhere"})";
    document = Document::parse(bytes);
    bytes.assign(bytes.size(), '#');
    Document::parse("[\"another document in between\"]");
  }
  std::vector<std::jthread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&] {
      EXPECT_EQ(document->root()["text"]->string(), "a longer text that is stored elsewhere");
      EXPECT_EQ(document->root()["list"]->elements().count(), 3U);
    });
}

TEST(ViewTest, WhatIsNotJSONIsRefused) {
  const std::string rows[] = {
      "",
      " \n",
      "\xEF\xBB\xBF{}",
      "{} x",
      "{}{}",
      "1 2",
      "1,",
      "[1,]",
      "[,1]",
      "{\"a\":1,}",
      "{\"a\" 1}",
      "{a:1}",
      "{\"a\"}",
      "[1 2]",
      "[1}",
      "[",
      "]",
      "{",
      "'a'",
      "\"a",
      "\"\\x\"",
      "\"\\u12g4\"",
      "\"\t\"",
      "\"\x01\"",
      "01",
      "-",
      "-01",
      "+1",
      ".5",
      "1.",
      "1e",
      "1e+",
      "0x10",
      "nan",
      "NaN",
      "Infinity",
      "-Infinity",
      "tru",
      "truex",
      "True",
      "nul",
      "// c\n1",
      "\f1",
      "1\v",
      "1\0"s,
      "\0"s,
      "\"a\"\0"s,
      "[1,\0]"s,
  };
  for (const std::string& row : rows)
    EXPECT_THROW(Document::parse(row), ParseError) << testing::PrintToString(row);
}

TEST(ViewTest, LoneSurrogatesAreRefused) {
  for (const char* row : {R"("\ud800")", R"("\udbff x")", R"("\udc00")", R"("\udfff")", R"("\ud800\ud800")",
                          R"("\udc00\ud800")", R"("\ud800\u0041")", R"("\ud800\ue000")", R"("\ud83d\n")",
                          R"({"\ud800":1})", R"({"\udc00":1})"})
    EXPECT_THROW(Document::parse(row), ParseError) << row;
  EXPECT_EQ(Document::parse(R"("\ud7ff\ue000\udbff\udfff")")->root().string(),
            "\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF");
}

TEST(ViewTest, InvalidUTF8IsRefusedWhereverItStands) {
  for (const char* bad : {"\x80", "\xC0\xAF", "\xC3", "\xED\xA0\x80", "\xF4\x90\x80\x80",
                          "\xF8\x88\x80\x80\x80", "\xE2\x82", "\xFF"})
    for (const std::size_t before : {0, 13, 63, 64, 200}) {
      const std::string text = "\"" + std::string(before, 'a') + bad + "\"";
      EXPECT_THROW(Document::parse(text), ParseError);
      EXPECT_THROW(Document::parse("{" + text + ":1}"), ParseError);
      EXPECT_THROW(Document::parse("[1]" + std::string(before, ' ') + bad), ParseError);
    }
}

TEST(ViewTest, NumbersThatNoDoubleHoldsAreRefused) {
  for (const std::string& row :
       {"1e400"s, "-1e400"s, "1.8e308"s, "1" + std::string(400, '0'), "-" + std::string(310, '9')})
    EXPECT_THROW(Document::parse(row), ParseError) << row;
  EXPECT_EQ(Document::parse("1.7976931348623157e308")->root().number(), std::numeric_limits<double>::max());
  EXPECT_EQ(Document::parse("1e-400")->root().number(), 0.0);
}

std::string nested(std::size_t depth, std::string_view open, std::string_view inner, std::string_view close) {
  std::string text;
  for (std::size_t i = 0; i < depth; ++i) text += open;
  text += inner;
  for (std::size_t i = 0; i < depth; ++i) text += close;
  return text;
}

TEST(ViewTest, TheDeepestNestingIsReadAndOneMoreRefused) {
  for (const char* inner : {"", "1", "100000000000000000000"}) {
    EXPECT_NO_THROW(Document::parse(nested(512, "[", inner, "]"))) << inner;
    EXPECT_THROW(Document::parse(nested(513, "[", inner, "]")), ParseError) << inner;
    EXPECT_THROW(Document::parse(nested(514, "[", inner, "]")), ParseError) << inner;
  }
  EXPECT_NO_THROW(Document::parse(nested(512, "{\"a\":", "1", "}")));
  EXPECT_NO_THROW(Document::parse(nested(511, "{\"a\":", "{}", "}")));
  EXPECT_THROW(Document::parse(nested(512, "{\"a\":", "{}", "}")), ParseError);
  EXPECT_THROW(Document::parse(nested(513, "{\"a\":", "1", "}")), ParseError);
  EXPECT_NO_THROW(Document::parse("[" + nested(511, "[", "", "]") + "," + nested(511, "[", "1", "]") + "]"));
}

TEST(ViewTest, TheErrorSaysWhatIsWrong) {
  EXPECT_EQ(problemOf(""), "The bytes are not JSON: they are empty.");
  EXPECT_EQ(problemOf("\"\x80\""), "The bytes are not JSON: they are not valid UTF-8.");
  EXPECT_EQ(problemOf(nested(600, "[", "", "]")),
            "The bytes are not JSON: they nest deeper than 512 levels.");
  EXPECT_EQ(problemOf("1e999"), "The bytes are not JSON: they hold a number that is malformed or too large.");
  EXPECT_EQ(problemOf("\"\\q\""), "The bytes are not JSON: they hold a malformed text.");
  EXPECT_EQ(problemOf("\"a"), "The bytes are not JSON: they end within a text.");
  EXPECT_EQ(problemOf("[1"), "The bytes are not JSON: their structure is malformed.");
}

TEST(ViewTest, MoreThanFourGigabytesAreRefusedUnread) {
  const std::size_t size = std::size_t{0xFFFF'FFFF};
  void* memory = mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);
  EXPECT_THAT(problemOf({static_cast<const char*>(memory), size}), HasSubstr("larger than 4 GB"));
  munmap(memory, size);
}

}  // namespace
}  // namespace platform::json
