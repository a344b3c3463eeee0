#include <algorithm>
#include <atomic>
#include <thread>

#include "tests/SampleServer/Writing.h"

namespace sample {
namespace {

class SampleProObjects : public Writing {
 protected:
  static constexpr const char* package =
      R"({"packageName":"Werkzeug","fileName":"Werkzeug 1.pkg","categoryId":"-1","priority":10,"fillUserTemplate":false,"rebootRequired":true,"osInstall":false,"suppressUpdates":false,"suppressFromDock":false,"suppressEula":false,"suppressRegistration":false})";
  static constexpr const char* attribute =
      R"({"name":"Cycles","dataType":"INTEGER","enabled":true,"inventoryDisplayType":"HARDWARE","inputType":"POPUP","popupMenuChoices":["a","b"]})";
};

TEST_F(SampleProObjects, ACategoryIsCreatedReadChangedAndDeleted) {
  const std::string id = create("api/v1/categories", R"({"name":"Büro & <Lab>","priority":4})");
  EXPECT_EQ(get("api/v1/categories/" + id),
            Value::object({{"id", id}, {"name", "Büro & <Lab>"}, {"priority", 4}}));
  EXPECT_EQ(*server_.record("categories", id),
            R"({"category":{"id":)" + id + R"(,"name":"Büro & <Lab>","priority":4}})");
  const Received put = client_.write("PUT", "api/v1/categories/" + id, R"({"name":"Büro","priority":20})");
  EXPECT_EQ(put.status, 200);
  EXPECT_EQ(valueOf(put), get("api/v1/categories/" + id));
  EXPECT_EQ(client_.write("DELETE", "api/v1/categories/" + id).status, 204);
  EXPECT_EQ(client_.get("api/v1/categories/" + id).status, 404);
  EXPECT_EQ(client_.get("JSSResource/categories/id/" + id).status, 404);
}

TEST_F(SampleProObjects, WhatWasWrittenShowsInTheClassicViewAndInLists) {
  const std::string id = create("api/v1/categories", R"({"name":"Neu","priority":1})");
  EXPECT_NE(client_.get("JSSResource/categories").body.find("\"Neu\""), std::string::npos);
  EXPECT_EQ(names("api/v1/categories?filter=name%3D%3D%22neu%22"), std::vector<std::string>{"Neu"});
  EXPECT_EQ(server_.ids("categories").back(), id);
  // One that was there before shows in both views too.
  ASSERT_EQ(client_.write("PUT", "api/v1/categories/1", R"({"name":"Anders","priority":2})").status, 200);
  EXPECT_EQ(client_.get("JSSResource/categories/id/1").body,
            R"({"category":{"id":1,"name":"Anders","priority":2}})");
  EXPECT_NE(client_.get("JSSResource/categories").body.find(R"({"id":1,"name":"Anders"})"),
            std::string::npos);
}

TEST_F(SampleProObjects, AScriptIsStoredAsItWasSent) {
  const std::string category = create("api/v1/categories", R"({"name":"Skripte","priority":9})");
  const std::string id =
      create("api/v1/scripts", R"({"name":"S","priority":"BEFORE","categoryName":"Skripte",)"
                               R"("scriptContents":"#!/bin/sh\necho \"ä\"\n","parameter4":"x"})");
  const Value script = get("api/v1/scripts/" + id);
  EXPECT_EQ(*script.find("categoryId"), Value(category));
  EXPECT_EQ(*script.find("categoryName"), Value("Skripte"));
  EXPECT_EQ(*script.find("scriptContents"), Value("#!/bin/sh\necho \"ä\"\n"));
  EXPECT_EQ(*script.find("parameter4"), Value("x"));
  EXPECT_EQ(*script.find("notes"), Value(""));
  const Received put = client_.write("PUT", "api/v1/scripts/" + id, R"({"name":"T"})");
  EXPECT_EQ(put.status, 200);
  const Value changed = valueOf(put);
  EXPECT_EQ(changed, get("api/v1/scripts/" + id));
  EXPECT_EQ(*changed.find("priority"), Value("AFTER"));
  EXPECT_EQ(*changed.find("categoryName"), Value("NONE"));
  EXPECT_EQ(*changed.find("scriptContents"), Value(""));
  EXPECT_NE(client_.get("api/v1/scripts?page-size=500").body.find("\"T\""), std::string::npos);
}

TEST_F(SampleProObjects, OfACategorysIdAndNameTheChangedOneDecides) {
  const std::string a = create("api/v1/categories", R"({"name":"A","priority":9})");
  const std::string b = create("api/v1/categories", R"({"name":"B","priority":9})");
  const std::string id = create("api/v1/scripts", R"({"name":"S","categoryId":")" + a + R"("})");
  const auto put = [&](std::string_view category, std::string_view name) {
    return *valueOf(client_.write("PUT", "api/v1/scripts/" + id,
                                  R"({"name":"S","categoryId":")" + std::string(category) +
                                      R"(","categoryName":")" + std::string(name) + R"("})"))
                .find("categoryName");
  };
  EXPECT_EQ(put(a, "B"), Value("B"));
  EXPECT_EQ(put(a, "B"), Value("A"));
  EXPECT_EQ(put(a, "A"), Value("A"));
  EXPECT_EQ(put("-1", "A"), Value("NONE"));
  expectRefused(client_.write("POST", "api/v1/scripts", R"({"name":"U","categoryId":"999"})"), 400,
                "INVALID_FIELD", "categoryId");
  expectRefused(client_.write("POST", "api/v1/scripts", R"({"name":"U","categoryName":"nowhere"})"), 400,
                "INVALID_FIELD", "categoryName");
}

TEST_F(SampleProObjects, AnAttributeIsAnsweredWithStatus202) {
  const std::string id = create("api/v1/computer-extension-attributes", attribute);
  std::string changed = attribute;
  changed.replace(changed.find("Cycles"), 6, "Zyklen");
  const Received put = client_.write("PUT", "api/v1/computer-extension-attributes/" + id, changed);
  EXPECT_EQ(put.status, 202);
  EXPECT_EQ(*valueOf(put).find("name"), Value("Zyklen"));
  EXPECT_EQ(*valueOf(put).find("popupMenuChoices"), Value(Value::Array{"a", "b"}));
  EXPECT_EQ(client_.write("DELETE", "api/v1/computer-extension-attributes/" + id).status, 204);
}

TEST_F(SampleProObjects, APackageIsMetadataUntilItsFileComes) {
  const std::string id = create("api/v1/packages", package);
  const Value made = get("api/v1/packages/" + id);
  EXPECT_EQ(*made.find("fileName"), Value("Werkzeug 1.pkg"));
  EXPECT_EQ(*made.find("size"), Value(""));
  EXPECT_EQ(*made.find("hashValue"), Value(""));
  EXPECT_EQ(*made.find("cloudTransferStatus"), Value("AWAITING_UPLOAD"));
  EXPECT_EQ(client_.get("api/v1/jcds/files/Werkzeug%201.pkg").status, 404);
  EXPECT_EQ(client_.get("api/v1/jcds/files").body.find("Werkzeug 1"), std::string::npos);
}

TEST_F(SampleProObjects, SendingAPackageBackAsItWasReadChangesNothing) {
  for (const char* id : {"1", "2", "3", "6", "7"}) {
    const std::string path = std::string("api/v1/packages/") + id;
    const Value before = get(path);
    const Received put = client_.write("PUT", path, before.text());
    ASSERT_EQ(put.status, 200) << put.body;
    EXPECT_EQ(valueOf(put), before);
    EXPECT_EQ(get(path), before);
  }
}

TEST_F(SampleProObjects, APackageKeepsTheDigestThatAClientClaims) {
  const std::string id = create("api/v1/packages", package);
  Value record = get("api/v1/packages/" + id);
  record.set("hashType", "MD5").set("hashValue", "00ff");
  EXPECT_EQ(client_.write("PUT", "api/v1/packages/" + id, record.text()).status, 200);
  EXPECT_EQ(*get("api/v1/packages/" + id).find("md5"), Value("00ff"));
  EXPECT_EQ(*get("api/v1/packages/" + id).find("hashType"), Value("MD5"));
}

TEST_F(SampleProObjects, PackagesHaveNoNameToFilterBy) {
  create("api/v1/packages", package);
  expectRefused(client_.get("api/v1/packages?filter=name%3D%3D%22Werkzeug%22"), 400, "INVALID_FIELD",
                "filter");
  EXPECT_EQ(names("api/v1/packages?filter=packageName%3D%3D%22Werkzeug%22", "packageName"),
            std::vector<std::string>{"Werkzeug"});
}

TEST_F(SampleProObjects, BadBodiesAreRefusedByFieldAndChangeNothing) {
  const std::size_t before = server_.objectCount();
  const struct {
    const char* path;
    const char* body;
    const char* field;
  } cases[] = {
      {"api/v1/categories", "", "body"},
      {"api/v1/categories", "[]", "body"},
      {"api/v1/categories", "{\"name\":", "body"},
      {"api/v1/categories", "{\"name\":\"\xff\",\"priority\":1}", "body"},
      {"api/v1/categories", R"({"priority":1})", "name"},
      {"api/v1/categories", R"({"name":"","priority":1})", "name"},
      {"api/v1/categories", R"({"name":null,"priority":1})", "name"},
      {"api/v1/categories", R"({"name":7,"priority":1})", "name"},
      {"api/v1/categories", R"({"name":"a"})", "priority"},
      {"api/v1/categories", R"({"name":"a","priority":"1"})", "priority"},
      {"api/v1/categories", R"({"name":"a","priority":1.5})", "priority"},
      {"api/v1/categories", R"({"name":"a","priority":0})", "priority"},
      {"api/v1/categories", R"({"name":"a","priority":21})", "priority"},
      {"api/v1/categories", R"({"name":"a","priority":99999999999999999999})", "priority"},
      {"api/v1/scripts", R"({"name":"a","priority":"LATER"})", "priority"},
      {"api/v1/scripts", R"({"name":"a","scriptContents":[]})", "scriptContents"},
      {"api/v1/packages", R"({"packageName":"a"})", "fileName"},
      {"api/v1/computer-extension-attributes", R"({"name":"a"})", "dataType"},
  };
  for (const auto& bad : cases) {
    SCOPED_TRACE(bad.body);
    expectRefused(client_.write("POST", bad.path, bad.body), 400, "INVALID_FIELD", bad.field);
  }
  EXPECT_EQ(server_.objectCount(), before);
}

TEST_F(SampleProObjects, ADuplicateNameIsRefusedButNotOnesOwn) {
  const std::string id = create("api/v1/scripts", R"({"name":"Eins"})");
  expectRefused(client_.write("POST", "api/v1/scripts", R"({"name":"EINS"})"), 400, "DUPLICATE_FIELD",
                "name");
  EXPECT_EQ(client_.write("PUT", "api/v1/scripts/" + id, R"({"name":"eins"})").status, 200);
  const std::string other = create("api/v1/scripts", R"({"name":"Zwei"})");
  expectRefused(client_.write("PUT", "api/v1/scripts/" + other, R"({"name":"Eins"})"), 400, "DUPLICATE_FIELD",
                "name");
  ASSERT_EQ(client_.write("DELETE", "api/v1/scripts/" + id).status, 204);
  EXPECT_EQ(client_.write("PUT", "api/v1/scripts/" + other, R"({"name":"Eins"})").status, 200);
}

TEST_F(SampleProObjects, UnknownIdsAreNotFound) {
  for (const char* path : {"api/v1/scripts/", "api/v1/categories/", "api/v1/packages/"}) {
    for (const char* id : {"0", "-1", "10", "9999999", "99999999999999999999999", "x", "1x", "%2F", "01"}) {
      EXPECT_EQ(client_.write("PUT", std::string(path) + id, R"({"name":"a"})").status, 404) << path << id;
      EXPECT_EQ(client_.write("DELETE", std::string(path) + id).status, 404) << path << id;
    }
  }
}

TEST_F(SampleProObjects, OtherMethodsAreNotAllowed) {
  EXPECT_EQ(client_.write("PUT", "api/v1/scripts", "{}").status, 405);
  EXPECT_EQ(client_.write("POST", "api/v1/scripts/1", "{}").status, 405);
  EXPECT_EQ(client_.write("PATCH", "api/v1/categories/1", "{}").status, 405);
  EXPECT_EQ(client_.write("DELETE", "api/v1/policies/1").status, 404);
}

TEST_F(SampleProObjects, ListsAreFilteredSortedAndPaged) {
  for (const char* name : {"zeta 3", "Zeta 1", "zeta 2", "\\\"quoted\\\""})
    create("api/v1/scripts", std::string(R"({"name":")") + name + R"(","notes":"mine"})");
  const std::string mine = "api/v1/scripts?filter=" + percentEncoded("notes==mine and name==\"zeta*\"");
  EXPECT_EQ(names(mine + "&sort=name%3Adesc"), (std::vector<std::string>{"zeta 3", "zeta 2", "Zeta 1"}));
  EXPECT_EQ(names(mine + "&sort=name:asc&page=1&page-size=2"), std::vector<std::string>{"zeta 3"});
  EXPECT_EQ(*get(mine + "&page=7").find("totalCount"), Value(3));
  EXPECT_EQ(get(mine + "&page=7").find("results")->array_()->size(), 0U);
  EXPECT_EQ(names(mine + "&page=18446744073709551615&page-size=2000").size(), 0U);
  EXPECT_EQ(names("api/v1/scripts?filter=" + percentEncoded(R"(name=="\"quoted\"")")).size(), 1U);
  const auto byID = names("api/v1/scripts?sort=id:desc&page-size=500", "id");
  EXPECT_TRUE(
      std::ranges::is_sorted(byID, std::greater(), [](const std::string& id) { return std::stoi(id); }));
  for (const char* bad :
       {"sort=size:asc", "sort=name:up", "sort=name:asc,", "filter=name", "filter=nmae%3D%3Dx"})
    EXPECT_EQ(client_.get(std::string("api/v1/scripts?") + bad).status, 400) << bad;
}

TEST_F(SampleProObjects, RenameChangeAndRemoveWorkOnWhatWasWritten) {
  const std::string id = create("api/v1/scripts", R"({"name":"Alt","scriptContents":"x"})");
  ASSERT_TRUE(server_.rename("scripts", id, "Neu"));
  EXPECT_EQ(*get("api/v1/scripts/" + id).find("name"), Value("Neu"));
  const Value before = get("api/v1/scripts/" + id);
  ASSERT_TRUE(server_.change("scripts", id));
  EXPECT_NE(get("api/v1/scripts/" + id), before);
  EXPECT_EQ(*get("api/v1/scripts/" + id).find("scriptContents"), Value("x"));
  ASSERT_TRUE(server_.remove("scripts", id));
  EXPECT_EQ(client_.get("api/v1/scripts/" + id).status, 404);
  EXPECT_FALSE(server_.record("scripts", id));
  for (const char* section : {"categories", "packages", "computerExtensionAttributes"}) {
    const std::string path = section == std::string_view("categories") ? "api/v1/categories"
                             : section == std::string_view("packages")
                                 ? "api/v1/packages"
                                 : "api/v1/computer-extension-attributes";
    const std::string made = create(path, path.ends_with("categories") ? R"({"name":"K","priority":20})"
                                          : path.ends_with("packages") ? package
                                                                       : attribute);
    const auto record = server_.record(section, made);
    ASSERT_TRUE(server_.change(section, made));
    EXPECT_NE(server_.record(section, made), record) << section;
  }
}

TEST_F(SampleProObjects, ARefusedSectionRefusesWritesToo) {
  server_.refuseSection("scripts", 403);
  expectRefused(client_.write("POST", "api/v1/scripts", R"({"name":"a"})"), 403, "INVALID_PRIVILEGE", {});
}

TEST_F(SampleProObjects, ACreateMayBeAnsweredWithTheObject) {
  const Received answer = client_.write("POST", "api/v1/categories", R"({"name":"a","priority":1})");
  const Value made = valueOf(answer);
  EXPECT_EQ(made.object_()->size(), 2U);
  EXPECT_EQ(*made.find("href"), Value(server_.url() + "/api/v1/categories/" + *made.find("id")->string()));
  server_.dialect().createGivesObject = true;
  EXPECT_EQ(
      *valueOf(client_.write("POST", "api/v1/categories", R"({"name":"b","priority":7})")).find("priority"),
      Value(7));
}

TEST_F(SampleProObjects, ThePackagesSizeHasTheShapeThatIsAskedFor) {
  const auto size = [&] { return *get("api/v1/packages/1").find("size"); };
  server_.setPackageSizeShape(PackageSizeShape::null);
  EXPECT_TRUE(size().isNull());
  server_.setPackageSizeShape(PackageSizeShape::empty);
  EXPECT_EQ(size(), Value(""));
  server_.setPackageSizeShape(PackageSizeShape::digits);
  EXPECT_EQ(size(), Value(std::to_string(server_.packageFiles().front().size)));
  server_.setPackageSizeShape(PackageSizeShape::unit);
  EXPECT_TRUE(size().string()->ends_with("KB"));
  const std::string id = create("api/v1/packages", package);
  server_.setPackageSizeShape(PackageSizeShape::null);
  EXPECT_TRUE(get("api/v1/packages/" + id).find("size")->isNull());
}

TEST_F(SampleProObjects, ConcurrentCreatesOfOneNameMakeOneObject) {
  constexpr int threads = 4;
  std::atomic<int> created = 0;
  {
    std::vector<std::jthread> all;
    for (int i = 0; i < threads; ++i) {
      all.emplace_back([&] {
        AuthorizedClient client(server_);
        for (int n = 0; n < 20; ++n) {
          const std::string body = R"({"name":"N)" + std::to_string(n) + R"(","priority":1})";
          if (client.write("POST", "api/v1/categories", body).status == 201) ++created;
          client.get("api/v1/categories?sort=name:asc");
        }
      });
    }
  }
  EXPECT_EQ(created, 20);
}

}  // namespace
}  // namespace sample
