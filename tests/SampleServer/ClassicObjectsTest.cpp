#include "tests/SampleServer/Writing.h"

namespace sample {
namespace {

constexpr const char* policies = "JSSResource/policies/id/";
constexpr const char* profiles = "JSSResource/osxconfigurationprofiles/id/";

class SampleClassicObjects : public Writing {
 protected:
  Received write(std::string_view method, const std::string& path, std::string_view xml,
                 std::string_view type = "application/xml") {
    return client_.write(method, path, xml, type);
  }
  /// The id in an answer; empty when there is none.
  static std::string idIn(const Received& answer) {
    const std::size_t begin = answer.body.find("<id>");
    const std::size_t end = answer.body.find("</id>");
    return begin == std::string::npos ? std::string() : answer.body.substr(begin + 4, end - begin - 4);
  }
  std::string createPolicy(const std::string& xml) {
    const Received answer = write("POST", std::string(policies) + "0", xml);
    EXPECT_EQ(answer.status, 201) << answer.body;
    return idIn(answer);
  }
  Value policy(const std::string& id) { return *get(policies + id).find("policy"); }
  Value general(const std::string& id) { return *policy(id).find("general"); }
  void expectConflict(const Received& answer, const char* sentence) {
    EXPECT_EQ(answer.status, 409) << answer.body;
    EXPECT_TRUE(answer.has("text/html"));
    EXPECT_NE(answer.body.find(sentence), std::string::npos) << answer.body;
  }
};

constexpr const char* whole =
    "<policy><general><name>A&amp;B &lt;C&gt; "
    "&quot;x&apos;</name><enabled>true</enabled><trigger_checkin>true"
    "</trigger_checkin><trigger_enrollment_complete>false</trigger_enrollment_complete><trigger_login>true"
    "</trigger_login><trigger_network_state_changed>false</"
    "trigger_network_state_changed><trigger_startup>false"
    "</trigger_startup><trigger_other>go</trigger_other><frequency>Ongoing</frequency></general><scope>"
    "<all_computers>false</all_computers><computers><computer><id>5</id></computer></"
    "computers><computer_groups/>"
    "<buildings><building><id>1</id></building></buildings><departments/></scope></policy>";

TEST_F(SampleClassicObjects, APolicyIsCreatedFromXMLAndReadAsJSON) {
  const Received answer = write("POST", std::string(policies) + "0", whole);
  ASSERT_EQ(answer.status, 201);
  const std::string id = idIn(answer);
  EXPECT_EQ(answer.body, "<?xml version=\"1.0\" encoding=\"UTF-8\"?><policy><id>" + id + "</id></policy>");
  EXPECT_TRUE(answer.has("xml"));
  const Value made = general(id);
  EXPECT_EQ(*made.find("id"), Value(std::stoll(id)));
  EXPECT_EQ(*made.find("name"), Value("A&B <C> \"x'"));
  EXPECT_EQ(*made.find("trigger_checkin"), Value(true));
  EXPECT_EQ(*made.find("trigger_startup"), Value(false));
  EXPECT_EQ(*made.find("trigger_other"), Value("go"));
  EXPECT_EQ(*made.find("frequency"), Value("Ongoing"));
  EXPECT_EQ(*made.find("category"), Value::object({{"id", -1}, {"name", "No category assigned"}}));
  const Value stored = policy(id);
  const Value* scope = stored.find("scope");
  const Value& target = scope->find("computers")->array_()->front();
  const Value computer = get("api/v1/computers-inventory-detail/5");
  EXPECT_EQ(*target.find("id"), Value(5));
  EXPECT_EQ(*target.find("name"), *computer.find("general")->find("name"));
  EXPECT_EQ(*target.find("udid"), *computer.find("udid"));
  EXPECT_EQ(scope->find("buildings")->array_()->size(), 1U);
  EXPECT_NE(client_.get("JSSResource/policies").body.find("{\"id\":" + id + ","), std::string::npos);
  EXPECT_EQ(server_.record("policies", id), client_.get(policies + id).body);
}

TEST_F(SampleClassicObjects, APutChangesWhatItNamesAndAScopeWhole) {
  const std::string id = createPolicy(whole);
  const Value before = policy(id);
  const Received put = write("PUT", policies + id,
                             "<policy><general><name>N</name><enabled>false</enabled></general></policy>");
  EXPECT_EQ(put.status, 201);
  EXPECT_EQ(idIn(put), id);
  EXPECT_EQ(*general(id).find("name"), Value("N"));
  EXPECT_EQ(*general(id).find("enabled"), Value(false));
  EXPECT_EQ(*general(id).find("frequency"), Value("Ongoing"));
  EXPECT_EQ(*policy(id).find("scope"), *before.find("scope"));
  ASSERT_EQ(write("PUT", policies + id, "<policy><scope><all_computers>true</all_computers></scope></policy>")
                .status,
            201);
  EXPECT_EQ(*policy(id).find("scope")->find("all_computers"), Value(true));
  EXPECT_EQ(policy(id).find("scope")->find("computers")->array_()->size(), 0U);
  EXPECT_EQ(policy(id).find("scope")->find("buildings")->array_()->size(), 0U);
  EXPECT_EQ(*general(id).find("name"), Value("N"));
}

TEST_F(SampleClassicObjects, APolicyThatWasThereKeepsWhatIsNotSent) {
  const Value before = policy("1");
  ASSERT_EQ(
      write("PUT", std::string(policies) + "1", "<policy><general><enabled>true</enabled></general></policy>")
          .status,
      201);
  for (const char* key : {"scope", "package_configuration", "scripts", "printers", "reboot"})
    EXPECT_EQ(*policy("1").find(key), *before.find(key)) << key;
  EXPECT_EQ(*general("1").find("name"), *before.find("general")->find("name"));
}

TEST_F(SampleClassicObjects, UnknownElementsAreDroppedAndOddValuesBecomeDefaults) {
  const std::string id = createPolicy(
      "<policy><general><name>O</name><id>777</id><nonsense>1</nonsense><frequency>Sometimes</"
      "frequency><enabled>maybe"
      "</enabled><retry_attempts>many</retry_attempts></general><other/><reboot><minutes_until_reboot>9"
      "</minutes_until_reboot></reboot></policy>");
  EXPECT_NE(id, "777");
  EXPECT_EQ(*general(id).find("id"), Value(std::stoll(id)));
  EXPECT_EQ(*general(id).find("frequency"), Value("Once per computer"));
  EXPECT_EQ(*general(id).find("retry_attempts"), Value(-1));
  EXPECT_FALSE(general(id).find("nonsense"));
  EXPECT_FALSE(policy(id).find("other"));
  EXPECT_EQ(*policy(id).find("reboot")->find("minutes_until_reboot"), Value(9));
}

TEST_F(SampleClassicObjects, CategoriesAreFoundByNameAndID) {
  const std::string category = create("api/v1/categories", R"({"name":"Neu & gut","priority":9})");
  const auto policyWith = [&](std::string_view name, std::string_view inner) {
    return createPolicy("<policy><general><name>" + std::string(name) + "</name><category>" +
                        std::string(inner) + "</category></general></policy>");
  };
  const Value expected = Value::object({{"id", std::stoll(category)}, {"name", "Neu & gut"}});
  const std::string a = policyWith("a", "<name>Neu &amp; gut</name>");
  EXPECT_EQ(*general(a).find("category"), expected);
  EXPECT_EQ(*general(policyWith("b", "<id>" + category + "</id>")).find("category"), expected);
  EXPECT_EQ(*general(policyWith("c", "<id>-1</id>")).find("category")->find("id"), Value(-1));
  const Value list = get("JSSResource/policies/category/Neu%20%26%20gut");
  EXPECT_EQ(list.find("policies")->array_()->size(), 2U);
  EXPECT_EQ(list.find("policies")->array_()->front(), Value::object({{"id", std::stoll(a)}, {"name", "a"}}));
  EXPECT_EQ(get("JSSResource/policies/category/nowhere").text(), R"({"policies":[]})");
}

TEST_F(SampleClassicObjects, WhatLeadsNowhereIsAConflictAndWritesNothing) {
  const auto post = [&](const std::string& inner) {
    return write("POST", std::string(policies) + "0",
                 "<policy><general><name>N</name></general>" + inner + "</policy>");
  };
  const std::size_t before = server_.objectCount();
  const auto scope = [](std::string_view list, std::string_view element) {
    return "<scope><" + std::string(list) + "><" + std::string(element) + "><id>9999</id></" +
           std::string(element) + "></" + std::string(list) + "></scope>";
  };
  expectConflict(post(scope("computers", "computer")), "Error: Problem with computer in scope");
  expectConflict(post(scope("computer_groups", "computer_group")),
                 "Error: Problem with computer group in scope");
  expectConflict(post(scope("buildings", "building")), "Error: Problem with building in scope");
  expectConflict(post(scope("departments", "department")), "Error: Problem with department in scope");
  expectConflict(post("<general><category><name>nowhere</name></category></general>"),
                 "Problem with category");
  expectConflict(post("<general><site><name>nowhere</name></site></general>"), "Problem with site");
  expectConflict(post("<general><category><id>99999999999999999999</id></category></general>"), "category");
  EXPECT_EQ(server_.objectCount(), before);
}

TEST_F(SampleClassicObjects, NamesAreRequiredAndUnique) {
  const auto post = [&](std::string_view inner) {
    return write("POST", std::string(policies) + "0", "<policy>" + std::string(inner) + "</policy>");
  };
  expectConflict(post(""), "Name is required");
  expectConflict(post("<general/>"), "Name is required");
  expectConflict(post("<general><name>  </name></general>"), "Name is required");
  const std::string id = createPolicy("<policy><general><name>Eins</name></general></policy>");
  expectConflict(post("<general><name>eins</name></general>"), "Error: Duplicate name");
  EXPECT_EQ(write("PUT", policies + id, "<policy><general><name>EINS</name></general></policy>").status, 201);
  expectConflict(write("PUT", policies + id, "<policy><general><name/></general></policy>"),
                 "Name is required");
}

TEST_F(SampleClassicObjects, WhatIsNoXMLIsRefused) {
  for (const char* bad :
       {"", "x", "<policy>", "{\"policy\":{}}", "<policy><general></policy>", "<other/>",
        "<!DOCTYPE p [<!ENTITY a \"b\">]><policy><general><name>&a;</name></general></policy>"}) {
    const Received answer = write("POST", std::string(policies) + "0", bad);
    EXPECT_EQ(answer.status, 400) << bad;
    EXPECT_TRUE(answer.has("text/html"));
  }
  std::string deep;
  for (int i = 0; i < 100'000; ++i) deep += "<policy>";
  EXPECT_EQ(write("POST", std::string(policies) + "0", deep).status, 400);
}

TEST_F(SampleClassicObjects, AnotherContentTypeIsRefused) {
  for (const char* type : {"application/json", "", "text/plain", "application/xmlx"})
    EXPECT_EQ(write("POST", std::string(policies) + "0", whole, type).status, 415) << type;
  EXPECT_EQ(write("POST", std::string(policies) + "0", whole, "text/xml; charset=UTF-8").status, 201);
}

TEST_F(SampleClassicObjects, AnObjectIsFoundByItsNameEvenWithASlash) {
  const std::string id = createPolicy("<policy><general><name>Ä/B 100% &amp; c?</name></general></policy>");
  const Value found = get("JSSResource/policies/name/" + percentEncoded("Ä/B 100% & c?"));
  EXPECT_EQ(*found.find("policy"), policy(id));
  EXPECT_EQ(client_.get("JSSResource/policies/name/%C3%84/B").status, 404);
  EXPECT_EQ(client_.get("JSSResource/policies/name/nobody").status, 404);
  EXPECT_EQ(client_.get("JSSResource/policies/name/").status, 404);
  EXPECT_TRUE(client_.get("JSSResource/policies/name/nobody").has("text/html"));
}

TEST_F(SampleClassicObjects, ADeletedPolicyIsGone) {
  const std::string id = createPolicy("<policy><general><name>X</name></general></policy>");
  const Received gone = client_.write("DELETE", policies + id);
  EXPECT_EQ(gone.status, 200);
  EXPECT_EQ(idIn(gone), id);
  EXPECT_EQ(client_.get(policies + id).status, 404);
  EXPECT_EQ(client_.write("DELETE", policies + id).status, 404);
  EXPECT_EQ(write("PUT", policies + id, whole).status, 404);
  EXPECT_EQ(write("POST", policies + id, whole).status, 404);
  EXPECT_EQ(write("PATCH", std::string(policies) + "1", whole).status, 405);
}

TEST_F(SampleClassicObjects, AProfileKeepsItsPayloadToTheByte) {
  const std::string plist =
      "<?xml version=\"1.0\"?><plist><dict><key>A &amp; B</key><string>\"'</string></dict></plist>";
  std::string escaped;
  for (const char c : plist)
    escaped += c == '&'   ? "&amp;"
               : c == '<' ? "&lt;"
               : c == '>' ? "&gt;"
               : c == '"' ? "&quot;"
                          : std::string(1, c);
  const Received answer =
      write("POST", std::string(profiles) + "0",
            "<os_x_configuration_profile><general><name>P</name><description>d</"
            "description><distribution_method>Make "
            "Available in Self "
            "Service</distribution_method><user_removable>true</user_removable><level>Computer Level"
            "</level><payloads>" +
                escaped + "</payloads></general></os_x_configuration_profile>");
  ASSERT_EQ(answer.status, 201) << answer.body;
  const std::string id = idIn(answer);
  const Value record = get(profiles + id);
  const Value& general = *record.find("os_x_configuration_profile")->find("general");
  EXPECT_EQ(*general.find("payloads"), Value(plist));
  EXPECT_EQ(*general.find("level"), Value("System"));
  EXPECT_EQ(*general.find("user_removable"), Value(true));
  EXPECT_EQ(*general.find("distribution_method"), Value("Make Available in Self Service"));
  EXPECT_EQ(general.find("uuid")->string()->size(), 36U);
  EXPECT_EQ(*get("JSSResource/osxconfigurationprofiles/name/P").find("os_x_configuration_profile"),
            *record.find("os_x_configuration_profile"));
  EXPECT_EQ(client_.write("DELETE", profiles + id).status, 200);
}

TEST_F(SampleClassicObjects, PackagesAndScriptsOfAPolicyAreResolved) {
  const std::string id = createPolicy(
      "<policy><general><name>X</name></general><package_configuration><packages><size>1</"
      "size><package><id>1</id>"
      "<action>Cache</action></package></packages></package_configuration><scripts><script><id>2</"
      "id><priority>before"
      "</priority><parameter4>p</parameter4></script></scripts></policy>");
  const Value made = policy(id);
  const Value& package = made.find("package_configuration")->find("packages")->array_()->front();
  EXPECT_EQ(*package.find("name"), *get("api/v1/packages/1").find("packageName"));
  EXPECT_EQ(*package.find("action"), Value("Cache"));
  const Value& script = made.find("scripts")->array_()->front();
  EXPECT_EQ(*script.find("id"), Value(2));
  EXPECT_EQ(*script.find("priority"), Value("Before"));
  EXPECT_EQ(*script.find("parameter4"), Value("p"));
}

TEST_F(SampleClassicObjects, AGroupInAWrittenScopeIsNotDeleted) {
  const std::string smart = "api/v3/computer-groups/smart-groups";
  const std::string group = create(smart, R"({"name":"Lab"})");
  const std::string id = createPolicy(
      "<policy><general><name>X</name></general><scope><computer_groups><computer_group>"
      "<name>Lab</name></computer_group></computer_groups></scope></policy>");
  EXPECT_EQ(client_.write("DELETE", smart + "/" + group).status, 422);
  ASSERT_EQ(client_.write("DELETE", policies + id).status, 200);
  EXPECT_EQ(client_.write("DELETE", smart + "/" + group).status, 204);
}

TEST_F(SampleClassicObjects, EmptyListsOfAScopeMayBeObjects) {
  const std::string id = createPolicy(whole);
  server_.dialect().emptyScopeListIsObject = true;
  for (const std::string& path :
       {policies + id, "JSSResource/policies/name/" + percentEncoded("A&B <C> \"x'")}) {
    const Value shown = get(path);
    const Value& scope = *shown.find("policy")->find("scope");
    EXPECT_EQ(*scope.find("departments"), Value::object());
    EXPECT_EQ(*scope.find("exclusions")->find("users"), Value::object());
    EXPECT_EQ(scope.find("computers")->array_()->size(), 1U);
  }
  // What is held is untouched.
  ASSERT_EQ(write("PUT", policies + id, "<policy/>").status, 201);
  server_.dialect().emptyScopeListIsObject = false;
  EXPECT_EQ(*policy(id).find("scope")->find("departments"), Value::array());
}

TEST_F(SampleClassicObjects, TheAnswerToAWriteMayHideItsID) {
  server_.dialect().classicWriteHidesID = true;
  const Received answer = write("POST", std::string(policies) + "0", whole);
  EXPECT_EQ(answer.status, 201);
  EXPECT_EQ(answer.body, "<?xml version=\"1.0\" encoding=\"UTF-8\"?><policy></policy>");
}

TEST_F(SampleClassicObjects, RenameAndChangeWorkOnWhatWasWritten) {
  const std::string id = createPolicy(whole);
  ASSERT_TRUE(server_.rename("policies", id, "Anders"));
  EXPECT_EQ(*general(id).find("name"), Value("Anders"));
  const auto before = server_.record("policies", id);
  ASSERT_TRUE(server_.change("policies", id));
  EXPECT_NE(server_.record("policies", id), before);
  EXPECT_EQ(*general(id).find("frequency"), Value("Ongoing"));
}

TEST_F(SampleClassicObjects, NamesAndCategoriesAreGivenAsJSONOnly) {
  for (const char* path : {"JSSResource/policies/name/x", "JSSResource/policies/category/x"}) {
    EXPECT_EQ(client_
                  .ask("GET /" + std::string(path) + " HTTP/1.1\r\nHost: x\r\nAuthorization: Bearer " +
                       client_.token() + "\r\n\r\n")
                  .status,
              406);
  }
}

}  // namespace
}  // namespace sample
