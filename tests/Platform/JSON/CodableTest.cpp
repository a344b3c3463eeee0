#include "Platform/JSON/Codable.h"

#include <chrono>
#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace records {

namespace json = platform::json;

enum class Status { complete, partial };

constexpr auto enumTexts(Status) {
  using namespace std::string_view_literals;
  return std::array{std::pair{Status::complete, "complete"sv}, std::pair{Status::partial, "partial"sv}};
}

struct Counts {
  std::int64_t total = 0;
  std::int32_t failed = 0;
  static constexpr auto fields() {
    return fieldList(json::field("total", &Counts::total), json::field("failed", &Counts::failed));
  }
  bool operator==(const Counts&) const = default;
};

struct Item {
  std::string id;
  std::optional<std::string> name;
  std::map<std::string, std::string> objects;
  std::optional<Counts> counts;
  static constexpr auto fields() {
    return fieldList(json::field("id", &Item::id), json::field("name", &Item::name),
                     json::field("objects", &Item::objects), json::field("counts", &Item::counts));
  }
  bool operator==(const Item&) const = default;
};

struct Count {
  int value = 0;
  static constexpr bool mayBeAbsent = true;
  void encode(json::Writer& writer) const { writer.integer(value); }
  static Count decode(json::View view) { return {json::decodeValue<int>(view)}; }
};

struct Sighting {
  std::optional<std::string> seen;
  Count count;
  static constexpr auto fields() {
    return fieldList(json::field("seen", &Sighting::seen, "lastSeen"),
                     json::field("count", &Sighting::count));
  }
};

struct Everything {
  Status status = Status::complete;
  bool flag = false;
  double rate = 0;
  std::uint64_t size = 0;
  std::vector<Item> items;
  std::set<std::string> disabled;
  std::map<std::string, Counts> bySection;
  std::optional<std::vector<std::string>> privileges;
  std::vector<std::optional<std::int64_t>> gaps;
  std::optional<Status> before;
  static constexpr auto fields() {
    return fieldList(json::field("status", &Everything::status), json::field("flag", &Everything::flag),
                     json::field("rate", &Everything::rate), json::field("size", &Everything::size),
                     json::field("items", &Everything::items), json::field("disabled", &Everything::disabled),
                     json::field("bySection", &Everything::bySection),
                     json::field("privileges", &Everything::privileges),
                     json::field("gaps", &Everything::gaps), json::field("before", &Everything::before));
  }
  bool operator==(const Everything&) const = default;
};

struct Stamped {
  platform::Date at;
  platform::UUID id;
  static constexpr auto fields() {
    return fieldList(json::field("at", &Stamped::at), json::field("id", &Stamped::id));
  }
  bool operator==(const Stamped&) const = default;
};

}  // namespace records

namespace platform::json {
namespace {

using records::Counts;
using records::Everything;
using records::Item;
using records::Sighting;
using records::Stamped;
using records::Status;

template <class T>
std::string problemOf(std::string_view bytes) {
  try {
    Decoder().decode<T>(bytes);
  } catch (const DecodingError& error) {
    return error.description();
  }
  return "";
}

template <class T>
T decoded(std::string_view bytes) {
  return Decoder().decode<T>(bytes);
}

template <class T>
std::string compact(const T& value) {
  return Encoder(Rendering::compact).encode(value);
}

Everything sample() {
  Everything all;
  all.status = Status::partial;
  all.flag = true;
  all.rate = 2.5;
  all.size = std::numeric_limits<std::uint64_t>::max();
  all.items = {{"1", "Büro", {{"json", "aa"}, {"xml", "bb"}}, Counts{3, -1}}, {"2", std::nullopt, {}, {}}};
  all.disabled = {"scripts", "policies"};
  all.bySection = {{"b", {1, 2}}, {"a", {3, 4}}};
  all.privileges = {"Read Policies"};
  all.gaps = {1, std::nullopt};
  all.before = Status::complete;
  return all;
}

TEST(CodableTest, KeysAreEncodedAscendingWhateverTheOrderOfFields) {
  EXPECT_EQ(
      compact(sample()),
      R"({"before":"complete","bySection":{"a":{"failed":4,"total":3},"b":{"failed":2,"total":1}},)"
      R"("disabled":["policies","scripts"],"flag":true,"gaps":[1,null],)"
      R"("items":[{"counts":{"failed":-1,"total":3},"id":"1","name":"Büro","objects":{"json":"aa","xml":"bb"}},)"
      R"({"id":"2","objects":{}}],"privileges":["Read Policies"],"rate":2.5,)"
      R"("size":18446744073709551615,"status":"partial"})");
}

TEST(CodableTest, WhatIsEncodedIsDecodedEqualInBothRenderings) {
  for (const auto rendering : {Rendering::compact, Rendering::pretty})
    EXPECT_EQ(decoded<Everything>(Encoder(rendering).encode(sample())), sample());
}

TEST(CodableTest, PrettyRecordsLookLikeTheCanonicalText) {
  EXPECT_EQ(Encoder(Rendering::pretty).encode(Item{"a/b", {}, {}, {}}),
            "{\n  \"id\" : \"a/b\",\n  \"objects\" : {\n\n  }\n}");
}

TEST(CodableTest, AnEmptyOptionalHasNoKeyAndAFalseBooleanHas) {
  const std::string text = compact(Everything{});
  EXPECT_EQ(text.find("privileges"), std::string::npos);
  EXPECT_EQ(text.find("before"), std::string::npos);
  EXPECT_NE(text.find("\"flag\":false"), std::string::npos);
}

TEST(CodableTest, NullOrAMissingKeyIsAnEmptyOptional) {
  EXPECT_EQ(decoded<Item>(R"({"id":"1","objects":{},"name":null,"counts":null})"), (Item{"1", {}, {}, {}}));
  EXPECT_EQ(decoded<Item>(R"({"id":"1","objects":{}})"), (Item{"1", {}, {}, {}}));
}

TEST(CodableTest, ASecondKeyCountsWhereTheFirstHasNoValueAndIsNeverWritten) {
  for (const auto* text : {R"({"seen":"a"})", R"({"lastSeen":"a"})", R"({"lastSeen":"b","seen":"a"})",
                           R"({"seen":"a","lastSeen":"b"})", R"({"seen":null,"lastSeen":"a"})",
                           R"({"lastSeen":"a","seen":null})", R"({"lastSeen":"b","lastSeen":"a"})"})
    EXPECT_EQ(decoded<Sighting>(text).seen, "a") << text;
  EXPECT_EQ(decoded<Sighting>("{}").seen, std::nullopt);
  EXPECT_EQ(compact(Sighting{"a", {}}), R"({"count":0,"seen":"a"})");
}

TEST(CodableTest, ATypeThatMayBeAbsentKeepsItsDefault) {
  EXPECT_EQ(decoded<Sighting>("{}").count.value, 0);
  EXPECT_EQ(decoded<Sighting>(R"({"count":null})").count.value, 0);
  EXPECT_EQ(decoded<Sighting>(R"({"count":3})").count.value, 3);
  EXPECT_EQ(problemOf<Sighting>(R"({"count":"3"})"), "count: not an integer");
}

TEST(CodableTest, UnknownKeysAreIgnored) {
  EXPECT_EQ(decoded<Counts>(R"({"failed":1,"future":{"x":[1]},"total":2})"), (Counts{2, 1}));
}

TEST(CodableTest, OfARepeatedKeyTheLastCounts) {
  EXPECT_EQ(decoded<Counts>(R"({"failed":"no number","total":1,"failed":7})"), (Counts{1, 7}));
  EXPECT_EQ(problemOf<Counts>(R"({"failed":7,"total":1,"failed":"x"})"), "failed: not an integer");
  using Map = std::map<std::string, std::string>;
  EXPECT_EQ(decoded<Map>(R"({"a":1,"b":"x","a":"y"})"), (Map{{"a", "y"}, {"b", "x"}}));
  EXPECT_EQ(problemOf<Counts>(R"({"failed":7,"total":1,"total":null})"), "total: null for a required field");
}

TEST(CodableTest, ARequiredFieldMustStandThere) {
  EXPECT_EQ(problemOf<Counts>(R"({"total":1})"), "failed: missing");
  EXPECT_EQ(problemOf<Counts>(R"({"total":1,"failed":null})"), "failed: null for a required field");
  EXPECT_EQ(problemOf<Item>(R"({"id":"1"})"), "objects: missing");
}

TEST(CodableTest, AWrongTypeIsRefusedWithItsCodingPath) {
  EXPECT_EQ(problemOf<Item>("[]"), "not an object");
  EXPECT_EQ(problemOf<Item>("null"), "not an object");
  EXPECT_EQ(problemOf<Item>(R"({"id":1,"objects":{}})"), "id: not a text");
  EXPECT_EQ(problemOf<Item>(R"({"id":"1","objects":[]})"), "objects: not an object");
  EXPECT_EQ(problemOf<Item>(R"({"id":"1","objects":{"json":5}})"), "objects.json: not a text");
  EXPECT_EQ(problemOf<Item>(R"({"id":"1","objects":{"json":null}})"), "objects.json: not a text");
  EXPECT_EQ(problemOf<Item>(R"({"id":"1","objects":{},"counts":{"total":true,"failed":1}})"),
            "counts.total: not an integer");
  EXPECT_EQ(problemOf<std::vector<Item>>(
                R"([{"id":"1","objects":{}},{"id":"2","objects":{},"counts":{"total":1}}])"),
            "[1].counts.failed: missing");
  EXPECT_EQ(problemOf<std::vector<std::vector<std::int64_t>>>("[[1],[2,\"x\"]]"), "[1][1]: not an integer");
}

TEST(CodableTest, AnArrayInsideARecordShowsItsIndexInThePath) {
  const std::string base = compact(Everything{});
  const auto with = [&](std::string_view members) {
    return base.substr(0, base.size() - 1) + "," + std::string(members) + "}";
  };
  EXPECT_EQ(problemOf<Everything>(with(R"("items":[{"id":"1","objects":{}},{"id":2,"objects":{}}])")),
            "items[1].id: not a text");
  EXPECT_EQ(problemOf<Everything>(with(R"("items":{})")), "items: not an array");
  EXPECT_EQ(problemOf<Everything>(with(R"("disabled":["a",1])")), "disabled[1]: not a text");
  EXPECT_EQ(problemOf<Everything>(with(R"("bySection":{"x":{"total":1,"failed":1.5}})")),
            "bySection.x.failed: not an integer");
  EXPECT_EQ(problemOf<Everything>(with(R"("flag":0)")), "flag: not a truth value");
  EXPECT_EQ(problemOf<Everything>(with(R"("flag":"true")")), "flag: not a truth value");
  EXPECT_EQ(problemOf<Everything>(with(R"("rate":"2")")), "rate: not a number");
  EXPECT_EQ(problemOf<Everything>(with(R"("status":"unheard of")")), "status: an unknown value");
  EXPECT_EQ(problemOf<Everything>(with(R"("status":"Complete")")), "status: an unknown value");
  EXPECT_EQ(problemOf<Everything>(with(R"("status":1)")), "status: not a text");
  EXPECT_EQ(problemOf<Everything>(with(R"("before":"")")), "before: an unknown value");
  EXPECT_EQ(problemOf<Everything>(with(R"("privileges":["a",null])")), "privileges[1]: not a text");
  EXPECT_EQ(problemOf<Everything>(with(R"("gaps":[null,"x"])")), "gaps[1]: not an integer");
}

TEST(CodableTest, TheErrorKeepsPathAndProblemApart) {
  try {
    decoded<Counts>(R"({"total":[],"failed":1})");
    FAIL() << "an array is no integer";
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.path(), "total");
    EXPECT_EQ(error.problem(), "not an integer");
  }
}

TEST(CodableTest, AnIntegerIsWrittenAsOne) {
  EXPECT_EQ(problemOf<std::int64_t>("2.0"), "not an integer");
  EXPECT_EQ(problemOf<std::int64_t>("2e0"), "not an integer");
  EXPECT_EQ(problemOf<std::int64_t>("\"2\""), "not an integer");
  EXPECT_EQ(problemOf<std::int64_t>("100000000000000000000"), "not an integer");
  EXPECT_EQ(decoded<std::int64_t>("-0"), 0);
}

TEST(CodableTest, AnIntegerOutOfRangeIsRefused) {
  EXPECT_EQ(decoded<std::int32_t>("2147483647"), std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(decoded<std::int32_t>("-2147483648"), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(problemOf<std::int32_t>("2147483648"), "the integer is out of range");
  EXPECT_EQ(problemOf<std::int32_t>("-2147483649"), "the integer is out of range");
  EXPECT_EQ(problemOf<std::int32_t>("18446744073709551615"), "the integer is out of range");
  EXPECT_EQ(problemOf<std::int64_t>("9223372036854775808"), "the integer is out of range");
  EXPECT_EQ(problemOf<std::uint64_t>("-1"), "the integer is out of range");
  EXPECT_EQ(decoded<std::uint64_t>("18446744073709551615"), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(decoded<std::int64_t>("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
}

TEST(CodableTest, ANumberMayBeWrittenAsAnInteger) {
  EXPECT_EQ(decoded<double>("2"), 2.0);
  EXPECT_EQ(decoded<double>("2.5"), 2.5);
  EXPECT_EQ(decoded<double>("18446744073709551615"), 18446744073709551616.0);
  EXPECT_EQ(compact(2.0), "2");
}

TEST(CodableTest, ASetTakesRepeatsInAnyOrder) {
  EXPECT_EQ(decoded<std::set<std::string>>(R"(["b","a","b"])"), (std::set<std::string>{"a", "b"}));
}

TEST(CodableTest, MapKeysKeepAnyText) {
  using Map = std::map<std::string, std::int64_t>;
  const Map map{{"", 1}, {"a.b", 2}, {"ü\n", 3}, {"Z", 4}};
  EXPECT_EQ(compact(map), R"({"":1,"Z":4,"a.b":2,"ü\n":3})");
  EXPECT_EQ(decoded<Map>(compact(map)), map);
}

TEST(CodableTest, EnumsHaveATextBothWays) {
  EXPECT_EQ(textOf(Status::partial), "partial");
  EXPECT_EQ(enumFromText<Status>("complete"), Status::complete);
  EXPECT_EQ(enumFromText<Status>("other"), std::nullopt);
}

TEST(CodableTest, DatesAndUUIDsHaveOneForm) {
  using namespace std::chrono;
  const Stamped stamped{Date(sys_days(2025y / March / 4) + 9h + 15min),
                        *UUID::parse("0a1b2c3d-0000-4000-8000-00000000abcd")};
  const std::string text = compact(stamped);
  EXPECT_EQ(text, R"({"at":"2025-03-04T09:15:00Z","id":"0A1B2C3D-0000-4000-8000-00000000ABCD"})");
  EXPECT_EQ(decoded<Stamped>(text), stamped);
  EXPECT_EQ(problemOf<Stamped>(R"({"at":"2025-03-04","id":""})"), "at: not an ISO 8601 date");
  EXPECT_EQ(problemOf<Stamped>(R"({"at":5,"id":""})"), "at: not a date");
  EXPECT_EQ(problemOf<Stamped>(R"({"at":"2025-03-04T09:15:00Z","id":"x"})"), "id: not a UUID");
}

TEST(CodableTest, BytesThatAreNotJSONAreAParseError) {
  EXPECT_THROW(decoded<Counts>("{"), ParseError);
  EXPECT_THROW(decoded<Counts>(""), ParseError);
}

TEST(CodableTest, TryDecodeAnswersNothingInsteadOfAnError) {
  EXPECT_EQ(Decoder().tryDecode<Counts>("{"), std::nullopt);
  EXPECT_EQ(Decoder().tryDecode<Counts>("{}"), std::nullopt);
  EXPECT_EQ(Decoder().tryDecode<Counts>(R"({"total":1,"failed":2})"), (Counts{1, 2}));
}

}  // namespace
}  // namespace platform::json
