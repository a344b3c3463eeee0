#include "orvik/Doctor/PrivilegeTicks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace orvik::host {
namespace {

using testing::ElementsAre;
using State = PrivilegeTick::State;
using Result = SectionProbe::Result;
using Privileges = std::vector<std::string>;

SectionProbe probeOf(std::string_view section, Result result) {
  SectionProbe probe;
  probe.section = SectionCatalog::definition(section);
  probe.result = result;
  return probe;
}

PrivilegeTick tickOf(const std::string& privilege, const std::vector<SectionProbe>& probes,
                     const std::optional<Privileges>& told) {
  for (auto& tick : privilegeTicks(probes, told))
    if (tick.privilege == privilege) return tick;
  ADD_FAILURE() << "no tick for " << privilege;
  return {};
}

State stateOf(const std::string& privilege, const std::vector<SectionProbe>& probes,
              const std::optional<Privileges>& told) {
  return tickOf(privilege, probes, told).state;
}

std::vector<std::string_view> sectionsOf(const PrivilegeTick& tick) {
  std::vector<std::string_view> ids;
  for (const auto* section : tick.sections) ids.push_back(section->id);
  return ids;
}

TEST(PrivilegeTicks, EachNeededPrivilegeStandsOnceWithItsSections) {
  const auto ticks = privilegeTicks({}, {});
  for (const auto& tick : ticks) {
    EXPECT_EQ(std::ranges::count(ticks, tick.privilege, &PrivilegeTick::privilege), 1) << tick.privilege;
    EXPECT_TRUE(tick.privilege.starts_with("Read ")) << tick.privilege;
    EXPECT_EQ(tick.privilege.find_first_of(",()/"), std::string::npos) << tick.privilege;
    EXPECT_FALSE(tick.sections.empty());
    EXPECT_EQ(tick.state, State::unknown);
  }
  EXPECT_EQ(ticks.front().privilege, "Read Computers");
}

TEST(PrivilegeTicks, OnePrivilegeMayServeSeveralSectionsAndOneSectionMayNeedSeveral) {
  EXPECT_THAT(sectionsOf(tickOf("Read Computer Check-In", {}, {})),
              ElementsAre("computerCheckIn", "checkInSettings"));
  EXPECT_THAT(sectionsOf(tickOf("Read Jamf Content Distribution Server Files", {}, {})),
              ElementsAre("jcdsFiles", "packageFiles"));
  EXPECT_THAT(sectionsOf(tickOf("Read Smart Computer Groups", {}, {})), ElementsAre("computerGroups"));
  EXPECT_THAT(sectionsOf(tickOf("Read Static Computer Groups", {}, {})), ElementsAre("computerGroups"));
}

TEST(PrivilegeTicks, WhatTheServerTellsCountsInAnyCase) {
  EXPECT_EQ(stateOf("Read Scripts", {}, Privileges{"read scripts"}), State::held);
  EXPECT_EQ(stateOf("Read Scripts", {}, Privileges{"Read Policies"}), State::missing);
  EXPECT_EQ(stateOf("Read Scripts", {}, Privileges{}), State::missing);
}

TEST(PrivilegeTicks, AnAnswerProvesMoreThanWhatIsTold) {
  EXPECT_EQ(stateOf("Read Scripts", {probeOf("scripts", Result::answered)}, Privileges{}), State::held);
  EXPECT_EQ(stateOf("Read Scripts", {probeOf("scripts", Result::notFound)}, Privileges{}), State::missing);
  EXPECT_EQ(stateOf("Read Scripts", {probeOf("scripts", Result::failed)}, Privileges{}), State::missing);
}

TEST(PrivilegeTicks, ASectionThatNeedsSeveralProvesNoneOfThem) {
  EXPECT_EQ(stateOf("Read Static Computer Groups", {probeOf("computerGroups", Result::answered)},
                    Privileges{"Read Smart Computer Groups"}),
            State::missing);
}

TEST(PrivilegeTicks, WithoutAWordOfTheServerAnswersAndRefusalsDecide) {
  EXPECT_EQ(stateOf("Read Scripts", {probeOf("scripts", Result::answered)}, {}), State::held);
  EXPECT_EQ(stateOf("Read Scripts", {probeOf("scripts", Result::notPermitted)}, {}), State::missing);
  EXPECT_EQ(stateOf("Read Scripts", {probeOf("scripts", Result::notFound)}, {}), State::unknown);
  EXPECT_EQ(stateOf("Read Computer Check-In",
                    {probeOf("computerCheckIn", Result::answered),
                     probeOf("checkInSettings", Result::notPermitted)},
                    {}),
            State::missing);
}

TEST(PrivilegeTicks, AHeldPrivilegeStaysHeldWhenItsSectionIsRefused) {
  EXPECT_EQ(stateOf("Read Scripts", {probeOf("scripts", Result::notPermitted)}, Privileges{"Read Scripts"}),
            State::held);
}

}  // namespace
}  // namespace orvik::host
