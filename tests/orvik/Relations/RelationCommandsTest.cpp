#include "orvik/Relations/RelationCommands.h"

#include <fmt/format.h>

#include <csignal>
#include <regex>

#include "Platform/JSON/View.h"
#include "tests/Support/PlaybookHost.h"

namespace orvik {
namespace {

using platform::json::Value;
using test::jsonLines;
using test::member;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

class RelationCommands : public test::PlaybookHost {
 protected:
  test::ProgramEnd relate(const std::string& what, const std::string& name, const Arguments& more = {},
                          const std::string& org = "School") const {
    Arguments all{"relations", what, name, "--org", org};
    all.insert(all.end(), more.begin(), more.end());
    return run(all);
  }
  Value record(const std::string& section, const std::string& id) {
    const auto document = platform::json::Document::parse(*server.record(section, id));
    return Value::from(document->root());
  }
  /// What a Classic record has in its one member.
  Value record(const std::string& section, const std::string& id, const std::string& wrapper) {
    return *record(section, id).find(wrapper);
  }
  /// The policies whose scope names the group, by the server's own records.
  std::vector<std::string> policiesOf(const std::string& group) {
    return scopedTo("policies", "policy", group);
  }
  std::vector<std::string> profilesOf(const std::string& group) {
    return scopedTo("computerConfigurationProfiles", "os_x_configuration_profile", group);
  }
  std::vector<std::string> scopedTo(const std::string& section, const std::string& wrapper,
                                    const std::string& group) {
    std::vector<std::string> found;
    for (const auto& id : server.ids(section)) {
      const auto object = record(section, id, wrapper);
      const auto* targets = object.find("scope")->find("computer_groups")->array_();
      for (std::size_t i = 0; targets != nullptr && i < targets->size(); ++i)
        if (member((*targets)[i], "id") == group) found.push_back(id);
    }
    return found;
  }
  /// A group that policies and a profile are scoped to, and its name.
  std::string busyGroup() {
    for (const auto& id : server.ids("computerGroups"))
      if (policiesOf(id).size() > 1 && !profilesOf(id).empty()) return id;
    ADD_FAILURE() << "no group is in use";
    return {};
  }
  std::string groupName(const std::string& id) {
    return member(record("computerGroups", id, "computer_group"), "name");
  }
  void gone(const std::string& path, int after = 0) {
    server.faults().add({.path = path, .after = after, .action = sample::FaultAnswer{.status = 404}});
  }
  static std::vector<std::string> ids(const std::vector<Value>& lines) {
    std::vector<std::string> found;
    for (const auto& line : lines) found.push_back(member(line, "id"));
    return found;
  }
  std::size_t asked(const std::string& beginning) {
    std::size_t count = 0;
    for (const auto& request : server.log().entries()) count += request.path.starts_with(beginning) ? 1 : 0;
    return count;
  }
};

TEST_F(RelationCommands, AGroupsRelationsAreThoseOfTheServersOwnRecords) {
  const auto group = busyGroup();
  const auto end = relate("group", groupName(group), {"--json"});
  ASSERT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(ids(named("group", end)), (std::vector<std::string>{group}));
  EXPECT_EQ(ids(named("policy", end)), policiesOf(group));
  EXPECT_EQ(ids(named("profile", end)), profilesOf(group));
  EXPECT_EQ(named("device", end).size(),
            record("computerGroups", group, "computer_group").find("computers")->array_()->size());
  for (const auto& line : named("policy", end)) {
    const auto policy = record("policies", member(line, "id"), "policy");
    EXPECT_EQ(member(line, "name"), member(*policy.find("general"), "name"));
    EXPECT_EQ(line.find("groups")->text(), "[\"" + group + "\"]");
    const auto& packages = *policy.find("package_configuration")->find("packages")->array_();
    ASSERT_EQ(line.find("packages")->array_()->size(), packages.size());
    for (std::size_t place = 0; place < packages.size(); ++place)
      EXPECT_EQ(member((*line.find("packages")->array_())[place], "name"), member(packages[place], "name"));
  }
  const auto last = jsonLines(end.output).back();
  EXPECT_EQ(member(last, "event"), "finished");
  EXPECT_EQ(member(last, "policies"), std::to_string(policiesOf(group).size()));
  EXPECT_EQ(member(last, "vanished"), "0");
  EXPECT_THAT(writes(), IsEmpty());
}

TEST_F(RelationCommands, AGroupIsNamedByItsNameOrItsID) {
  const auto group = busyGroup();
  const auto byName = relate("group", groupName(group));
  const auto byID = relate("group", group);
  EXPECT_EQ(byName.status, 0) << byName.error;
  EXPECT_EQ(byName.output, byID.output);
  EXPECT_THAT(byName.output,
              AllOf(StartsWith("GROUP"), HasSubstr(groupName(group)), HasSubstr("\nPOLICY "),
                    HasSubstr("\nPROFILE "), HasSubstr("\nCOMPUTER "), HasSubstr("1 group, ")));
}

TEST_F(RelationCommands, TheAttributesThatCriteriaNameAreTold) {
  const auto attribute = server.ids("computerExtensionAttributes").front();
  const auto criterion = member(record("computerExtensionAttributes", attribute), "name");
  const auto document = fmt::format(
      "  - {{type: smartGroup, name: By attribute, criteria: [{{field: '{}', searchType: is, value: x}}]}}\n",
      criterion);
  const auto applied = onSchool("apply", playbook(document), {"--yes"});
  ASSERT_EQ(applied.status, 0) << applied.error << applied.output;
  const auto end = relate("group", "By attribute", {"--json"});
  ASSERT_EQ(end.status, 0) << end.error;
  const auto attributes = named("extensionAttribute", end);
  ASSERT_THAT(attributes, SizeIs(1));
  EXPECT_EQ(member(attributes.front(), "name"), criterion);
  EXPECT_THAT(relate("group", "By attribute").output, HasSubstr("EXTENSION ATTRIBUTE"));
}

TEST_F(RelationCommands, WhatTheServerDoesNotHaveEndsWith10) {
  for (const auto& [what, name] :
       std::vector<std::pair<std::string, std::string>>{{"group", "No such group"},
                                                        {"group", "99999"},
                                                        {"device", "99999"},
                                                        {"device", "NOSERIAL"},
                                                        {"attribute", "Nothing"}}) {
    const auto end = relate(what, name);
    EXPECT_EQ(end.status, 10) << what << name;
    EXPECT_THAT(end.error, AllOf(StartsWith("orvik: School has no "), HasSubstr(name)));
    EXPECT_EQ(end.output, "");
  }
  EXPECT_EQ(asked("JSSResource/policies"), 0U);
  EXPECT_EQ(relate("group", "x", {}, "Nobody").status, 10);
}

TEST_F(RelationCommands, AComputerIsNamedByItsIDOrSerialNumber) {
  const auto byID = relate("device", "7", {"--json"});
  ASSERT_EQ(byID.status, 0) << byID.error;
  EXPECT_EQ(relate("device", "FVSMP7", {"--json"}).output, byID.output);
  const auto device = named("device", byID);
  ASSERT_THAT(device, SizeIs(1));
  EXPECT_EQ(member(device.front(), "id"), "7");
}

TEST_F(RelationCommands, AComputersRelationsAreThoseOfItsGroups) {
  const auto end = relate("device", "7", {"--json"});
  const auto computer = record("computers", "7");
  std::vector<std::string> groups;
  for (const auto& each : *computer.find("groupMemberships")->array_())
    groups.push_back(member(each, "groupId"));
  EXPECT_EQ(ids(named("group", end)), groups);
  std::vector<std::string> policies;
  for (const auto& group : groups)
    for (const auto& id : policiesOf(group)) policies.push_back(id);
  EXPECT_EQ(ids(named("policy", end)), policies);
}

TEST_F(RelationCommands, TheWholeRelationOfAComputerOfASchoolTakesOneRequestForEachRecord) {
  sample::SampleServer school({.size = sample::FleetSize::school, .log = sample::LogDetail::all});
  writeSecret(school.clientSecret() + "\n");
  ASSERT_EQ(run({"orgs", "add", "--name", "Big", "--url", school.url(), "--client-id", school.clientID(),
                 "--secret-file", secretFile.string()})
                .status,
            0);
  for (const auto& each : secrets()) exempt.insert(secretsFolder() / each);
  school.setDelay(std::chrono::milliseconds(1));
  const auto end = relate("device", "118", {"--json"}, "Big");
  ASSERT_EQ(end.status, 0) << end.error;
  const auto policies = school.ids("policies").size();
  const auto profiles = school.ids("computerConfigurationProfiles").size();
  const auto expected = 1 +                           // the token
                        1 +                           // the computer
                        named("group", end).size() +  // which of its groups are smart
                        2 + policies + profiles +     // lists and records
                        named("policy", end).size();  // packages and scripts
  EXPECT_EQ(school.log().total(), expected);
  EXPECT_THAT(named("group", end), Not(IsEmpty()));
  EXPECT_GT(school.maxInFlight(), 1);
  EXPECT_LE(school.maxInFlight(), 8);
}

TEST_F(RelationCommands, WhatVanishesMeanwhileIsNamedAndTheRestAnswered) {
  const auto group = busyGroup();
  const auto policies = policiesOf(group);
  const auto profiles = profilesOf(group);
  gone("JSSResource/policies/id/" + policies[0]);
  gone("JSSResource/policies/id/" + policies[1], 1);  // first its scope is read, then what it brings
  gone("JSSResource/osxconfigurationprofiles/id/" + profiles[0]);
  const auto end = relate("group", group, {"--json"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(ids(named("policy", end)), std::vector<std::string>(policies.begin() + 2, policies.end()));
  const auto vanished = named("vanished", end);
  EXPECT_THAT(ids(vanished), testing::UnorderedElementsAre(policies[0], policies[1], profiles[0]));
  for (const auto& line : vanished) EXPECT_NE(member(line, "name"), "");
  EXPECT_EQ(member(jsonLines(end.output).back(), "vanished"), "3");
}

TEST_F(RelationCommands, WhatVanishesIsInTheTablesAndBesideADrawing) {
  const auto group = busyGroup();
  const auto policy = policiesOf(group).front();
  const auto name = member(*record("policies", policy, "policy").find("general"), "name");
  gone("JSSResource/policies/id/" + policy);
  const auto text = relate("group", group);
  EXPECT_EQ(text.status, 0);
  EXPECT_THAT(text.output, AllOf(HasSubstr("VANISHED MEANWHILE"), HasSubstr(name)));
  const auto dot = relate("group", group, {"--dot"});
  EXPECT_THAT(dot.error, HasSubstr(fmt::format("The policy {} (#{}) vanished", name, policy)));
  EXPECT_THAT(dot.output, Not(HasSubstr("\"policy " + policy + "\"")));
}

TEST_F(RelationCommands, AGroupThatVanishesIsNamedAndItsScopesAreAnswered) {
  const auto group = busyGroup();
  gone("JSSResource/computergroups/id/" + group);
  const auto end = relate("group", groupName(group), {"--json"});
  EXPECT_EQ(end.status, 0) << end.error;
  ASSERT_THAT(named("vanished", end), SizeIs(1));
  EXPECT_EQ(member(named("vanished", end).front(), "kind"), "group");
  EXPECT_THAT(named("device", end), IsEmpty());
  EXPECT_EQ(ids(named("policy", end)), policiesOf(group));
}

TEST_F(RelationCommands, ARecordThatCanNotBeReadFailsAndNothingIsPrinted) {
  server.faults().add({.path = "JSSResource/policies/id/*", .action = sample::FaultAnswer{.status = 403}});
  const auto end = relate("group", busyGroup());
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("403"));
  EXPECT_EQ(end.output, "");
}

TEST_F(RelationCommands, ADrawingIsADigraphOfQuotedNames) {
  const auto group = busyGroup();
  const auto policy = policiesOf(group).front();
  server.rename("policies", policy, "A \"B\" \\N -> {C}; [x]\n\x1b[31m");
  const auto end = relate("group", group, {"--dot"});
  ASSERT_EQ(end.status, 0) << end.error;
  std::vector<std::string> lines;
  for (std::size_t begin = 0, stop = 0; (stop = end.output.find('\n', begin)) != std::string::npos;
       begin = stop + 1)
    lines.push_back(end.output.substr(begin, stop - begin));
  ASSERT_GT(lines.size(), 5U);
  EXPECT_EQ(lines.front(), "digraph relations {");
  EXPECT_EQ(lines.back(), "}");
  const std::string quoted = R"re("(\\["\\]|[^"\\])*")re";
  const std::regex statement("  (rankdir=LR|node \\[fontname=\"sans-serif\"\\]|" + quoted + " -> " + quoted +
                             "|" + quoted + " \\[label=" + quoted + ", shape=[a-z0-9]+\\]);");
  for (std::size_t place = 1; place + 1 < lines.size(); ++place)
    EXPECT_TRUE(std::regex_match(lines[place], statement)) << lines[place];
  EXPECT_THAT(end.output, AllOf(HasSubstr(R"([label="A \"B\" \\N -> {C}; [x]␊␛[31m", shape=component])"),
                                Not(HasSubstr("\x1b"))));
  const auto kind = named("group", relate("group", group, {"--json"})).front();
  EXPECT_THAT(end.output, HasSubstr(fmt::format("\"{} group {}\" -> \"policy {}\";", member(kind, "kind"),
                                                group, policy)));
}

TEST_F(RelationCommands, NamesCanNotControlATerminal) {
  const auto group = busyGroup();
  server.rename("policies", policiesOf(group).front(), "\x1b]0;title\x07\u202Eevil");
  const auto text = relate("group", group);
  EXPECT_THAT(text.output, AllOf(Not(HasSubstr("\x1b")), Not(HasSubstr("\x07")), HasSubstr("␛]0;title")));
  EXPECT_THAT(relate("group", group, {"--json"}).output, Not(HasSubstr("\x1b")));
}

TEST_F(RelationCommands, AnAttributesValuesAreCountedWithTheirComputers) {
  const auto total = server.ids("computers").size();
  const auto name =
      member(jsonLines(*server.record("computerExtensionAttributes", "1") + "\n").front(), "name");
  const auto end = relate("attribute", name, {"--json"});
  ASSERT_EQ(end.status, 0) << end.error;
  std::size_t devices = 0;
  for (const auto& line : named("value", end)) devices += line.find("devices")->array_()->size();
  EXPECT_EQ(devices, total);
  const auto last = jsonLines(end.output).back();
  EXPECT_EQ(member(last, "devicesScanned"), std::to_string(total));
  EXPECT_EQ(member(last, "totalDevices"), std::to_string(total));
  EXPECT_EQ(member(last, "values"), std::to_string(named("value", end).size()));
  const auto text = relate("attribute", name);
  EXPECT_THAT(text.output, AllOf(StartsWith("VALUE"), HasSubstr(fmt::format("on {} computers", total))));
  EXPECT_EQ(text.error, "");
  const auto dot = relate("attribute", name, {"--dot"});
  EXPECT_THAT(dot.output, AllOf(StartsWith("digraph"), HasSubstr("[label=\"" + name + "\"")));
}

TEST_F(RelationCommands, AnUnknownAttributeIsRefusedWithThoseThatHoldItsName) {
  server.rename("computerExtensionAttributes", "1", "Battery cycles");
  const auto end = relate("attribute", "battery");
  EXPECT_EQ(end.status, 10);
  EXPECT_THAT(end.error,
              AllOf(StartsWith("orvik: School has no computer extension attribute battery; near it: "),
                    HasSubstr("Battery cycles")));
}

TEST_F(RelationCommands, ANameThatARefusalOffersCanNotControlATerminal) {
  server.rename("computerExtensionAttributes", "1", "\x1b]0;battery\x07\u202E");
  EXPECT_THAT(relate("attribute", "battery").error,
              AllOf(HasSubstr("near it: "), HasSubstr("battery"), Not(HasSubstr("\x1b")),
                    Not(HasSubstr("\x07")), Not(HasSubstr("\u202E"))));
}

TEST_F(RelationCommands, AnUnknownAttributeReadsNoInventory) {
  EXPECT_EQ(relate("attribute", "battery CYCLES").status, 10);
  EXPECT_EQ(asked("api/v1/computers-inventory"), 0U);
}

TEST_F(RelationCommands, WrongUsageEndsWith2) {
  EXPECT_EQ(run({"relations"}).status, 2);
  EXPECT_EQ(run({"relations", "group", "x"}).status, 2);
  EXPECT_EQ(run({"relations", "group", "--org", "School"}).status, 2);
  EXPECT_EQ(relate("group", "x", {"--dot", "--json"}).status, 2);
  EXPECT_EQ(relate("group", " ").status, 2);
  EXPECT_EQ(server.log().total(), 0U);
}

TEST_F(RelationCommands, ARefusedClientEndsWith12) {
  writeSecret("wrong\n");
  ASSERT_EQ(run(adding("Wrong", {"--secret-file", secretFile.string()})).status, 0);
  const auto end = relate("group", "x", {}, "Wrong");
  EXPECT_EQ(end.status, 12) << end.error;
  for (const auto& each : secrets()) exempt.insert(secretsFolder() / each);
}

TEST_F(RelationCommands, ASignalEndsWith130) {
  server.setDelay(std::chrono::seconds(20));
  test::RunningProgram running(start({"relations", "group", "1", "--org", "School"}));
  while (server.inFlight() == 0) std::this_thread::yield();
  const auto before = std::chrono::steady_clock::now();
  running.send(SIGINT);
  EXPECT_EQ(running.wait().status, 130);
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(2));
}

}  // namespace
}  // namespace orvik
