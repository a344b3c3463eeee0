#include "JamfCore/Tools/MCP/JSONValue.h"

#include <gtest/gtest.h>

#include "JamfCore/Tools/MCP/JSONRPC.h"

namespace jamf {
namespace {

namespace json = platform::json;

template <class T = JSONValue>
T decoded(std::string_view text) {
  return json::Decoder().decode<T>(text);
}

std::string encoded(const JSONValue& value) { return json::Encoder(json::Rendering::compact).encode(value); }

TEST(JSONValue, EachShapeHasItsCase) {
  EXPECT_EQ(decoded("null"), JSONValue::null());
  EXPECT_EQ(decoded("true"), JSONValue::boolean(true));
  EXPECT_EQ(decoded("1"), JSONValue::number(1));
  EXPECT_EQ(decoded("\"1\""), JSONValue::string("1"));
  EXPECT_EQ(decoded("[1,null]"), JSONValue::array({JSONValue::number(1), JSONValue::null()}));
  EXPECT_EQ(decoded(R"({"a":{}})"), JSONValue::object({{"a", JSONValue::object({})}}));
  EXPECT_NE(decoded("1"), JSONValue::boolean(true));
  EXPECT_NE(decoded("\"\""), JSONValue::null());
}

TEST(JSONValue, WhatWasReadIsWrittenAgain) {
  for (const auto* text :
       {"null", "true", "7", "-0.5", "\"a\\n\"", R"([1,"x",[],{}])", R"({"a":null,"b":[false]})"})
    EXPECT_EQ(encoded(decoded(text)), text);
  EXPECT_EQ(encoded(decoded("7.0")), "7");
  EXPECT_EQ(encoded(decoded("9007199254740993")), "9007199254740992");
}

TEST(JSONValue, MembersAreFoundInObjectsAlone) {
  const auto value = decoded(R"({"a":"x"})");
  EXPECT_EQ(*value["a"], JSONValue::string("x"));
  EXPECT_EQ(value["b"], nullptr);
  for (const auto* text : {"[1]", "\"a\"", "1", "null", "true"})
    EXPECT_EQ(decoded(text)["a"], nullptr) << text;
}

TEST(JSONValue, OnlyAStringHasAText) {
  EXPECT_EQ(*decoded("\"x\"").stringValue(), "x");
  for (const auto* text : {"3", "true", "null", "[]", "{}"})
    EXPECT_EQ(decoded(text).stringValue(), nullptr) << text;
  EXPECT_EQ(decoded("[]").objectValue(), nullptr);
}

TEST(JSONValue, TheNativeFormKeepsNullsAndHasNoIntegers) {
  const auto value = decoded(R"({"a":null,"b":3,"c":[true,"x"]})").anyValue();
  const auto& map = *value.as<AnyValue::Map>();
  ASSERT_EQ(map.size(), 3U);
  EXPECT_TRUE(map.at("a").as<AnyValue::Null>());
  EXPECT_EQ(*map.at("b").as<double>(), 3);
  EXPECT_FALSE(map.at("b").as<std::int64_t>());
  EXPECT_EQ(*map.at("c").as<AnyValue::List>(), (AnyValue::List{{true}, {std::string("x")}}));
}

TEST(JSONRPCRequest, ANullIsLikeAMissingKey) {
  for (const auto* text :
       {R"({"jsonrpc":"2.0","id":null,"method":"x"})", R"({"jsonrpc":"1.0","method":"x","params":null})"}) {
    const auto request = decoded<JSONRPCRequest>(text);
    EXPECT_EQ(request.id, std::nullopt);
    EXPECT_EQ(request.params, std::nullopt);
  }
}

TEST(JSONRPCRequest, WhatLacksAMethodOrAVersionIsNone) {
  for (const auto* text : {R"({"jsonrpc":"2.0"})", R"({"method":"x"})", "[]", "1",
                           R"({"jsonrpc":2,"method":"x"})", R"([{"jsonrpc":"2.0","method":"x"}])"})
    EXPECT_THROW(decoded<JSONRPCRequest>(text), json::DecodingError) << text;
}

}  // namespace
}  // namespace jamf
