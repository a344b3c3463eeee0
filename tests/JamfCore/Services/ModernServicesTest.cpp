#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "JamfCore/Services/CategoryService.h"
#include "JamfCore/Services/ComputerExtensionAttributeService.h"
#include "JamfCore/Services/DeviceService.h"
#include "JamfCore/Services/PackageService.h"
#include "JamfCore/Services/PatchComplianceService.h"
#include "JamfCore/Services/ScriptService.h"
#include "JamfCore/Services/SmartGroupService.h"
#include "JamfCore/Services/StaticGroupService.h"
#include "Platform/Files/Files.h"
#include "tests/JamfCore/Services/ServiceFixture.h"

namespace jamf {
namespace {

using support::answer;
using support::ScriptedServer;
using test::apiError;
using test::routes;
using test::ServiceFixture;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

const std::string noResults = answer(200, R"({"totalCount":0,"results":[]})");

TEST(ExactFilter, QuotesAndBackslashesAreEscaped) {
  EXPECT_EQ(exactFilter("name", "Lab Macs"), R"(name=="Lab Macs")");
  EXPECT_EQ(exactFilter("name", R"(12" wide)"), R"(name=="12\" wide")");
  EXPECT_EQ(exactFilter("name", R"(a\)"), R"(name=="a\\")");
  EXPECT_EQ(exactFilter("name", ""), R"(name=="")");
}

TEST(ModernServices, APageIsAskedByNumberSizeFilterAndSort) {
  ServiceFixture fixture(ScriptedServer::always(noResults));
  const ScriptService scripts{fixture.shared()};
  scripts.list({});
  scripts.list({.page = 2, .pageSize = 200, .filter = R"(name=="a b")", .sort = "name:asc"});
  EXPECT_THAT(fixture.asked(), ElementsAre("GET /api/v1/scripts?page=0&page-size=100",
                                           "GET /api/v1/scripts?page=2&page-size=200&filter="
                                           "name%3D%3D%22a%20b%22&sort=name:asc"));
}

TEST(ModernServices, AQuoteInANameIsEscapedInEveryFilter) {
  ServiceFixture fixture(ScriptedServer::always(noResults));
  const auto client = fixture.shared();
  const std::string name = "12\" \\";
  EXPECT_THAT(CategoryService{client}.search(name), IsEmpty());
  EXPECT_THAT(ScriptService{client}.search(name), IsEmpty());
  EXPECT_THAT(PackageService{client}.search(name), IsEmpty());
  EXPECT_THAT(ComputerExtensionAttributeService{client}.search(name), IsEmpty());
  EXPECT_THAT(DeviceService{client}.search(name), IsEmpty());
  const std::string value = "%3D%3D%2212%5C%22%20%5C%5C%22";
  EXPECT_THAT(
      fixture.asked(),
      ElementsAre("GET /api/v1/categories?page=0&page-size=100&filter=name" + value,
                  "GET /api/v1/scripts?page=0&page-size=100&filter=name" + value,
                  "GET /api/v1/packages?page=0&page-size=100&filter=name" + value,
                  "GET /api/v1/computer-extension-attributes?page=0&page-size=100&filter=name" + value,
                  "GET /api/v1/computers-inventory?page=0&page-size=100&section=GENERAL&section=HARDWARE"
                  "&filter=hardware.serialNumber" +
                      value));
}

TEST(ModernServices, AServerWithoutVersion3IsAskedByVersion2) {
  const std::string detail = answer(200, R"({"name":"G","criteria":[],"siteId":"-1"})");
  const std::string base = "/api/v2/computer-groups/";
  ServiceFixture fixture(
      routes({{"GET", base + "smart-groups?page=0&page-size=100", noResults},
              {"GET", base + "smart-groups/9", detail},
              {"POST", base + "smart-groups", answer(201, R"({"id":"31","href":"x"})")},
              {"PUT", base + "smart-groups/9", answer(202, R"({"name":"G","criteria":[]})")},
              {"DELETE", base + "smart-groups/9", answer(204)},
              {"GET", base + "smart-group-membership/9", answer(200, R"({"members":[118,204]})")},
              {"GET", base + "static-groups/12", answer(200, R"({"id":"12","name":"K"})")},
              {"GET", "/api/v2/patch-software-title-configurations", answer(200, "[]")},
              {"GET", "/api/v2/patch-software-title-configurations/4/patch-report?page=0&page-size=100",
               answer(200, R"({"totalCount":1,"results":[{"lastContactTime":"2026-07-20T11:56:02Z"}]})")}}));
  const SmartGroupService smart{fixture.shared()};
  EXPECT_THAT(smart.list({}).results, IsEmpty());
  EXPECT_EQ(smart.get("9").id, "9");
  EXPECT_EQ(smart.create({"G", {}, {}, {}}).id, "31");
  EXPECT_EQ(smart.update("9", {"G", {}, {}, {}}).id, "9");
  smart.delete_("9");
  EXPECT_THAT(smart.membership("9"), ElementsAre(118, 204));
  EXPECT_EQ(StaticGroupService{fixture.shared()}.get("12").name, "K");
  const PatchComplianceService patch{fixture.shared()};
  EXPECT_THAT(patch.list(), IsEmpty());
  EXPECT_EQ(patch.report("4", {}).results.at(0).lastCheckIn, "2026-07-20T11:56:02Z");
  EXPECT_EQ(fixture.asked().size(), 18U);
  EXPECT_EQ(fixture.asked()[0], "GET /api/v3/computer-groups/smart-groups?page=0&page-size=100");
}

TEST(ModernServices, OnlyANotFoundSendsTheOlderVersion) {
  ServiceFixture fixture(ScriptedServer::always(answer(403, "{}")));
  EXPECT_TRUE(apiError([&] { SmartGroupService{fixture.shared()}.list({}); }).as<APIError::RequestFailed>());
  EXPECT_EQ(fixture.asked().size(), 1U);
}

TEST(ModernServices, WhatIsWrittenHasNoIDOfItsOwnUntilItHasOne) {
  const std::string script = R"({"id":"6","name":"Dock","priority":"AFTER"})";
  ServiceFixture fixture(routes({{"POST", "/api/v1/scripts", answer(201, R"({"id":"6","href":"x"})")},
                                 {"GET", "/api/v1/scripts/6", answer(200, script)},
                                 {"PUT", "/api/v1/scripts/6", answer(200, script)}}));
  const ScriptService scripts{fixture.shared()};
  Script wanted;
  wanted.name = "Dock";
  wanted.priority = ScriptPriority::after;
  EXPECT_EQ(scripts.create(wanted).id, "6");
  wanted.id = "6";
  scripts.update("6", wanted);
  const auto requests = fixture.requests();
  EXPECT_EQ(requests.at(0).body, R"({"name":"Dock","priority":"AFTER"})");
  EXPECT_EQ(requests.at(0).header("Content-Type"), "application/json");
  EXPECT_EQ(requests.at(2).body, script);
}

TEST(ModernServices, ACreatedObjectIsFetchedOnlyWhereTheAnswerIsNotTheObject) {
  const std::string category = R"({"id":"3","name":"Apps","priority":9})";
  for (const bool whole : {false, true}) {
    ServiceFixture fixture(
        routes({{"POST", "/api/v1/categories", answer(201, whole ? category : R"({"id":"3","href":"x"})")},
                {"GET", "/api/v1/categories/3", answer(200, category)}}));
    EXPECT_EQ(CategoryService{fixture.shared()}.create({"", "Apps", 9}), (Category{"3", "Apps", 9}));
    EXPECT_EQ(fixture.asked().size(), whole ? 1U : 2U);
  }
}

TEST(CategoryService, EnsuringAnExistingCategoryCreatesNothing) {
  ServiceFixture fixture(
      ScriptedServer::always(answer(200, R"({"totalCount":2,"results":[{"id":"1","name":"apps","priority":1},
                      {"id":"3","name":"Apps","priority":9}]})")));
  EXPECT_EQ(CategoryService{fixture.shared()}.ensureCategory("Apps").id, "3");
  EXPECT_EQ(fixture.asked().size(), 1U);
}

TEST(CategoryService, EnsuringCreatesWhereOnlyTheCaseAgrees) {
  ServiceFixture fixture(
      routes({{"GET", "/api/v1/categories?page=0&page-size=100&filter=name%3D%3D%22Apps%22",
               answer(200, R"({"totalCount":1,"results":[{"id":"1","name":"apps","priority":1}]})")},
              {"POST", "/api/v1/categories", answer(201, R"({"id":"7"})")},
              {"GET", "/api/v1/categories/7", answer(200, R"({"id":"7","name":"Apps","priority":9})")}}));
  EXPECT_EQ(CategoryService{fixture.shared()}.ensureCategory("Apps"), (Category{"7", "Apps", 9}));
  EXPECT_EQ(fixture.requests().at(1).body, R"({"name":"Apps","priority":9})");
}

TEST(PackageService, AFilterThatTheServerRefusesIsSentOnceMoreByTheOtherField) {
  ServiceFixture fixture([](ServiceFixture::Exchange& exchange) {
    const bool byName = exchange.request.target().find("filter=name") != std::string::npos;
    exchange.send(byName ? answer(400, R"({"httpStatus":400,"errors":[]})") : noResults);
  });
  EXPECT_THAT(PackageService{fixture.shared()}.search("Pages"), IsEmpty());
  EXPECT_THAT(fixture.asked(),
              ElementsAre("GET /api/v1/packages?page=0&page-size=100&filter=name%3D%3D%22Pages%22",
                          "GET /api/v1/packages?page=0&page-size=100&filter=packageName%3D%3D%22Pages%22"));
}

TEST(PackageService, AnyOtherRefusalOfAFilterIsTheAnswer) {
  ServiceFixture fixture(ScriptedServer::always(answer(500, "{}")));
  apiError([&] { PackageService{fixture.shared()}.search("Pages"); });
  EXPECT_EQ(fixture.asked().size(), 1U);
}

TEST(PackageService, AFileGoesAsTheOneFieldOfAForm) {
  const platform::files::TempFolder folder;
  platform::files::atomicWrite("content", folder / "Pages 14.pkg");
  ServiceFixture fixture(
      routes({{"POST", "/api/v1/packages/15/upload", answer(201, R"({"id":"15","href":"x"})")}}));
  double last = 0;
  PackageService{fixture.shared()}.upload("15", folder / "Pages 14.pkg", [&](double share) { last = share; });
  const auto request = fixture.requests().at(0);
  const auto type = request.header("Content-Type").value_or("");
  ASSERT_THAT(type, StartsWith("multipart/form-data; boundary=Boundary-"));
  const auto boundary = type.substr(type.find('=') + 1);
  EXPECT_EQ(request.body,
            "--" + boundary +
                "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"Pages 14.pkg\"\r\n"
                "Content-Type: application/octet-stream\r\n\r\ncontent\r\n--" +
                boundary + "--\r\n");
  EXPECT_EQ(request.header("Authorization"), "Bearer token-000001");
  EXPECT_EQ(last, 1);
}

TEST(DeviceService, SectionsAreQueryItemsOfTheirOwn) {
  ServiceFixture fixture(routes({{"GET", "/api/v1/computers-inventory/118?section=GENERAL&section=STORAGE",
                                  answer(200, R"({"id":"118"})")}}));
  const DeviceService devices{fixture.shared()};
  EXPECT_EQ(devices.get("118", {DeviceSection::general, DeviceSection::storage}).id, "118");
  apiError([&] { devices.get("118"); });
  EXPECT_THAT(fixture.asked().back(),
              testing::EndsWith("&section=APPLICATIONS&section=EXTENSION_ATTRIBUTES"));
}

TEST(DeviceService, AnUpdateNamesWhatChangesAndFetchesTheDevice) {
  ServiceFixture fixture([](ServiceFixture::Exchange& exchange) {
    exchange.send(exchange.request.method() == "PATCH"
                      ? answer(204)
                      : answer(200, R"({"id":"1","general":{"name":"New"}})"));
  });
  const DeviceService devices{fixture.shared()};
  EXPECT_EQ(devices.updateGeneral("1", "New", {}).general->name, "New");
  devices.updateGeneral("1", {}, "A-1");
  devices.updateGeneral("1", {}, {});
  const auto requests = fixture.requests();
  EXPECT_EQ(requests.at(0).method() + requests[0].target(), "PATCH/api/v4/computers-inventory-detail/1");
  EXPECT_EQ(requests[0].body, R"({"general":{"name":"New"}})");
  EXPECT_THAT(requests.at(1).target(), StartsWith("/api/v1/computers-inventory/1?section=GENERAL"));
  EXPECT_EQ(requests.at(2).body, R"({"general":{"assetTag":"A-1"}})");
  EXPECT_EQ(requests.at(4).body, R"({"general":{}})");
}

TEST(DeviceService, PolicyLogsAreReadInEveryShapeThatServersSend) {
  const std::string entry =
      R"({"policy_id":42,"policy_name":"Pages","username":"","date_completed":"2026/07/19 at 10:03 AM",)"
      R"("date_completed_epoch":1784455396540,"date_completed_utc":"2026-07-19T10:03:16.540+0000",)"
      R"("status":"Completed"})";
  const auto logsIn = [](const std::string& logs) {
    ServiceFixture fixture(
        ScriptedServer::always(answer(200, R"({"computer_history":{"policy_logs":)" + logs + "}}")));
    const auto found = DeviceService{fixture.shared()}.policyLogs("118");
    EXPECT_EQ(fixture.asked().at(0), "GET /JSSResource/computerhistory/id/118/subset/PolicyLogs");
    return found;
  };
  for (const auto& shape :
       {"[" + entry + "]", R"({"policy_log":)" + entry + "}", R"({"policy_log":[)" + entry + "]}"})
    EXPECT_THAT(logsIn(shape), ElementsAre(PolicyLogEntry{42, "Pages", "", "2026/07/19 at 10:03 AM",
                                                          "2026-07-19T10:03:16.540+0000", "Completed"}))
        << shape;
  EXPECT_THAT(logsIn("[]"), IsEmpty());
  EXPECT_THAT(logsIn("{}"), IsEmpty());
}

TEST(ModernServices, AnIDThatLeavesThePathIsRefusedWithoutARequest) {
  ServiceFixture fixture(ScriptedServer::always(answer(200, "{}")));
  const auto client = fixture.shared();
  for (const std::string id : {"", ".", "..", "1/../2", "1\n2"}) {
    for (const auto& failed : {apiError([&] { ScriptService{client}.get(id); }),
                               apiError([&] { ScriptService{client}.delete_(id); }),
                               apiError([&] { SmartGroupService{client}.membership(id); }),
                               apiError([&] { DeviceService{client}.policyLogs(id); }),
                               apiError([&] { PackageService{client}.upload(id, "/dev/null"); }),
                               apiError([&] { PatchComplianceService{client}.summary(id); })})
      EXPECT_THAT(failed.description(), HasSubstr("is not the id of an object")) << id;
  }
  EXPECT_THAT(fixture.asked(), IsEmpty());
}

TEST(ModernServices, AnAnswerOfAnotherShapeIsToldWithItsPlace) {
  const auto failureOf = [](const std::string& body) {
    ServiceFixture fixture(ScriptedServer::always(answer(200, body)));
    return apiError([&] { ScriptService{fixture.shared()}.list({}); }).description();
  };
  const std::string start = "Failed to decode Jamf Pro API response: ";
  EXPECT_EQ(failureOf("{}"), start + "totalCount: missing");
  EXPECT_EQ(failureOf(R"({"totalCount":1,"results":[{"id":6,"name":"x"}]})"),
            start + "results[0].id: not a text");
  EXPECT_THAT(failureOf(""), StartsWith(start));
  EXPECT_THAT(failureOf("<html>"), StartsWith(start));
}

}  // namespace
}  // namespace jamf
