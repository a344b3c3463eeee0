#include "SampleServer/RSQL.h"

#include <gtest/gtest.h>

#include "Platform/JSON/View.h"

namespace sample {
namespace {

using platform::json::Value;

constexpr std::string_view fields[] = {"id", "name", "general.assetTag", "enabled", "note"};

Value parsed(std::string_view json) { return Value::from(platform::json::Document::parse(json)->root()); }

const Value& object() {
  static const Value made = parsed(
      R"x({"id":"12","name":"Größe \"A\" (neu)","enabled":true,"general":{"assetTag":"A*1"},"note":null})x");
  return made;
}

bool matches(std::string_view filter) { return RSQLFilter(filter, fields).matches(object()); }

/// The refusal of a filter; empty when it is taken.
std::string refusal(std::string_view filter) {
  try {
    const RSQLFilter taken(filter, fields);
    return {};
  } catch (const RSQLError& error) {
    EXPECT_LT(error.description().size(), 200U);
    return error.description();
  }
}

TEST(SampleRSQL, ComparesTextsWithoutCase) {
  EXPECT_TRUE(matches(R"x(name=="GRÖßE \"a\" (NEU)")x"));
  EXPECT_FALSE(matches(R"x(name=="Größe \"B\" (neu)")x"));
  EXPECT_TRUE(matches("id==12"));
  EXPECT_FALSE(matches("id==1"));
  EXPECT_TRUE(matches("id!=1"));
  EXPECT_TRUE(matches("enabled==TRUE"));
}

TEST(SampleRSQL, AStarStandsForAnyTextUnlessItIsEscaped) {
  EXPECT_TRUE(matches("name=='größe*'"));
  EXPECT_TRUE(matches(R"x(name=="*neu)")x"));
  EXPECT_TRUE(matches(R"x(name=="gr*\"a\"*)")x"));
  EXPECT_TRUE(matches("name==*"));
  EXPECT_FALSE(matches(R"(name=="*alt*")"));
  EXPECT_TRUE(matches(R"(general.assetTag=="a\*1")"));
  EXPECT_FALSE(matches(R"(id=="1\*2")"));
  EXPECT_FALSE(matches(R"(id=="12*2")"));
}

TEST(SampleRSQL, AndBindsTighterThanOr) {
  EXPECT_TRUE(matches("id==12,id==1;id==2"));
  EXPECT_FALSE(matches("(id==12,id==1);id==2"));
  EXPECT_TRUE(matches("id==1 or id==12 and enabled==true"));
  EXPECT_FALSE(matches("id==1 or id==12 and enabled==false"));
  EXPECT_TRUE(matches(" ( id==1 or ( id == 12 ) ) and(enabled==true) "));
}

TEST(SampleRSQL, ANullIsAnEmptyText) {
  EXPECT_TRUE(matches(R"(note=="")"));
  EXPECT_FALSE(matches("note==x"));
  EXPECT_TRUE(matches("note!=x"));
}

TEST(SampleRSQL, UnknownPropertiesAreNamed) {
  EXPECT_EQ(refusal("nmae==x"), "Invalid property 'nmae'");
  EXPECT_EQ(refusal("id==1;Name==x"), "Invalid property 'Name'");
}

TEST(SampleRSQL, BadSyntaxIsRefused) {
  for (const char* bad : {"",
                          " ",
                          "id",
                          "id=",
                          "id==",
                          "id=1",
                          "id>1",
                          "==1",
                          "id==1;",
                          "id==1,",
                          "id==1 and",
                          "id==1 and ",
                          "id==1 xor id==2",
                          "id==\"1",
                          "id=='1",
                          "id==\"1\\",
                          "(id==1",
                          "id==1)",
                          "()",
                          "id==1 id==2",
                          "id==1;;id==2",
                          "id==a b",
                          "id==1(2)",
                          "\"id\"==1",
                          "id== ;id==1",
                          "id=in=(1,2)",
                          "id==1andid==2 x"}) {
    EXPECT_NE(refusal(bad), "") << bad;
  }
}

TEST(SampleRSQL, AMegabyteOfAnythingEndsSoon) {
  constexpr std::size_t length = 1 << 20;
  EXPECT_NE(refusal(std::string(length, '(')), "");
  EXPECT_NE(refusal(std::string(length, '"')), "");
  EXPECT_NE(refusal(std::string(length, '*')), "");
  EXPECT_NE(refusal("id==\"" + std::string(length, '\\')), "");
  EXPECT_EQ(refusal("id==\"" + std::string(length, '*') + "\""), "");
  std::string row = "id==1";
  while (row.size() < length) row += ";id==1,(id==2)";
  EXPECT_EQ(refusal(row), "");
  EXPECT_FALSE(matches(row));
}

TEST(SampleRSQL, BracketsMayLieInEachOtherToABound) {
  const auto nested = [](std::size_t depth) {
    return std::string(depth, '(') + "id==12" + std::string(depth, ')');
  };
  EXPECT_TRUE(matches(nested(RSQLFilter::maximumDepth)));
  EXPECT_NE(refusal(nested(RSQLFilter::maximumDepth + 1)), "");
}

}  // namespace
}  // namespace sample
