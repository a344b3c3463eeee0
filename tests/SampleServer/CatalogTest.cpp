#include <set>

#include "SampleServer/SectionTable.h"
#include "tests/SampleServer/Client.h"

namespace sample {
namespace {

using platform::json::View;

class SampleCatalog : public testing::Test {
 protected:
  SampleServer server_;
  AuthorizedClient client_{server_};

  /// The body of a 200 as JSON.
  std::shared_ptr<const platform::json::Document> read(std::string_view path) {
    const Received answer = client_.get(path);
    EXPECT_EQ(answer.status, 200) << path;
    const bool classic = path.starts_with("JSSResource");
    EXPECT_TRUE(
        answer.has(classic ? "Content-Type: text/plain;charset=UTF-8" : "Content-Type: application/json"));
    auto document = answer.json();
    EXPECT_TRUE(document) << path << "\n" << answer.body;
    return document;
  }

  std::string detailPath(const SectionRow& row, const std::string& id) {
    if (row.kind == SectionKind::accounts) return "JSSResource/accounts/userid/" + id;
    if (row.kind == SectionKind::accountGroups) return "JSSResource/accounts/groupid/" + id;
    if (row.kind == SectionKind::classicList) return "JSSResource/" + std::string(row.path) + "/id/" + id;
    if (row.kind == SectionKind::classicSingle) return "JSSResource/" + std::string(row.path);
    if (row.kind == SectionKind::proSingle) return std::string(row.path);
    return std::string(row.path) + "/" + id;
  }
};

std::string textOf(std::optional<View> view) {
  if (!view) return {};
  if (const auto text = view->string()) return std::string(*text);
  if (const auto number = view->int64()) return std::to_string(*number);
  return {};
}

TEST_F(SampleCatalog, HoldsTheSectionsOnceEach) {
  std::set<std::string_view> ids;
  for (const SectionRow& row : sectionTable()) ids.insert(row.id);
  EXPECT_EQ(ids.size(), sectionTable().size());
  EXPECT_EQ(ids.size(), 79U);  // the groups of the accounts have a line of their own
}

TEST_F(SampleCatalog, EveryClassicListNamesObjectsThatCanBeRead) {
  int lists = 0;
  for (const SectionRow& row : sectionTable()) {
    if (row.kind != SectionKind::classicList) continue;
    ++lists;
    const auto list = read("JSSResource/" + std::string(row.path));
    ASSERT_TRUE(list);
    const auto elements = list->root()[row.key];
    ASSERT_TRUE(elements && elements->isArray()) << row.id;
    ASSERT_EQ(elements->elements().count(), row.counts[0]) << row.id;
    for (const View element : elements->elements()) {
      const std::string id = textOf(element["id"]);
      const auto record = read(detailPath(row, id));
      ASSERT_TRUE(record);
      const auto root = record->root()[rootKey(row)];
      ASSERT_TRUE(root && root->isObject()) << row.id;
      auto general = (*root)["general"];
      if (!general) general = (*root)["connection"];
      EXPECT_EQ(textOf(general ? (*general)["id"] : (*root)["id"]), id) << row.id;
    }
  }
  EXPECT_EQ(lists, 39);
}

TEST_F(SampleCatalog, EveryPagedListHasACountAndRecords) {
  int lists = 0;
  for (const SectionRow& row : sectionTable()) {
    if (row.kind != SectionKind::proList) continue;
    ++lists;
    const auto list = read(std::string(row.path) + "?page=0&page-size=200");
    ASSERT_TRUE(list);
    EXPECT_EQ(list->root()["totalCount"]->int64(), row.counts[0]) << row.id;
    EXPECT_EQ(list->root()["results"]->elements().count(), row.counts[0]) << row.id;
    for (const std::string& id : server_.ids(row.id)) EXPECT_TRUE(read(detailPath(row, id))) << row.id;
  }
  EXPECT_EQ(lists, 14);
}

TEST_F(SampleCatalog, EverySingleObjectAnswers) {
  int singles = 0;
  for (const SectionRow& row : sectionTable()) {
    if (row.kind != SectionKind::classicSingle && row.kind != SectionKind::proSingle) continue;
    ++singles;
    const auto record = read(detailPath(row, {}));
    ASSERT_TRUE(record);
    EXPECT_TRUE(record->root().isObject());
    EXPECT_FALSE(record->root()["results"]) << row.id;
  }
  EXPECT_EQ(singles, 19);
}

TEST_F(SampleCatalog, BareArraysHaveNoPages) {
  for (const char* path : {"api/v1/jcds/files", "api/v2/patch-software-title-configurations"}) {
    const auto list = read(std::string(path) + "?page=3&page-size=2");
    ASSERT_TRUE(list && list->root().isArray()) << path;
    EXPECT_GT(list->root().elements().count(), 2U);
  }
}

TEST_F(SampleCatalog, TheFilesOfTheCloudAreThoseOfPackages) {
  std::set<std::string> packages;
  const auto list = read("api/v1/packages?page-size=2000");
  for (const View package : list->root()["results"]->elements()) packages.insert(textOf(package["fileName"]));
  const auto files = read("api/v1/jcds/files");
  for (const View file : files->root().elements()) {
    EXPECT_TRUE(packages.contains(textOf(file["fileName"])));
    EXPECT_FALSE(file["id"]);
  }
}

TEST_F(SampleCatalog, AccountsAreUsersAndGroups) {
  const auto list = read("JSSResource/accounts");
  const auto accounts = list->root()["accounts"];
  for (const View user : (*accounts)["users"]->elements()) {
    EXPECT_TRUE(read("JSSResource/accounts/userid/" + textOf(user["id"]))->root()["account"]);
  }
  for (const View group : (*accounts)["groups"]->elements()) {
    EXPECT_TRUE(read("JSSResource/accounts/groupid/" + textOf(group["id"]))->root()["group"]);
  }
  EXPECT_EQ(server_.ids("accounts").front(), "user:1");
  EXPECT_EQ(server_.ids("accounts").back(), "group:2");
}

TEST_F(SampleCatalog, OddShapesOfRealServersAreThere) {
  const auto extensions = read("JSSResource/allowedfileextensions");
  for (const View extension : extensions->root()["allowed_file_extensions"]->elements()) {
    EXPECT_FALSE(extension["name"]);
  }
  const auto plans = read("api/v1/managed-software-updates/plans");
  for (const View plan : plans->root()["results"]->elements()) EXPECT_FALSE(plan["id"]);
  const auto clients = read("api/v1/api-integrations");
  for (const View client : clients->root()["results"]->elements()) EXPECT_TRUE(client["id"]->int64());
  const auto policy = read("JSSResource/policies/id/1");
  const auto printers = (*policy->root()["policy"])["printers"];
  EXPECT_EQ((*printers->elements().begin()).string(), "");
}

TEST_F(SampleCatalog, DevicesAreListedAndReadInBothForms) {
  const auto computers = read("api/v1/computers-inventory?section=GENERAL&page=0&page-size=500");
  ASSERT_EQ(computers->root()["results"]->elements().count(), server_.ids("computers").size());
  for (const View computer : computers->root()["results"]->elements()) {
    const std::string id = textOf(computer["id"]);
    const auto record = read("api/v1/computers-inventory-detail/" + id);
    EXPECT_EQ(textOf((*record->root()["general"])["reportDate"]),
              textOf((*computer["general"])["reportDate"]));
    EXPECT_TRUE(read("JSSResource/computers/id/" + id)->root()["computer"]);
  }
  const auto devices = read("api/v2/mobile-devices/detail?page=0&page-size=500");
  for (const View device : devices->root()["results"]->elements()) {
    const std::string id = textOf(device["mobileDeviceId"]);
    const auto record = read("api/v2/mobile-devices/" + id + "/detail");
    EXPECT_EQ(textOf(record->root()["lastInventoryUpdateTimestamp"]),
              textOf((*device["general"])["lastInventoryUpdateDate"]));
    EXPECT_TRUE(read("JSSResource/mobiledevices/id/" + id)->root()["mobile_device"]);
  }
  EXPECT_EQ(read("api/v2/mobile-devices")->root()["totalCount"]->int64(), 18);
}

TEST_F(SampleCatalog, EveryObjectThatIsChangedReadsDifferently) {
  for (const SectionRow& row : sectionTable()) {
    if (row.kind == SectionKind::files || row.kind == SectionKind::devices) continue;
    const bool group = row.kind == SectionKind::accountGroups;
    for (const std::string& id : server_.ids(row.id)) {
      if (row.kind == SectionKind::accounts && id.starts_with("group:")) continue;
      const bool listed = row.kind == SectionKind::proArray;
      const std::string path = listed ? std::string(row.path) : detailPath(row, id.substr(id.find(':') + 1));
      const std::string before = client_.get(path).body;
      ASSERT_TRUE(server_.change(group ? "accounts" : row.id, group ? "group:" + id : id))
          << row.id << " " << id;
      EXPECT_NE(client_.get(path).body, before) << path;
    }
  }
}

TEST_F(SampleCatalog, WhatIsUnknownIsNotFound) {
  const Received pro = client_.get("api/v1/scripts/999999");
  EXPECT_EQ(pro.status, 404);
  EXPECT_EQ(pro.json()->root()["httpStatus"]->int64(), 404);
  const Received classic = client_.get("JSSResource/policies/id/10");  // one of the gaps
  EXPECT_EQ(classic.status, 404);
  EXPECT_TRUE(classic.has("text/html"));
  for (const char* path :
       {"api/v9/nothing", "JSSResource/nothing", "", "JSSResource/policies/id/", "api/v1/scripts/0",
        "api/v1/scripts/01", "api/blueprints/00000000-0000-4000-8000-000000000000"}) {
    EXPECT_EQ(client_.get(path).status, 404) << path;
  }
}

TEST_F(SampleCatalog, ReadsAloneAreServed) {
  EXPECT_EQ(
      client_.ask("DELETE /api/v1/scripts HTTP/1.1\r\nAuthorization: Bearer " + client_.token() + "\r\n\r\n")
          .status,
      405);
}

TEST_F(SampleCatalog, AClassicReadMustAskForJSON) {
  EXPECT_EQ(
      client_.ask("GET /JSSResource/sites HTTP/1.1\r\nAuthorization: Bearer " + client_.token() + "\r\n\r\n")
          .status,
      406);
}

TEST_F(SampleCatalog, AnswersPinTheClientToANode) {
  EXPECT_TRUE(client_.get("api/v1/auth").has("Set-Cookie: jpro-ingress="));
  EXPECT_TRUE(client_.get("JSSResource/sites").has("Set-Cookie: JSESSIONID="));
}

}  // namespace
}  // namespace sample
