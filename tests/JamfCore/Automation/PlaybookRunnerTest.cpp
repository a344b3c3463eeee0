#include "JamfCore/Automation/PlaybookRunner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "JamfCore/Automation/PlaybookYAML.h"
#include "JamfCore/Services/CategoryService.h"
#include "JamfCore/Services/PolicyService.h"
#include "JamfCore/Services/ScriptService.h"
#include "JamfCore/Services/SmartGroupService.h"
#include "Platform/Concurrency/Cancellation.h"
#include "tests/JamfCore/AdministeredServer.h"
#include "tests/Support/LogRecorder.h"

namespace jamf {
namespace {

using Case = ResourceOutcome::Case;
using Action = PlaybookPlan::Action;
using test::AdministeredServer;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr const char* allKinds = R"(
name: All
resources:
  - type: smartGroup
    name: 'A "group"'
    description: d
    criteria:
      - {field: Operating System Version, searchType: is, value: "14", openingParen: true}
      - {field: Model, searchType: like, value: Air, andOr: or, closingParen: true}
  - {type: script, name: A script, priority: AFTER, categoryName: New & own, scriptContents: "#!/bin/sh\nexit 0\n"}
  - {type: policy, name: A/policy, enabled: true, trigger: login, frequency: Ongoing, categoryName: New & own}
  - {type: configurationProfile, name: A profile, level: System, userRemovable: false, payloads: <plist/>}
  - {type: computerExtensionAttribute, name: An attribute, inputType: POPUP, popupMenuChoices: [a, b]}
  - {type: package, name: A package, fileName: a.pkg, priority: 10, categoryName: New & own, suppressEula: true}
)";

Playbook read(const std::string& resources) {
  return PlaybookYAML::decode("name: P\nresources:\n" + resources);
}

std::vector<Case> casesOf(const PlaybookRunResult& result) {
  std::vector<Case> cases;
  for (const auto& entry : result.entries) cases.push_back(entry.outcome.which);
  return cases;
}

Case onlyCase(const PlaybookRunResult& result) {
  EXPECT_EQ(result.entries.size(), 1U);
  EXPECT_EQ(result.entries.at(0).outcome.message, "");
  return result.entries.at(0).outcome.which;
}

TEST(PlaybookRunner, AnEmptyPlaybookSucceedsWithNothing) {
  AdministeredServer site;
  const auto result = PlaybookRunner{site.client}.run({.name = "Empty"}, false);
  EXPECT_THAT(result.entries, IsEmpty());
  EXPECT_TRUE(result.succeeded());
  EXPECT_EQ(result.summary(), "No resources declared");
  EXPECT_LE(result.startedAt, result.finishedAt);
}

TEST(PlaybookRunner, ASecondRunFindsEverythingUnchanged) {
  AdministeredServer site;
  const auto playbook = PlaybookYAML::decode(allKinds);
  const PlaybookRunner runner{site.client};
  const auto first = runner.run(playbook, false);
  EXPECT_EQ(first.summary(), "6 created");
  site.server.log().clear();
  const auto second = runner.run(playbook, false);
  EXPECT_EQ(second.summary(), "6 unchanged") << second.entries[0].outcome.message;
  EXPECT_THAT(site.writes(), IsEmpty());
  EXPECT_FALSE(runner.plan(playbook).hasChanges());
}

TEST(PlaybookRunner, ADryRunReportsWithoutWriting) {
  AdministeredServer site;
  const PlaybookRunner runner{site.client};
  const auto playbook =
      read("- {type: script, name: S}\n- {type: policy, name: P, categoryName: None such}\n");
  EXPECT_THAT(casesOf(runner.run(playbook, true)), ElementsAre(Case::created, Case::created));
  EXPECT_THAT(site.writes(), IsEmpty());
  runner.run(playbook, false);
  site.server.log().clear();
  const auto changed =
      read("- {type: script, name: S, notes: n}\n- {type: policy, name: P, state: absent}\n");
  EXPECT_THAT(casesOf(runner.run(changed, true)), ElementsAre(Case::updated, Case::deleted));
  EXPECT_THAT(site.writes(), IsEmpty());
}

TEST(PlaybookRunner, ADryRunOfAPackageMakesItsCategoryAndAPlanDoesNot) {
  AdministeredServer site;
  const PlaybookRunner runner{site.client};
  const auto playbook =
      read("- {type: package, name: P, fileName: p.pkg, priority: 1, categoryName: Fresh}\n");
  EXPECT_EQ(runner.plan(playbook).entries.at(0).action, Action::create);
  EXPECT_THAT(site.writes(), IsEmpty());
  EXPECT_EQ(onlyCase(runner.run(playbook, true)), Case::created);
  EXPECT_THAT(site.writes(), ElementsAre("POST api/v1/categories"));
}

TEST(PlaybookRunner, AFailureDoesNotStopTheNextResource) {
  AdministeredServer site;
  site.server.refuseSection("scripts", 500);
  const auto result = PlaybookRunner{site.client}.run(
      read("- {type: script, name: S}\n- {type: computerExtensionAttribute, name: A}\n"), false);
  EXPECT_THAT(casesOf(result), ElementsAre(Case::failed, Case::created));
  EXPECT_FALSE(result.succeeded());
  EXPECT_EQ(result.summary(), "1 created, 1 failed");
  EXPECT_THAT(result.entries[0].outcome.message, StartsWith("Jamf Pro API request failed (500)"));
}

TEST(PlaybookRunner, AnAbsentObjectThatTheServerDoesNotKnowIsUnchanged) {
  AdministeredServer site;
  const PlaybookRunner runner{site.client};
  for (const auto* resource :
       {"- {type: smartGroup, name: None such, state: absent}\n",
        "- {type: policy, name: None such, state: absent}\n",
        "- {type: script, name: None such, state: absent}\n",
        "- {type: configurationProfile, name: None such, state: absent}\n",
        "- {type: computerExtensionAttribute, name: None such, state: absent}\n",
        "- {type: package, name: None such, fileName: x, priority: 1, categoryName: Never, state: absent}\n"})
    EXPECT_EQ(onlyCase(runner.run(read(resource), false)), Case::unchanged) << resource;
  EXPECT_THAT(site.writes(), IsEmpty());
  site.server.refuseSection("policies", 500);
  EXPECT_THAT(casesOf(runner.run(read("- {type: policy, name: X, state: absent}\n"), false)),
              ElementsAre(Case::failed));
}

TEST(PlaybookRunner, AnAbsentObjectIsDeleted) {
  AdministeredServer site;
  const PlaybookRunner runner{site.client};
  auto playbook = PlaybookYAML::decode(allKinds);
  runner.run(playbook, false);
  for (auto& resource : playbook.resources)
    std::visit([](auto& record) { record.state = PlaybookResourceState::absent; }, resource.record);
  EXPECT_EQ(runner.run(playbook, false).summary(), "6 deleted");
  EXPECT_EQ(runner.run(playbook, false).summary(), "6 unchanged");
}

TEST(PlaybookRunner, EveryChangeOfAnObjectIsMended) {
  AdministeredServer site;
  const PlaybookRunner runner{site.client};
  const auto playbook = PlaybookYAML::decode(allKinds);
  runner.run(playbook, false);
  const auto changed = PlaybookYAML::decode(R"(
name: All
resources:
  - {type: smartGroup, name: 'A "group"'}
  - {type: script, name: A script, priority: BEFORE}
  - {type: policy, name: A/policy}
  - {type: configurationProfile, name: A profile, level: User}
  - {type: computerExtensionAttribute, name: An attribute}
  - {type: package, name: A package, fileName: other.pkg, priority: 10}
)");
  EXPECT_EQ(runner.run(changed, false).summary(), "6 updated");
  EXPECT_EQ(runner.run(changed, false).summary(), "6 unchanged");
  EXPECT_EQ(runner.run(playbook, false).summary(), "6 updated");
  EXPECT_EQ(runner.run(playbook, false).summary(), "6 unchanged");
}

TEST(PlaybookRunner, TheExactNameCountsWhereTheServerComparesWithoutCase) {
  AdministeredServer site;
  Script other;
  other.name = "a SCRIPT";
  ScriptService{site.client}.create(other);
  const PlaybookRunner runner{site.client};
  EXPECT_EQ(onlyCase(runner.run(read("- {type: script, name: A script, state: absent}\n"), false)),
            Case::unchanged);
}

TEST(PlaybookRunner, AScriptDeclaredWithoutAPriorityDiffersFromOneThatHasIt) {
  AdministeredServer site;
  const PlaybookRunner runner{site.client};
  runner.run(read("- {type: script, name: S, priority: AFTER}\n"), false);
  EXPECT_EQ(onlyCase(runner.run(read("- {type: script, name: S}\n"), true)), Case::updated);
}

TEST(PlaybookRunner, AQuoteInANameIsFoundAgain) {
  AdministeredServer site;
  const PlaybookRunner runner{site.client};
  const auto playbook = read("- {type: smartGroup, name: '12\" \\ wide'}\n");
  EXPECT_EQ(onlyCase(runner.run(playbook, false)), Case::created);
  EXPECT_EQ(onlyCase(runner.run(playbook, false)), Case::unchanged);
}

TEST(PlaybookRunner, AScopeIsNeverTouched) {
  AdministeredServer site;
  const PolicyService policies{site.client};
  PolicyGeneralWrite general;
  general.name = "P";
  const auto id = policies.create(general, ClassicAPIScopeWrite{.allComputers = true});
  const PlaybookRunner runner{site.client};
  EXPECT_EQ(onlyCase(runner.run(read("- {type: policy, name: P, enabled: true}\n"), false)), Case::updated);
  EXPECT_TRUE(policies.get(id).scope->allComputers);
}

TEST(PlaybookRunner, AServerWithoutVersion3IsServedToo) {
  AdministeredServer site;
  site.server.dialect().groupsV3 = false;
  const PlaybookRunner runner{site.client};
  const auto playbook = read("- {type: smartGroup, name: G, description: d}\n");
  EXPECT_EQ(onlyCase(runner.run(playbook, false)), Case::created);
  EXPECT_EQ(onlyCase(runner.run(playbook, false)), Case::unchanged);
}

TEST(PlaybookRunner, AFailureInAnyStepEndsItsResourceAlone) {
  // Each request of the first run fails once; what comes before and after is done all the same.
  const auto playbook = PlaybookYAML::decode(allKinds);
  AdministeredServer clean;
  clean.server.log().clear();
  PlaybookRunner{clean.client}.run(playbook, false);
  const auto requests = clean.server.log().entries();
  ASSERT_GT(requests.size(), 12U);
  for (std::size_t n = 0; n < requests.size(); ++n) {
    if (requests[n].path == "api/oauth/token") continue;
    AdministeredServer site;
    std::size_t before = 0;
    for (std::size_t i = 0; i < n; ++i)
      before += requests[i].path == requests[n].path && requests[i].method == requests[n].method ? 1 : 0;
    sample::FaultRule rule;
    rule.path = requests[n].path;
    rule.method = requests[n].method;
    rule.times = 1;
    rule.after = static_cast<int>(before);
    rule.action = sample::FaultAnswer{500, {}, "broken"};
    site.server.faults().add(rule);
    const auto result = PlaybookRunner{site.client}.run(playbook, false);
    EXPECT_EQ(result.entries.size(), 6U);
    std::size_t failed = 0;
    for (const auto which : casesOf(result)) failed += which == Case::failed ? 1 : 0;
    EXPECT_EQ(failed, 1U) << requests[n].method << " " << requests[n].path << ": " << result.summary();
    EXPECT_THAT(result.summary(), HasSubstr("1 failed"));
    EXPECT_TRUE(PlaybookRunner{site.client}.run(playbook, false).succeeded());
  }
}

TEST(PlaybookRunner, AStopIsNoFailure) {
  AdministeredServer site;
  std::stop_source stop;
  const auto playbook = PlaybookYAML::decode(allKinds);
  std::size_t done = 0;
  EXPECT_THROW(PlaybookRunner{site.client}.run(playbook, false, stop.get_token(),
                                               [&](const auto&) {
                                                 if (++done == 2) stop.request_stop();
                                               }),
               platform::CancellationError);
  EXPECT_EQ(done, 2U);
}

TEST(PlaybookRunner, ARunIsLogged) {
  AdministeredServer site;
  support::LogRecorder log;
  PlaybookRunner{site.client}.run(read("- {type: script, name: S}\n"), false);
  EXPECT_THAT(log.messages("playbook"),
              ElementsAre("playbook \"P\" starting: 1 resources, dryRun=false",
                          "[1/1] Script \"S\": created in #s", "playbook \"P\" finished: 1 resources"));
}

TEST(PlaybookPlan, TellsWhatWouldBeDoneAndWhichFieldsDiffer) {
  AdministeredServer site;
  const PlaybookRunner runner{site.client};
  runner.run(read("- {type: script, name: S, notes: old}\n- {type: policy, name: Gone}\n"), false);
  site.server.log().clear();
  const auto plan = runner.plan(read(
      "- {type: script, name: S, notes: new, priority: BEFORE}\n- {type: policy, name: Gone, state: absent}\n"
      "- {type: smartGroup, name: Fresh}\n"));
  ASSERT_EQ(plan.entries.size(), 3U);
  EXPECT_EQ(plan.entries[0].action, Action::update);
  EXPECT_THAT(plan.entries[0].differences, ElementsAre(FieldDifference{"notes", "old", "new"},
                                                       testing::Field(&FieldDifference::field, "priority")));
  EXPECT_EQ(plan.entries[1].action, Action::delete_);
  EXPECT_EQ(plan.entries[2].action, Action::create);
  EXPECT_TRUE(plan.hasChanges());
  EXPECT_FALSE(plan.hasFailures());
  EXPECT_THAT(site.writes(), IsEmpty());
  const auto text = platform::json::Encoder(platform::json::Rendering::compact).encode(plan);
  EXPECT_EQ(platform::json::Decoder().decode<PlaybookPlan>(text), plan);
}

}  // namespace
}  // namespace jamf
