#include "SampleServer/Fleet.h"

#include <gtest/gtest.h>

#include <set>

#include "Platform/Error.h"
#include "Platform/JSON/View.h"
#include "SampleServer/Mutations.h"

namespace sample {
namespace {

using platform::json::Document;
using platform::json::View;

std::size_t section(std::string_view id) { return *sectionNumber(id); }

std::string everything(const Fleet& fleet) {
  std::string all;
  for (std::size_t i = 0; i < sectionTable().size(); ++i) {
    for (const std::string& id : fleet.ids(i)) all += *fleet.record(i, id);
  }
  return all;
}

TEST(FleetSize, IsReadFromItsName) {
  EXPECT_EQ(parseFleetSize("small"), FleetSize::small);
  EXPECT_EQ(parseFleetSize("school"), FleetSize::school);
  EXPECT_EQ(parseFleetSize("enterprise"), FleetSize::enterprise);
  for (const char* text : {"", "Small", "smal", "schools"}) EXPECT_FALSE(parseFleetSize(text)) << text;
}

TEST(Fleet, TheSameSeedGivesTheSameBytes) {
  EXPECT_EQ(everything(Fleet(FleetSize::small, 7)), everything(Fleet(FleetSize::small, 7)));
  EXPECT_NE(everything(Fleet(FleetSize::small, 7)), everything(Fleet(FleetSize::small, 8)));
}

TEST(Fleet, ARecordDoesNotDependOnWhatWasAskedBefore) {
  const Fleet one(FleetSize::enterprise, 3);
  const Fleet two(FleetSize::enterprise, 3);
  const auto first = one.record(section("policies"), "4000");
  one.page(section("scripts"), 2, 50, true);
  EXPECT_EQ(one.record(section("policies"), "4000"), first);
  EXPECT_EQ(two.record(section("policies"), "4000"), first);
}

TEST(Fleet, SizesAreWhatTheyAreCalled) {
  EXPECT_NEAR(static_cast<double>(Fleet(FleetSize::small, 1).objectCount()), 300, 15);
  EXPECT_NEAR(static_cast<double>(Fleet(FleetSize::school, 1).objectCount()), 5000, 250);
  EXPECT_NEAR(static_cast<double>(Fleet(FleetSize::enterprise, 1).objectCount()), 50000, 2500);
}

TEST(Fleet, ListsOfPageSizesOccur) {
  const Fleet school(FleetSize::school, 1);
  const Fleet enterprise(FleetSize::enterprise, 1);
  const Fleet small(FleetSize::small, 1);
  EXPECT_EQ(school.count(section("scripts")), 200U);
  EXPECT_GT(school.count(section("packages")), 200U);
  EXPECT_GT(school.count(section("computers")), 500U);
  EXPECT_EQ(enterprise.count(section("appInstallers")), 201U);
  EXPECT_EQ(small.count(section("advancedUserSearches")), 0U);
  EXPECT_EQ(small.count(section("jamfConnectProfiles")), 0U);
}

TEST(Fleet, RecordsHaveTheSizesOfRealOnes) {
  const Fleet fleet(FleetSize::school, 1);
  const auto between = [&](std::string_view id, std::size_t low, std::size_t high) {
    for (const std::string& object : fleet.ids(section(id))) {
      const std::size_t size = fleet.record(section(id), object)->size();
      EXPECT_GE(size, low) << id << " " << object;
      EXPECT_LE(size, high) << id << " " << object;
    }
  };
  between("policies", 2500, 6000);
  between("computerConfigurationProfiles", 4000, 10000);
  between("scripts", 1200, 8000);
  between("users", 500, 3000);
}

TEST(Fleet, EveryRecordOfEveryFormIsJSON) {
  const Fleet fleet(FleetSize::school, 99);
  for (std::size_t i = 0; i < sectionTable().size(); ++i) {
    const auto ids = fleet.ids(i);
    for (std::size_t k = 0; k < ids.size(); k += 7) {
      ASSERT_NO_THROW(Document::parse(*fleet.record(i, ids[k]))) << sectionTable()[i].id << " " << ids[k];
    }
    if (sectionTable()[i].kind == SectionKind::proList) {
      ASSERT_NO_THROW(Document::parse(fleet.page(i, 0, 2000, true)));
    }
  }
}

TEST(Fleet, NamesAndIdsAreUniqueInASection) {
  const Fleet fleet(FleetSize::enterprise, 5);
  for (std::size_t i = 0; i < sectionTable().size(); ++i) {
    const SectionRow& row = sectionTable()[i];
    if (row.naming == &naming::settings) continue;
    std::set<std::string> names;
    for (std::size_t k = 0; k < fleet.countOf(i); ++k) names.insert(fleet.nameOf(i, k));
    EXPECT_EQ(names.size(), fleet.countOf(i)) << row.id;
    const auto ids = fleet.ids(i);
    EXPECT_EQ(std::set<std::string>(ids.begin(), ids.end()).size(), ids.size()) << row.id;
  }
}

TEST(Fleet, NamesAreOfManyLanguages) {
  const Fleet fleet(FleetSize::school, 1);
  std::string all = fleet.classicList(section("buildings"), ListShape::regular);
  for (const std::string& id : fleet.ids(section("users"))) all += *fleet.record(section("users"), id);
  for (const char* text : {"ü", "佐藤", "🏫", "Å"}) EXPECT_NE(all.find(text), std::string::npos) << text;
}

TEST(Fleet, PagesPartTheListWithoutOverlap) {
  const Fleet fleet(FleetSize::school, 1);
  std::set<std::string> seen;
  std::size_t elements = 0;
  for (std::size_t page = 0; page < 3; ++page) {
    const auto document = Document::parse(fleet.page(section("packages"), page, 100, true));
    EXPECT_EQ(document->root()["totalCount"]->int64(), 240);
    for (const View element : document->root()["results"]->elements()) {
      seen.insert(std::string(*element["id"]->string()));
      ++elements;
    }
  }
  EXPECT_EQ(elements, 240U);
  EXPECT_EQ(seen.size(), 240U);
}

TEST(Fleet, APagePastTheEndIsEmptyAndKnowsTheCount) {
  const Fleet fleet(FleetSize::small, 1);
  EXPECT_EQ(fleet.page(section("scripts"), 1, 200, true), R"({"totalCount":14,"results":[]})");
  EXPECT_EQ(fleet.page(section("scripts"), static_cast<std::size_t>(-1), 2000, true),
            R"({"totalCount":14,"results":[]})");
  EXPECT_EQ(fleet.page(section("scripts"), 9, 200, false), R"({"results":[]})");
}

TEST(Fleet, RemovedObjectsLeaveTheListAndThePages) {
  Fleet fleet(FleetSize::small, 1);
  const std::size_t scripts = section("scripts");
  const auto before = fleet.ids(scripts);
  ASSERT_TRUE(fleet.remove(scripts, before[0]));
  ASSERT_TRUE(fleet.remove(scripts, before[3]));
  EXPECT_FALSE(fleet.remove(scripts, before[3]));
  EXPECT_FALSE(fleet.record(scripts, before[0]));
  std::vector<std::string> paged;
  for (std::size_t page = 0; page < 4; ++page) {
    const auto document = Document::parse(fleet.page(scripts, page, 3, true));
    EXPECT_EQ(document->root()["totalCount"]->int64(), 12);
    for (const View element : document->root()["results"]->elements()) {
      paged.emplace_back(*element["id"]->string());
    }
  }
  auto expected = before;
  expected.erase(expected.begin() + 3);
  expected.erase(expected.begin());
  EXPECT_EQ(paged, expected);
  EXPECT_EQ(fleet.ids(scripts), expected);
}

TEST(Fleet, AddedAndRenamedObjectsShowInListAndRecord) {
  Fleet fleet(FleetSize::small, 1);
  const std::size_t policies = section("policies");
  const std::string id = *fleet.add(policies);
  EXPECT_EQ(fleet.ids(policies).back(), id);
  ASSERT_TRUE(fleet.rename(policies, id, "Ny \"policy\""));
  EXPECT_EQ(fleet.currentName(policies, id), "Ny \"policy\"");
  EXPECT_NE(fleet.classicList(policies, ListShape::regular).find(R"(Ny \"policy\")"), std::string::npos);
  EXPECT_NE(fleet.record(policies, id)->find(R"(Ny \"policy\")"), std::string::npos);
}

TEST(Fleet, SettingsAndFilesTakeNoNewObjects) {
  Fleet fleet(FleetSize::small, 1);
  EXPECT_FALSE(fleet.add(section("smtpServer")));
  EXPECT_FALSE(fleet.add(section("packageFiles")));
  EXPECT_FALSE(fleet.rename(section("jcdsFiles"), fleet.ids(section("jcdsFiles"))[0], "x"));
}

TEST(Fleet, IrregularListsLookLikeThis) {
  Fleet fleet(FleetSize::small, 1);
  const std::size_t sites = section("sites");
  while (fleet.count(sites) > 1) fleet.remove(sites, fleet.ids(sites).back());
  fleet.rename(sites, "1", "A");
  EXPECT_EQ(fleet.classicList(sites, ListShape::regular), R"({"sites":[{"id":1,"name":"A"}]})");
  EXPECT_EQ(fleet.classicList(sites, ListShape::emptyArray), R"({"sites":[]})");
  EXPECT_EQ(fleet.classicList(sites, ListShape::sizeOnly), R"({"sites":{"size":0}})");
  EXPECT_EQ(fleet.classicList(sites, ListShape::wrapped), R"({"sites":{"site":[{"id":1,"name":"A"}]}})");
  EXPECT_EQ(fleet.classicList(sites, ListShape::wrappedWithSize),
            R"({"sites":{"size":1,"site":[{"id":1,"name":"A"}]}})");
  EXPECT_EQ(fleet.classicList(sites, ListShape::singleObject), R"({"sites":{"site":{"id":1,"name":"A"}}})");
  EXPECT_EQ(fleet.classicList(sites, ListShape::misnamedRoot), R"({"sites list":[{"id":1,"name":"A"}]})");
  fleet.remove(sites, "1");
  EXPECT_EQ(fleet.classicList(sites, ListShape::singleObject), R"({"sites":{"site":{}}})");
  EXPECT_TRUE(fleet.classicList(section("patchPolicies"), ListShape::misnamedRoot)
                  .starts_with(R"({"patch policies":[)"));
}

TEST(Fleet, MutationsAreToldAndRepeatable) {
  Fleet one(FleetSize::small, 1);
  Fleet two(FleetSize::small, 1);
  const std::string before = everything(one);
  const auto deeds = mutate(one, 30, 5);
  EXPECT_EQ(deeds.size(), 30U);
  EXPECT_EQ(mutate(two, 30, 5), deeds);
  EXPECT_NE(everything(one), before);
  EXPECT_EQ(everything(one), everything(two));
  std::set<std::string> verbs;
  for (const std::string& deed : deeds) verbs.insert(deed.substr(0, deed.find(' ')));
  EXPECT_EQ(verbs, (std::set<std::string>{"Added", "Changed", "Removed", "Renamed"}));
}

TEST(Fleet, MutatingEverythingAwayStillWorks) {
  Fleet fleet(FleetSize::small, 1);
  const std::size_t printers = section("printers");
  for (const std::string& id : fleet.ids(printers)) fleet.remove(printers, id);
  EXPECT_EQ(fleet.classicList(printers, ListShape::regular), R"({"printers":[]})");
  EXPECT_EQ(mutate(fleet, 200, 1).size(), 200U);
}

TEST(RecordTemplate, RefusesAnUnknownPlace) {
  EXPECT_THROW(RecordTemplate(R"({"id":${nonsense}})"), platform::Error);
  EXPECT_THROW(RecordTemplate(R"({"id":${id)"), platform::Error);
}

}  // namespace
}  // namespace sample
