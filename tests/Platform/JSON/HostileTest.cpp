#include <string>

#include <gtest/gtest.h>

#include "Platform/JSON/Canonical.h"
#include "Platform/JSON/View.h"

namespace platform::json {
namespace {

using namespace std::string_literals;

void expectRefused(const std::string& bytes, const std::string& what) {
  EXPECT_THROW(Document::parse(bytes), ParseError) << what;
  EXPECT_EQ(canonical(bytes), std::nullopt) << what;
}

TEST(HostileTest, AMegabyteOfOpeningsIsRefused) {
  constexpr std::size_t size = std::size_t{1} << 20;
  expectRefused(std::string(size, '['), "[");
  expectRefused(std::string(size, '{'), "{");
  expectRefused(std::string(size, '"'), "quotes");
  expectRefused(std::string(size, '\\'), "backslashes");
  expectRefused(std::string(size, '\0'), "zeros");
  expectRefused(std::string(size, '\xFF'), "no UTF-8");
  expectRefused(std::string(size, '9'), "one number");
  std::string members;
  for (std::size_t i = 0; i < size / 5; ++i) members += "{\"\":";
  expectRefused(members, "objects in objects");
}

TEST(HostileTest, EveryCutOfADocumentIsRefused) {
  const std::string text =
      R"({"id":12,"name":"Büro 😀","list":[1.5,-2,true,false,null,"\u00fc\n",[],{}],"big":100000000000000000000,"o":{"a":{"b":"c"}}})";
  ASSERT_TRUE(canonical(text));
  for (std::size_t length = 0; length < text.size(); ++length)
    expectRefused(text.substr(0, length), "cut at " + std::to_string(length));
  for (std::size_t start = 1; start < text.size(); ++start)
    EXPECT_NO_FATAL_FAILURE(canonical(text.substr(start)));
}

TEST(HostileTest, EveryFlippedByteEitherReadsOrIsRefusedByBothRoads) {
  const std::string text = R"({"id":12,"name":"Büro","list":[1.5,-2,true,null,"\ud83d\ude00"],"o":{}})";
  for (std::size_t place = 0; place < text.size(); ++place)
    for (int bit = 0; bit < 8; ++bit) {
      std::string damaged = text;
      damaged[place] = static_cast<char>(damaged[place] ^ (1 << bit));
      bool reads = true;
      try {
        Document::parse(damaged);
      } catch (const ParseError&) {
        reads = false;
      }
      EXPECT_EQ(canonical(damaged).has_value(), reads) << damaged;
    }
}

TEST(HostileTest, ManySmallContainersAreRead) {
  std::string text = "[";
  for (int i = 0; i < 100'000; ++i) text += i % 2 == 0 ? "[]," : "{},";
  text.back() = ']';
  EXPECT_EQ(Document::parse(text)->root().elements().count(), 100'000U);
  EXPECT_TRUE(canonical(text));
}

TEST(HostileTest, ManyBigIntegersAreRead) {
  std::string text = "[";
  for (int i = 0; i < 20'000; ++i) text += "100000000000000000000,";
  text.back() = ']';
  EXPECT_EQ(Document::parse(text)->root().elements().count(), 20'000U);
  EXPECT_TRUE(canonical(text)->starts_with("[\n  1e+20,\n  1e+20,"));
}

TEST(HostileTest, ALongNumberIsReadOrRefusedByItsValue) {
  EXPECT_EQ(canonical("0." + std::string(100'000, '1')), "0.1111111111111111");
  EXPECT_EQ(canonical("1." + std::string(100'000, '0')), "1");
  expectRefused("1" + std::string(100'000, '0'), "a number of 100001 digits");
  EXPECT_EQ(canonical("1e-99999999999999999999"), "0");
  expectRefused("1e99999999999999999999", "a huge exponent");
}

TEST(HostileTest, TextsThatGrowSixfoldAreWritten) {
  std::string text = "\"";
  for (int i = 0; i < 200'000; ++i) text += "\\u0001";
  text += "\"";
  EXPECT_EQ(canonical(text), text);
}

TEST(HostileTest, DeepNestingManyTimesIsWritten) {
  std::string deep = "["s;
  for (int i = 0; i < 200; ++i) deep += std::string(511, '[') + std::string(511, ']') + ",";
  deep.back() = ']';
  const auto text = canonical(deep);
  ASSERT_TRUE(text);
  EXPECT_EQ(canonical(*text), text);
}

}  // namespace
}  // namespace platform::json
