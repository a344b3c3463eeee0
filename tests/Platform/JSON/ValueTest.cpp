#include "Platform/JSON/Value.h"

#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "Platform/Error.h"

namespace platform::json {
namespace {

TEST(ValueTest, EachCaseIsWritten) {
  EXPECT_EQ(Value().text(), "null");
  EXPECT_EQ(Value(nullptr).text(), "null");
  EXPECT_EQ(Value(true).text(), "true");
  EXPECT_EQ(Value(-5).text(), "-5");
  EXPECT_EQ(Value(std::size_t{5}).text(), "5");
  EXPECT_EQ(Value(std::numeric_limits<std::uint64_t>::max()).text(), "18446744073709551615");
  EXPECT_EQ(Value(1.5).text(), "1.5");
  EXPECT_EQ(Value("a\n").text(), "\"a\\n\"");
  EXPECT_EQ(Value::array().text(), "[]");
  EXPECT_EQ(Value::object().text(), "{}");
  EXPECT_EQ(Value::array({1, "x", nullptr, Value::array({true})}).text(), R"([1,"x",null,[true]])");
}

TEST(ValueTest, AnIntegerIsSignedWhereItFits) {
  EXPECT_EQ(Value(std::uint64_t{7}), Value(7));
  EXPECT_EQ(*Value(std::uint64_t{7}).integer(), 7);
  EXPECT_FALSE(Value(std::uint64_t{7}).unsignedInteger());
  EXPECT_EQ(*Value(std::uint64_t{1} << 63).unsignedInteger(), std::uint64_t{1} << 63);
  EXPECT_FALSE(Value(1.0) == Value(1));
}

TEST(ValueTest, MembersKeepTheirOrderAndSortWhenAsked) {
  const Value value = Value::object({{"b", 1}, {"a", Value::object({{"z", 1}, {"y", 2}})}});
  EXPECT_EQ(value.text(), R"({"b":1,"a":{"z":1,"y":2}})");
  EXPECT_EQ(value.sortedText(Rendering::compact), R"({"a":{"y":2,"z":1},"b":1})");
  EXPECT_EQ(value.sortedText(Rendering::pretty),
            "{\n  \"a\" : {\n    \"y\" : 2,\n    \"z\" : 1\n  },\n  \"b\" : 1\n}");
}

TEST(ValueTest, SetReplacesInPlaceAndAddsAtTheEnd) {
  Value value;
  value.set("b", 1).set("a", 2).set("b", "new");
  EXPECT_EQ(value.text(), R"({"b":"new","a":2})");
  Value number = 5;
  number.set("x", true);
  EXPECT_EQ(number.text(), R"({"x":true})");
}

TEST(ValueTest, AppendMakesAnArray) {
  Value value = "text";
  value.append(1).append(Value::object());
  EXPECT_EQ(value.text(), "[1,{}]");
}

TEST(ValueTest, FindSeesOnlyMembersOfObjects) {
  Value value = Value::object({{"a", 1}});
  ASSERT_TRUE(value.find("a"));
  *value.find("a") = Value("changed");
  EXPECT_EQ(*value.find("a")->string(), "changed");
  EXPECT_FALSE(value.find("b"));
  EXPECT_FALSE(Value(1).find("a"));
  EXPECT_FALSE(Value::array({"a"}).find("a"));
}

TEST(ValueTest, OfARepeatedKeyTheLastCounts) {
  const Value repeated(Value::Object{{"a", 1}, {"b", 2}, {"a", 3}});
  EXPECT_EQ(*repeated.find("a")->integer(), 3);
  EXPECT_EQ(repeated.sortedText(Rendering::compact), R"({"a":3,"b":2})");
  EXPECT_EQ(Value::from(Document::parse(R"({"a":1,"b":2,"a":3})")->root()).text(), R"({"b":2,"a":3})");
}

TEST(ValueTest, AParsedDocumentBecomesAnEqualValue) {
  const auto text = R"({"b":[1,-2,1.5,18446744073709551615,true,false,null,"ü"],"a":{}})";
  const auto document = Document::parse(text);
  const Value value = Value::from(document->root());
  EXPECT_EQ(value.text(), text);
  EXPECT_EQ(value, Value::from(Document::parse(value.text())->root()));
  EXPECT_EQ(*(*value.find("b")->array_())[0].integer(), 1);
}

TEST(ValueTest, AnObjectOfManyMembersIsReadInReasonableTime) {
  Bytes text = "{";
  for (int i = 0; i < 200'000; ++i)
    text += "\"key" + std::to_string(i % 150'000) + "\":" + std::to_string(i) + ",";
  text.back() = '}';
  const Value value = Value::from(Document::parse(text)->root());
  EXPECT_EQ(value.object_()->size(), 150'000U);
  EXPECT_EQ(*value.find("key7")->integer(), 150'007);
}

TEST(ValueTest, TheDeepestNestingIsWrittenAndOneMoreRefused) {
  Value value = Value::array();
  for (std::size_t depth = 1; depth < maximumDepth; ++depth) value = Value::array({std::move(value)});
  EXPECT_EQ(value.text(), std::string(512, '[') + std::string(512, ']'));
  value = Value::object({{"a", std::move(value)}});
  EXPECT_THROW(value.text(), Error);
  EXPECT_THROW(value.sortedText(Rendering::pretty), Error);
}

TEST(ValueTest, ANumberThatIsNotFiniteIsRefused) {
  EXPECT_THROW(Value(std::numeric_limits<double>::infinity()).text(), Error);
}

}  // namespace
}  // namespace platform::json
