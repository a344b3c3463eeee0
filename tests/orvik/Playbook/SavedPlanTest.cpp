#include "orvik/Playbook/SavedPlan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Platform/Files/Files.h"
#include "orvik/ExitStatus.h"

namespace orvik::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using Action = jamf::PlaybookPlan::Action;

SavedPlan plan() {
  SavedPlan plan;
  plan.plannedAt = *platform::parseISO8601("2026-11-22T18:00:00Z");
  plan.organization = "School";
  plan.baseURL = "https://school.example";
  plan.playbook = "P";
  plan.playbookSHA256 = "abc";
  plan.plan.entries = {{"Script", "A", Action::create, {}, {}},
                       {"Policy", "B", Action::update, {{"enabled", "false", "true"}}, {}},
                       {"Policy", "C", Action::failed, {}, "HTTP 500"}};
  return plan;
}

template <class Change>
std::string refusal(const Change& change) {
  auto now = plan();
  change(now);
  try {
    plan().requireSame(now);
  } catch (const tuv::Error& error) {
    return error.description();
  }
  return "";
}

TEST(SavedPlan, ReadsBackAsItWasWritten) {
  const platform::files::TempFolder folder("orvik-plan");
  plan().write(folder / "x/plan.json");
  const auto read = SavedPlan::read(folder / "x/plan.json");
  EXPECT_EQ(read.plannedAt, plan().plannedAt);
  EXPECT_EQ(read.plan, plan().plan);
  read.requireSame(plan());
}

TEST(SavedPlan, WhatIsNoPlanIsRefused) {
  const platform::files::TempFolder folder("orvik-plan");
  const auto file = folder / "plan.json";
  EXPECT_THROW(SavedPlan::read(file), NotFoundError);
  for (const std::string text : {"", "{}", "[]", "name: P", R"({"format":1})"}) {
    platform::files::atomicWrite(text, file);
    EXPECT_THROW(SavedPlan::read(file), UsageError) << text;
  }
  auto newer = plan();
  newer.format = 2;
  newer.write(file);
  EXPECT_THROW(SavedPlan::read(file), UsageError);
}

TEST(SavedPlan, WhatDriftedIsNamed) {
  EXPECT_EQ(refusal([](SavedPlan&) {}), "");
  EXPECT_EQ(refusal([](SavedPlan& now) { now.plannedAt += std::chrono::hours(1); }), "");
  EXPECT_THAT(refusal([](SavedPlan& now) { now.playbookSHA256 = "abd"; }),
              HasSubstr("The playbook P has changed"));
  EXPECT_THAT(refusal([](SavedPlan& now) { now.organization = "Other"; }),
              HasSubstr("for the organization School, not for Other"));
  EXPECT_THAT(refusal([](SavedPlan& now) { now.baseURL = "https://b.example"; }),
              HasSubstr("which is at https://b.example now"));
  EXPECT_THAT(refusal([](SavedPlan& now) { now.plan.entries[0].action = Action::unchanged; }),
              AllOf(HasSubstr("Script \"A\" (create was planned, now unchanged)"), Not(HasSubstr("Policy"))));
  EXPECT_THAT(refusal([](SavedPlan& now) { now.plan.entries[1].differences[0].onServer = "x"; }),
              HasSubstr("Policy \"B\" (differs in another way)"));
  EXPECT_THAT(refusal([](SavedPlan& now) { now.plan.entries.pop_back(); }),
              HasSubstr("does not name the resources"));
}

TEST(SavedPlan, OfManyDriftsAFewAreNamed) {
  SavedPlan before = plan();
  before.plan.entries.assign(100, {"Script", "A", Action::create, {}, {}});
  auto now = before;
  for (auto& each : now.plan.entries) each.action = Action::unchanged;
  try {
    before.requireSame(now);
    FAIL();
  } catch (const tuv::Error& error) {
    EXPECT_THAT(error.description(), HasSubstr("and 95 more"));
    EXPECT_LT(error.description().size(), 1000U);
  }
}

}  // namespace
}  // namespace orvik::host
