#include "OrvikCore/Jamf/SectionLists.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Platform/JSON/View.h"
#include "tests/Support/ScriptedReader.h"

namespace orvik {
namespace {

using test::ScriptedReader;
using testing::ElementsAre;

std::vector<std::string> idsOf(const std::vector<ListEntry>& entries) {
  std::vector<std::string> ids;
  for (const auto& entry : entries) ids.push_back(entry.id);
  return ids;
}

struct ShapeRow {
  const char* name;
  const char* body;
  std::vector<std::string> ids;
};

class ClassicShapes : public testing::TestWithParam<ShapeRow> {};

TEST_P(ClassicShapes, AreReadForTheirEntries) {
  EXPECT_EQ(idsOf(classicEntries(GetParam().body, "policies")), GetParam().ids);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ClassicShapes,
    testing::Values(
        ShapeRow{"PlainList", R"({"policies":[{"id":1,"name":"a"},{"id":"2"}]})", {"1", "2"}},
        ShapeRow{"EmptyList", R"({"policies":[]})", {}},
        ShapeRow{"SizeOnly", R"({"policies":{"size":0}})", {}},
        ShapeRow{"EmptyObject", R"({"policies":{}})", {}},
        ShapeRow{"ListInAWrapper", R"({"policies":{"policy":[{"id":1},{"id":2}]}})", {"1", "2"}},
        ShapeRow{
            "ListInAWrapperWithSize", R"({"policies":{"size":2,"policy":[{"id":1},{"id":2}]}})", {"1", "2"}},
        ShapeRow{"OneObjectInAWrapper", R"({"policies":{"policy":{"id":1}}})", {"1"}},
        ShapeRow{"OneObjectInAWrapperWithSize", R"({"policies":{"size":1,"policy":{"id":1}}})", {"1"}},
        ShapeRow{"MisnamedKey", R"({"size":1,"patch policies":[{"id":7}]})", {"7"}},
        ShapeRow{"FirstArrayOfTheRoot", R"({"policies":5,"a":[{"id":1}],"b":[{"id":2}]})", {"1"}},
        ShapeRow{"NoListAtAll", R"({"message":"hello"})", {}}, ShapeRow{"BareArray", R"([{"id":1}])", {}},
        ShapeRow{"BareScalar", R"("x")", {}},
        ShapeRow{"StrayElements",
                 R"({"policies":["",null,{"id":4},{"name":"no id"},{"id":true},{"id":{}}]})",
                 {"4"}},
        ShapeRow{"WrapperOfAScalar", R"({"policies":{"policy":3}})", {}},
        ShapeRow{"DuplicateIds", R"({"policies":[{"id":1},{"id":1}]})", {"1", "1"}}),
    [](const auto& row) { return row.param.name; });

TEST(ClassicEntries, ANumberAsNameReadsAsText) {
  const auto entries = classicEntries(R"({"policies":[{"id":1,"name":12},{"id":2}]})", "policies");
  EXPECT_EQ(entries[0].name, "12");
  EXPECT_EQ(entries[1].name, std::nullopt);
}

TEST(ClassicEntries, GarbageIsAParseError) {
  EXPECT_THROW(classicEntries("<html>", "policies"), platform::json::ParseError);
  EXPECT_THROW(classicEntries("", "policies"), platform::json::ParseError);
}

TEST(AccountEntries, ComeAsUsersThenGroupsWithPrefixedIds) {
  const auto entries = accountEntries(
      R"({"accounts":{"groups":[{"id":2,"name":"Help desk"}],"users":[{"id":12,"name":"root"},{"name":"no id"}]}})");
  EXPECT_THAT(idsOf(entries), ElementsAre("user:12", "group:2"));
  EXPECT_EQ(entries[0].path, "JSSResource/accounts/userid/12");
  EXPECT_EQ(entries[1].path, "JSSResource/accounts/groupid/2");
  EXPECT_EQ(entries[1].name, "Help desk");
}

TEST(AccountEntries, AnEmptyOrOddAnswerHasNone) {
  EXPECT_TRUE(accountEntries(R"({"accounts":{"users":[],"groups":{}}})").empty());
  EXPECT_TRUE(accountEntries(R"({})").empty());
  EXPECT_TRUE(accountEntries(R"([])").empty());
}

TEST(AccountEntries, AnIdThatIsNoPathComponentHasNoPath) {
  const auto entries = accountEntries(R"({"accounts":{"users":[{"id":"../1"}]}})");
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].path, std::nullopt);
}

std::string page(int from, int count, int total = -1) {
  std::string body = "{";
  if (total >= 0) body += "\"totalCount\":" + std::to_string(total) + ",";
  body += "\"results\":[";
  for (int i = 0; i < count; ++i)
    body += (i ? ",{\"id\":\"" : "{\"id\":\"") + std::to_string(from + i) + "\"}";
  return body + "]}";
}

std::size_t countOf(const ProResponse& response) { return std::get<std::vector<JSONTree>>(response).size(); }

TEST(ProFetch, StopsOnTheTotalCount) {
  ScriptedReader reader([](const auto& call, auto&) {
    const int n = std::stoi(*call.query[0].value);
    return page(n * 200, n < 2 ? 200 : 50, 450);
  });
  EXPECT_EQ(countOf(proFetch(reader, "api/v1/scripts", {}, 200, {})), 450U);
  ASSERT_EQ(reader.calls().size(), 3U);
  EXPECT_THAT(reader.calls()[2].query,
              ElementsAre(jamf::QueryItem{"page", "2"}, jamf::QueryItem{"page-size", "200"}));
}

TEST(ProFetch, WithoutATotalCountAFullLastPageIsFollowedByAnEmptyOne) {
  ScriptedReader reader([](const auto& call, auto&) {
    const int n = std::stoi(*call.query[0].value);
    return page(n * 200, n < 2 ? 200 : 0);
  });
  EXPECT_EQ(countOf(proFetch(reader, "x", {}, 200, {})), 400U);
  EXPECT_EQ(reader.calls().size(), 3U);
}

TEST(ProFetch, WithoutATotalCountAShortPageIsTheLast) {
  ScriptedReader reader([](auto&, auto&) { return page(0, 3); });
  EXPECT_EQ(countOf(proFetch(reader, "x", {}, 200, {})), 3U);
  EXPECT_EQ(reader.calls().size(), 1U);
}

TEST(ProFetch, AnEmptyPageEndsAListWhoseTotalIsTooHigh) {
  ScriptedReader reader(
      [](const auto& call, auto&) { return page(0, call.query[0].value == "0" ? 200 : 0, 1000); });
  EXPECT_EQ(countOf(proFetch(reader, "x", {}, 200, {})), 200U);
  EXPECT_EQ(reader.calls().size(), 2U);
}

TEST(ProFetch, ABareArrayHasNoPaging) {
  ScriptedReader reader([](auto&, auto&) { return R"([{"id":1},{"id":2}])"; });
  EXPECT_EQ(countOf(proFetch(reader, "x", {}, 2, {})), 2U);
  EXPECT_EQ(reader.calls().size(), 1U);
}

TEST(ProFetch, AnAnswerThatIsNoListComesAsItsBytes) {
  ScriptedReader reader([](auto&, auto&) { return R"({ "isEnabled" : true })"; });
  EXPECT_EQ(std::get<platform::Bytes>(proFetch(reader, "x", {}, 200, {})), R"({ "isEnabled" : true })");
}

TEST(ProFetch, ALaterPageWithoutResultsCountsAsEmpty) {
  ScriptedReader reader([](const auto& call, auto&) {
    return call.query[0].value == "0" ? page(0, 200, 400) : std::string(R"({"oops":1})");
  });
  EXPECT_EQ(countOf(proFetch(reader, "x", {}, 200, {})), 200U);
}

TEST(ProFetch, ExtraItemsFollowThePaging) {
  ScriptedReader reader([](auto&, auto&) { return page(0, 0); });
  proFetch(reader, "x", {{"section", "GENERAL"}}, 500, {});
  EXPECT_THAT(reader.calls()[0].query,
              ElementsAre(jamf::QueryItem{"page", "0"}, jamf::QueryItem{"page-size", "500"},
                          jamf::QueryItem{"section", "GENERAL"}));
}

TEST(ProEntries, AnElementWithoutAnIdIsNamedByItsPlace) {
  const SectionDefinition::Pro kind{"x", "", {"id"}};
  const auto tree = JSONTree::parse(R"([{"id":"a"},{"id":2},{"id":"c"},{"name":"x"},{"id":""}])");
  EXPECT_THAT(idsOf(proEntries(*tree.array(), kind)), ElementsAre("a", "2", "c", "item-3", "item-4"));
}

TEST(ProEntries, TheNameIsTheFirstOfFourFields) {
  const SectionDefinition::Pro kind{"x", "", {"fileName"}};
  const auto tree = JSONTree::parse(
      R"([{"fileName":"f","packageName":"p","displayName":"d","name":"n"},{"packageName":"p","displayName":"d"},
          {"packageName":"p","fileName":"f"},{"fileName":"f"},{"other":1}])");
  std::vector<std::optional<std::string>> names;
  for (const auto& entry : proEntries(*tree.array(), kind)) names.push_back(entry.name);
  EXPECT_THAT(names, ElementsAre("n", "d", "p", "f", std::nullopt));
}

TEST(ProEntries, ADetailGivesEachIdAPath) {
  const SectionDefinition::Pro kind{"api/blueprints", "api/blueprints", {"id"}};
  const auto entries = proEntries(*JSONTree::parse(R"([{"id":"b-1"},{"id":"a/b"}])").array(), kind);
  EXPECT_EQ(entries[0].path, "api/blueprints/b-1");
  EXPECT_EQ(entries[1].path, std::nullopt);
  EXPECT_TRUE(entries[0].payload.has_value());
}

}  // namespace
}  // namespace orvik
