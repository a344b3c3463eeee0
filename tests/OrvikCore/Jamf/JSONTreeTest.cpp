#include "OrvikCore/Jamf/JSONTree.h"

#include <gtest/gtest.h>

namespace orvik {
namespace {

TEST(JSONTree, AMemberOfAnythingButAnObjectIsTheEmptyTree) {
  for (const auto* text : {"[1]", "\"x\"", "1", "null", "true"}) {
    EXPECT_FALSE(JSONTree::parse(text)["a"].raw()) << text;
    EXPECT_FALSE(JSONTree::parse(text)["a"]["b"].string()) << text;
  }
}

TEST(JSONTree, StringIsATextOrANumberOrATruthValueInTextForm) {
  const auto tree = JSONTree::parse(
      R"({"s":"x","i":12,"n":1.5,"w":2.0,"u":18446744073709551615,"b":true,"z":null,"a":[]})");
  EXPECT_EQ(tree["s"].string(), "x");
  EXPECT_EQ(tree["i"].string(), "12");
  EXPECT_EQ(tree["n"].string(), "1.5");
  EXPECT_EQ(tree["w"].string(), "2");
  EXPECT_EQ(tree["u"].string(), "18446744073709551615");
  EXPECT_EQ(tree["b"].string(), "true");
  EXPECT_EQ(tree["z"].string(), std::nullopt);
  EXPECT_EQ(tree["a"].string(), std::nullopt);
}

TEST(JSONTree, IntegerIsANumbersWholeValueOrAStringReadAsOne) {
  const auto tree =
      JSONTree::parse(R"({"i":-7,"n":2.9,"s":"450","bad":"4x","empty":"","huge":1e300,"b":true})");
  EXPECT_EQ(tree["i"].integer(), -7);
  EXPECT_EQ(tree["n"].integer(), 2);
  EXPECT_EQ(tree["s"].integer(), 450);
  for (const auto* key : {"bad", "empty", "huge", "b", "none"})
    EXPECT_EQ(tree[key].integer(), std::nullopt) << key;
}

TEST(JSONTree, FirstPassesOverEmptyTextsAndTakesNumbers) {
  const auto tree = JSONTree::parse(R"({"a":"","b":{"c":5},"d":"x","e":true})");
  EXPECT_EQ(tree.first({{"a"}, {"b", "c"}, {"d"}}), "5");
  EXPECT_EQ(tree.first({{"none"}, {"a"}, {"d"}}), "x");
  EXPECT_EQ(tree.first({{"a"}, {"b"}, {"e"}}), std::nullopt);
  EXPECT_EQ(tree.first({}), std::nullopt);
}

TEST(JSONTree, ABareScalarParsesAndSerializes) {
  EXPECT_EQ(JSONTree::parse("12").serialized(), "12");
  EXPECT_EQ(JSONTree::parse(" \"a/b\" ").serialized(), "\"a/b\"");
  EXPECT_EQ(JSONTree::parse("null").serialized(), "null");
  EXPECT_EQ(JSONTree().serialized(), std::nullopt);
}

TEST(JSONTree, SerializedKeepsTheDocumentsOrder) {
  EXPECT_EQ(JSONTree::parse(R"({ "b" : 1, "a" : [ true, null ] })").serialized(),
            R"({"b":1,"a":[true,null]})");
}

TEST(JSONTree, KeepsItsDocumentAlive) {
  JSONTree inner;
  {
    const auto outer = JSONTree::parse(R"({"a":{"name":"kept"}})");
    inner = outer["a"];
  }
  EXPECT_EQ(inner["name"].string(), "kept");
}

}  // namespace
}  // namespace orvik
