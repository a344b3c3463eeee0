#include "Platform/JSON/Walk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace platform::json;
using platform::Bytes;

enum class Colour { red, green };
constexpr auto enumTexts(Colour) {
  return std::array{std::pair{Colour::red, std::string_view("red")},
                    std::pair{Colour::green, std::string_view("green")}};
}

struct Leaf {
  std::string id;
  std::optional<int> number;
  static constexpr auto fields() { return fieldList(field("id", &Leaf::id), field("number", &Leaf::number)); }
};

struct Tree {
  std::vector<Leaf> leaves;
  std::map<std::string, std::string> names;
  std::optional<Leaf> extra;
  Colour colour = Colour::red;
  bool isOld = false;
  double weight = 0;
  platform::Date planted;
  static constexpr auto fields() {
    return fieldList(field("leaves", &Tree::leaves), field("names", &Tree::names),
                     field("extra", &Tree::extra), field("colour", &Tree::colour),
                     field("isOld", &Tree::isOld), field("weight", &Tree::weight),
                     field("planted", &Tree::planted));
  }
};

const std::string whole =
    R"({"colour":"green","extra":null,"isOld":true,"leaves":[{"id":"a","number":1},{"id":"b"}],)"
    R"("names":{"x":"1"},"planted":"2025-03-04T09:15:00Z","weight":2,"unknown":[]})";

/// Gathers the IDs of leaves.
struct IDs {
  std::vector<std::string>& found;
  void operator()(const Field<Leaf, std::string>&, View id) const { found.emplace_back(id.string().value()); }
  void operator()(const auto&, View) const {}
};

std::string problemOf(const Bytes& document) {
  try {
    lookAt(document, [](View root) { walkValue<Tree>(root, [](const auto&, View) {}); });
    return "";
  } catch (const DecodingError& error) {
    return error.description();
  }
}

std::string problemOfDecoding(const Bytes& document) {
  try {
    Decoder().decode<Tree>(document);
    return "";
  } catch (const DecodingError& error) {
    return error.description();
  }
}

TEST(Walk, ShowsTheFieldsOfEveryRecordWithin) {
  std::vector<std::string> found;
  lookAt(whole, [&](View root) { walkValue<Tree>(root, IDs{found}); });
  EXPECT_THAT(found, testing::ElementsAre("a", "b"));
}

TEST(Walk, IsAsStrictAsDecodingAndSaysTheSame) {
  EXPECT_EQ(problemOf(whole), "");
  const std::vector<std::pair<std::string, std::string>> changes{
      {R"("green")", R"("blue")"},
      {R"("green")", "1"},
      {R"("extra":null)", R"("extra":{})"},
      {"true", "1"},
      {R"("id":"b")", R"("id":2)"},
      {R"("number":1)", R"("number":1.5)"},
      {R"("number":1)", R"("number":99999999999)"},
      {R"({"x":"1"})", R"({"x":1})"},
      {R"({"x":"1"})", "[]"},
      {"2025-03-04T", "yesterday"},
      {R"("weight":2)", R"("weight":"2")"},
      {R"([{"id":"a","number":1},{"id":"b"}])", "{}"},
      {R"("isOld":true,)", ""},
      {R"("names")", R"("other")"}};
  for (const auto& [from, to] : changes) {
    auto changed = whole;
    changed.replace(changed.find(from), from.size(), to);
    EXPECT_NE(problemOf(changed), "") << changed;
    EXPECT_EQ(problemOf(changed), problemOfDecoding(changed)) << changed;
  }
  EXPECT_EQ(problemOf("[]"), problemOfDecoding("[]"));
}

TEST(Walk, FieldsInAnyOrderAndRepeatedOnesAreFound) {
  const Bytes document =
      R"({"weight":"x","planted":"2025-03-04T09:15:00Z","names":{},"leaves":[],"isOld":false,"colour":"red",)"
      R"("weight":1})";
  EXPECT_EQ(problemOf(document), "");
  EXPECT_EQ(Decoder().decode<Tree>(document).weight, 1.0) << "of a repeated key the last one counts";
}

TEST(LookAt, ReadsWithoutRoomBehindTheEndAsWell) {
  Bytes tight = whole;
  tight.shrink_to_fit();
  Bytes roomy = whole;
  roomy.reserve(whole.size() + 1000);
  for (const auto& bytes : {tight, roomy}) EXPECT_EQ(problemOf(bytes), "");
}

TEST(LookAt, RefusesWhatIsNoJSONAndPassesOnWhatIsThrown) {
  EXPECT_THROW(lookAt("", [](View) {}), ParseError);
  EXPECT_THROW(lookAt("{", [](View) {}), ParseError);
  EXPECT_THROW(lookAt("[]", [](View) { throw 1; }), int);
  EXPECT_EQ(problemOf(whole), "") << "the thread's memory serves on";
}

/// A type that brings its own form.
struct Pair {
  int first = 0;
  int second = 0;
  void encode(Writer& writer) const {
    writer.beginArray();
    writer.integer(first);
    writer.integer(second);
    writer.endArray();
  }
  static Pair decode(View view) {
    const auto numbers = decodeValue<std::vector<int>>(view);
    if (numbers.size() != 2) throw DecodingError("", "not a pair");
    return {numbers[0], numbers[1]};
  }
};
struct WithPair {
  Pair pair;
  static constexpr auto fields() { return fieldList(field("pair", &WithPair::pair)); }
};

TEST(Codable, ATypeMayBringItsOwnForm) {
  EXPECT_EQ(Encoder(Rendering::compact).encode(WithPair{{1, 2}}), R"({"pair":[1,2]})");
  EXPECT_EQ(Decoder().decode<WithPair>(R"({"pair":[3,4]})").pair.second, 4);
  try {
    Decoder().decode<WithPair>(R"({"pair":[3]})");
    FAIL() << "it decoded";
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.description(), "pair: not a pair");
  }
}

}  // namespace
