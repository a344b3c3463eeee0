#include "orvik/Playbook/PlaybookCommands.h"

#include "tests/Support/PlaybookHost.h"
#include "tests/Support/ScriptedServer.h"

namespace orvik {
namespace {

using test::jsonLines;
using test::member;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
namespace files = platform::files;

constexpr const char* newScript = "  - {type: script, name: New, priority: AFTER, scriptContents: echo}\n";

class PlaybookCommands : public test::PlaybookHost {
 protected:
  std::string write(const std::string& text) const {
    files::atomicWrite(text, file("d.yaml"));
    return file("d.yaml");
  }
  test::ProgramEnd check(const std::string& text) const { return command("check", {write(text)}); }
  /// A person at a terminal who is asked whether to apply.
  test::ProgramEnd answering(const std::string& playbookFile, const std::string& answer) const {
    auto with = start({"playbook", "apply", playbookFile, "--org", "School"});
    with.error = test::ProgramStart::Error::terminal;
    with.inputKind = test::ProgramStart::Input::terminal;
    with.environment["TERM"] = "dumb";
    test::RunningProgram running(with);
    EXPECT_TRUE(running.waitFor("[y/N]"));
    running.type(answer + "\n");
    return running.wait();
  }
};

TEST_F(PlaybookCommands, CheckTellsWhatIsDeclared) {
  const auto text =
      "name: Nightly\ndescription: d\nschedule: {recurrence: weekly, time: '07:30', dayOfWeek: "
      "2}\nresources:\n"
      "  - {type: policy, name: A, state: absent}\n"
      "  - {type: script, name: B, triger: x}\n";
  const auto end = check(text);
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, AllOf(HasSubstr("Nightly"), HasSubstr("weekly at 07:30, day 2"),
                                HasSubstr("absent   Policy  A"), HasSubstr("2 resources")));
  EXPECT_THAT(end.error, HasSubstr("Line 6: triger is no key of a resource of the type script"));
  const auto json = command("check", {write(text), "--json"});
  const auto resources = named("resource", json);
  ASSERT_EQ(resources.size(), 2U);
  EXPECT_EQ(member(resources[0], "type"), "policy");
  EXPECT_EQ(member(resources[0], "state"), "absent");
  const auto last = jsonLines(json.output).back();
  EXPECT_EQ(member(last, "name"), "Nightly");
  EXPECT_EQ(member(*last.find("schedule"), "recurrence"), "weekly");
}

TEST_F(PlaybookCommands, StandardInputIsAFileToo) {
  const auto end = run({"playbook", "check", "-"}, "name: P\nresources: []\n");
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("0 resources"));
}

TEST_F(PlaybookCommands, DocumentsThatAreNoneEndWithStatus2AndThePlace) {
  const std::vector<std::pair<std::string, std::string>> bad{
      {"name: P\nresources:\n\t- a\n", "line 3"},
      {"name: P\nname: Q\nresources: []\n", "name"},
      {"name: P\nresources: []\n---\nname: Q\nresources: []\n", ""},
      {"name: P\n", "resources"},
      {"name: P\nresources:\n  - {type: printer, name: A}\n", "resources.Index 0"},
      {"name: P\nresources:\n  - {type: script}\n", "name"},
      {"", "Invalid playbook YAML"},
      {"\xff\xfe", "Invalid playbook YAML"}};
  for (const auto& [text, place] : bad) {
    const auto end = check(text);
    EXPECT_EQ(end.status, 2) << text;
    EXPECT_THAT(end.error, AllOf(HasSubstr("orvik: Invalid playbook YAML: "), HasSubstr(place))) << text;
    EXPECT_EQ(end.output, "");
  }
  const auto json = command("check", {write("a"), "--json"});
  EXPECT_EQ(member(jsonLines(json.output).back(), "exit"), "2");
  EXPECT_EQ(check("\xef\xbb\xbfname: P\nresources: []\n").status, 0) << "a byte order mark";
  EXPECT_EQ(command("check", {file("none.yaml")}).status, 10);
}

TEST_F(PlaybookCommands, NextTellsTheNextRunInTheZoneOfTheMachine) {
  const auto text = "name: P\nschedule: {recurrence: daily, time: '07:30'}\nresources: []\n";
  auto with = start({"playbook", "next", write(text), "--after", "2026-01-15T06:30:00Z", "--json"});
  with.environment["TZ"] = "Europe/Berlin";
  auto last = jsonLines(runToEnd(with).output).back();
  EXPECT_EQ(member(last, "nextRunDate"), "2026-01-16T06:30:00Z") << "equal is not later";
  EXPECT_EQ(member(last, "zone"), "Europe/Berlin");
  const auto none = command("next", {write("name: P\nresources: []\n")});
  EXPECT_EQ(none.status, 0);
  EXPECT_THAT(none.output, HasSubstr("no next run: the playbook has no schedule"));
  const auto past = "name: P\nschedule: {recurrence: once, time: '07:30', date: 2020-01-01}\nresources: []\n";
  EXPECT_THAT(command("next", {write(past)}).output, HasSubstr("never comes due"));
  EXPECT_EQ(member(jsonLines(command("next", {write(past), "--json"}).output).back(), "nextRunDate"), "null");
  EXPECT_EQ(command("next", {write(text), "--after", "soon"}).status, 2);
}

TEST_F(PlaybookCommands, PlanWritesNothingAndEndsWith6WhenChangesArePending) {
  const auto p =
      playbook(std::string(newScript) +
               "  - {type: package, name: Pack, fileName: a.pkg, priority: 5, categoryName: Fresh}\n"
               "  - {type: policy, name: Not there, state: absent}\n");
  const auto end = onSchool("plan", p);
  EXPECT_EQ(end.status, 6) << end.error;
  EXPECT_THAT(end.output,
              AllOf(HasSubstr("create     Script   New"), HasSubstr("create     Package  Pack"),
                    HasSubstr("unchanged  Policy   Not there"), HasSubstr("2 to create, 1 unchanged")));
  EXPECT_THAT(writes(), IsEmpty());
}

TEST_F(PlaybookCommands, PlanShowsTheFieldsThatDiffer) {
  ASSERT_EQ(onSchool("apply", playbook(newScript), {"--yes"}).status, 0);
  const auto p =
      playbook("  - {type: script, name: New, priority: AFTER, notes: n, scriptContents: other}\n");
  const auto end = onSchool("plan", p);
  EXPECT_EQ(end.status, 6);
  EXPECT_THAT(end.output,
              AllOf(HasSubstr("notes: (none) -> \"n\""), HasSubstr("scriptContents: \"echo\" -> \"other\"")));
  const auto lines = named("planned", onSchool("plan", p, {"--json"}));
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(member(lines[0], "action"), "update");
  EXPECT_EQ(
      member(lines[0], "differences"),
      R"([{"declared":"n","field":"notes"},{"declared":"other","field":"scriptContents","onServer":"echo"}])");
}

TEST_F(PlaybookCommands, AppliedTwiceItIsUnchanged) {
  const auto p = playbook(newScript);
  const auto first = onSchool("apply", p, {"--yes"});
  EXPECT_EQ(first.status, 0) << first.error;
  EXPECT_THAT(first.output, AllOf(HasSubstr("created    Script  New"), HasSubstr("1 created")));
  EXPECT_EQ(onSchool("plan", p).status, 0);
  server.log().clear();
  const auto second = onSchool("apply", p, {"--yes", "--json"});
  EXPECT_EQ(second.status, 0);
  EXPECT_EQ(member(jsonLines(second.output).back(), "applied"), "false");
  EXPECT_EQ(member(jsonLines(second.output).back(), "unchanged"), "1");
  EXPECT_THAT(writes(), IsEmpty());
}

TEST_F(PlaybookCommands, ApplyTellsOfEachResourceAsAJSONLine) {
  const auto end = onSchool(
      "apply", playbook(std::string(newScript) + "  - {type: policy, name: A, frequency: Ongoing}\n"),
      {"--yes", "--json"});
  EXPECT_EQ(end.status, 0) << end.error;
  const auto lines = named("applied", end);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(member(lines[1], "typeLabel"), "Policy");
  EXPECT_EQ(member(lines[1], "name"), "A");
  EXPECT_EQ(member(lines[1], "outcome"), "created");
  EXPECT_EQ(member(jsonLines(end.output).back(), "summary"), "2 created");
}

TEST_F(PlaybookCommands, AFailedResourceEndsWithStatus1AndDoesNotStopTheNext) {
  sample::FaultRule rule;
  rule.path = "api/v1/scripts";
  rule.method = "POST";
  rule.action = sample::FaultAnswer{.status = 400};
  server.faults().add(rule);
  const auto p = playbook(std::string(newScript) + "  - {type: policy, name: A, frequency: Ongoing}\n");
  const auto end = onSchool("apply", p, {"--yes"});
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.output, AllOf(HasSubstr("failed     Script  New: "), HasSubstr("created    Policy  A"),
                                HasSubstr("1 created, 1 failed")));
}

TEST_F(PlaybookCommands, AResourceThatCannotBeComparedEndsThePlanWithStatus1) {
  server.refuseSection("scripts", 403);
  const auto end = onSchool("plan", playbook(newScript));
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.output, AllOf(HasSubstr("failed  Script  New"), HasSubstr("403"), HasSubstr("1 failed")));
}

TEST_F(PlaybookCommands, ApplyNeedsYesWithoutATerminalAndAsksAtOne) {
  const auto p = playbook(newScript);
  server.log().clear();
  const auto end = onSchool("apply", p);
  EXPECT_EQ(end.status, 2);
  EXPECT_THAT(end.error, HasSubstr("--yes is needed to apply a playbook"));
  EXPECT_THAT(server.log().entries(), IsEmpty());
  EXPECT_EQ(answering(p, "n").status, 1);
  EXPECT_THAT(writes(), IsEmpty());
  EXPECT_EQ(answering(p, "y").status, 0);
  EXPECT_THAT(writes(), ElementsAre("POST api/v1/scripts"));
}

TEST_F(PlaybookCommands, ASavedPlanIsCarriedOutAndThenDrifted) {
  const auto p = playbook(newScript);
  const auto plan = file("plan.json");
  EXPECT_EQ(onSchool("plan", p, {"--out", plan}).status, 6);
  EXPECT_EQ(onSchool("apply", p, {"--plan", plan, "--yes"}).status, 0);
  server.log().clear();
  const auto again = onSchool("apply", p, {"--plan", plan, "--yes"});
  EXPECT_EQ(again.status, 1);
  EXPECT_THAT(again.error, HasSubstr("Script \"New\" (create was planned, now unchanged)"));
  playbook("  - {type: script, name: Other}\n");
  const auto other = onSchool("apply", p, {"--plan", plan, "--yes"});
  EXPECT_EQ(other.status, 1);
  EXPECT_THAT(other.error, HasSubstr("The playbook P has changed"));
  add("Second");
  EXPECT_THAT(command("apply", {p, "--org", "Second", "--plan", plan, "--yes"}).error,
              HasSubstr("for the organization School, not for Second"));
  EXPECT_THAT(writes(), IsEmpty());
  EXPECT_EQ(onSchool("apply", p, {"--plan", p, "--yes"}).status, 2) << "no plan";
}

TEST_F(PlaybookCommands, AnUnknownOrganizationIsNotFoundAndTheKnownAreListed) {
  const auto end = command("plan", {playbook(newScript), "--org", "Schule"});
  EXPECT_EQ(end.status, 10);
  EXPECT_THAT(end.error, AllOf(HasSubstr("Schule"), HasSubstr("There are: School")));
  EXPECT_EQ(command("plan", {playbook(newScript)}).status, 2);
}

TEST_F(PlaybookCommands, AStopInTheMiddleEndsWith130AndTellsHowFarItCame) {
  server.faults().add({.path = "JSSResource/policies*", .after = 1, .action = sample::FaultHang{}});
  const auto p = playbook(std::string(newScript) + "  - {type: policy, name: A, frequency: Ongoing}\n");
  test::RunningProgram running(start({"playbook", "apply", p, "--org", "School", "--yes"}));
  EXPECT_TRUE(running.waitFor("created    Script  New"));
  running.send(SIGINT);
  const auto end = running.wait();
  EXPECT_EQ(end.status, 130);
  EXPECT_THAT(end.error, HasSubstr("Stopped after 1 of 2 resources"));
  EXPECT_THAT(writes(), ElementsAre("POST api/v1/scripts"));
}

TEST_F(PlaybookCommands, FetchListsAndFetches) {
  support::ScriptedServer* self = nullptr;
  support::ScriptedServer github([&](support::ScriptedServer::Exchange& exchange) {
    const auto target = exchange.request.target();
    if (target == "/a.yaml") return exchange.send(support::answer(200, "name: \x1b[2JP\nresources: []\n"));
    exchange.send(
        support::answer(200, R"([{"name":"a.yaml","path":"a.yaml","type":"file","download_url":"http://)" +
                                 self->address() + R"(/a.yaml"}])"));
  });
  self = &github;
  const Arguments from{"acme/books", "--api-url", "http://" + github.address() + "/"};
  const auto with = [&](Arguments more) {
    more.insert(more.begin(), from.begin(), from.end());
    return command("fetch", more);
  };
  EXPECT_EQ(with({}).output, "a.yaml\n");
  EXPECT_EQ(member(named("playbook", with({"--json"})).at(0), "path"), "a.yaml");
  EXPECT_EQ(with({"a.yaml"}).output, "name: \x1b[2JP\nresources: []\n") << "a pipe gets it as it is";
  auto atTerminal = start({"playbook", "fetch", from[0], "a.yaml", from[1], from[2]});
  atTerminal.output = test::ProgramStart::Output::terminal;
  const auto shown = runToEnd(atTerminal).output;
  EXPECT_THAT(shown, AllOf(HasSubstr("name: ␛[2JP"), Not(HasSubstr("\x1b[2J"))));
  EXPECT_EQ(with({"a.yaml", "--out", file("f.yaml")}).status, 0);
  EXPECT_EQ(files::read(file("f.yaml")), "name: \x1b[2JP\nresources: []\n");
  const auto none = with({"b.yaml"});
  EXPECT_EQ(none.status, 10);
  EXPECT_THAT(none.error, HasSubstr("There are: a.yaml."));
  EXPECT_EQ(with({"--out", file("f.yaml")}).status, 2);
  EXPECT_EQ(command("fetch", {"acme"}).status, 2);
  EXPECT_EQ(command("fetch", {"a/b/c"}).status, 2);
}

TEST_F(PlaybookCommands, EachHasHelpWithAnExample) {
  for (const std::string each : {"check", "next", "plan", "apply", "fetch", "from-backup"}) {
    const auto end = command(each, {"--help"});
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(end.output, HasSubstr("orvik playbook " + each)) << each;
  }
  EXPECT_EQ(run({"playbook"}).status, 2);
}

}  // namespace
}  // namespace orvik
