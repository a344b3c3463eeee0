#include "orvik/Doctor/ServerFindings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvik/Doctor/PrivilegeTicks.h"
#include "tests/Support/JSONLines.h"

namespace orvik::host {
namespace {

using std::chrono::seconds;
using test::member;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Result = SectionProbe::Result;
using Status = Check::Status;

class ServerFindingsTest : public testing::Test {
 protected:
  ServerFindingsTest() {
    found.version = "11.30.1";
    found.tokenLifetime = seconds(1199);
    found.clockDifference = seconds(0);
    found.privileges.emplace();
    for (const auto& tick : privilegeTicks({}, {})) found.privileges->push_back(tick.privilege);
    for (const auto& section : SectionCatalog::all())
      if (section.id != "packageFiles")
        found.probes.push_back({&section, "api/" + std::string(section.id), Result::answered, {}, {}});
  }

  SectionProbe& probe(std::string_view id) {
    for (auto& each : found.probes)
      if (each.section->id == id) return each;
    throw tuv::Error("no such section");
  }
  /// The check of that name; a made-up one when there is none.
  Check check(const std::string& id) const {
    for (auto& each : found.checks())
      if (each.id == id) return each;
    return Check::failed("none", "", "");
  }
  std::vector<std::string> notOK() const {
    std::vector<std::string> ids;
    for (const auto& each : found.checks())
      if (each.status != Status::ok) ids.push_back(each.id);
    return ids;
  }

  ServerFindings found;
};

TEST_F(ServerFindingsTest, AServerWithoutFaultHasGoodChecksAlone) {
  EXPECT_THAT(notOK(), IsEmpty());
  EXPECT_EQ(check("version").text, "The server runs Jamf Pro 11.30.1.");
  EXPECT_EQ(check("token").text, "A token lives 19 min 59 s.");
  EXPECT_EQ(check("sections").text, "77 of 77 sections can be read.");
  EXPECT_THAT(check("privileges").lines, IsEmpty()) << "nothing is left to tick";
}

TEST_F(ServerFindingsTest, ATokenOfAMinuteIsNeverUsedTwice) {
  found.tokenLifetime = seconds(61);
  EXPECT_EQ(check("token").status, Status::ok);
  for (const int life : {60, 1, 0, -5}) {
    found.tokenLifetime = seconds(life);
    EXPECT_EQ(check("token").status, Status::warning) << life;
    EXPECT_THAT(check("token").text, HasSubstr("every request costs a new one"));
    EXPECT_THAT(check("token").advice, HasSubstr("1800 seconds"));
    EXPECT_EQ(member(check("token").details, "seconds"), std::to_string(life));
  }
}

TEST_F(ServerFindingsTest, ClocksMayBeLessThanAMinuteApart) {
  for (const int apart : {59, -59}) {
    found.clockDifference = seconds(apart);
    EXPECT_EQ(check("clock").status, Status::ok) << apart;
  }
  found.clockDifference = seconds(60);
  EXPECT_EQ(check("clock").status, Status::warning);
  EXPECT_THAT(check("clock").text, HasSubstr("1 min 0 s ahead of this machine's"));
  found.clockDifference = seconds(-7200);
  EXPECT_EQ(check("clock").status, Status::warning);
  EXPECT_THAT(check("clock").text, HasSubstr("2 h 0 min behind this machine's"));
  EXPECT_EQ(member(check("clock").details, "differenceSeconds"), "-7200");
  found.clockDifference.reset();
  EXPECT_EQ(check("clock").status, Status::ok);
}

TEST_F(ServerFindingsTest, AMissingPrivilegeNamesWhatItCostsInAListToTick) {
  std::erase(*found.privileges, "Read Scripts");
  probe("scripts").result = Result::notPermitted;
  const auto privileges = check("privileges");
  EXPECT_EQ(privileges.status, Status::warning);
  EXPECT_THAT(privileges.text, HasSubstr("privileges that a backup needs is missing."));
  EXPECT_THAT(privileges.lines, testing::Contains("[ ] Read Scripts, for: Scripts"));
  EXPECT_THAT(privileges.lines, testing::Contains("[x] Read Policies"));
  EXPECT_THAT(member(privileges.details, "privileges"),
              HasSubstr(R"({"held":false,"privilege":"Read Scripts","sections":["scripts"]})"));
  EXPECT_THAT(check("refusals").lines, ElementsAre("Scripts (Read Scripts)"));
}

TEST_F(ServerFindingsTest, PrivilegesThatAllowChangesAreNamed) {
  found.privileges->push_back("Create Scripts");
  EXPECT_THAT(notOK(), ElementsAre("changes"));
  EXPECT_THAT(check("changes").lines, ElementsAre("Create Scripts"));
  EXPECT_EQ(member(check("changes").details, "privileges"), R"(["Create Scripts"])");
  found.privileges.reset();
  EXPECT_THAT(notOK(), ElementsAre("changes")) << "whether it may change something is not known";
}

TEST_F(ServerFindingsTest, PathsThatAreNotThereAreListed) {
  probe("blueprints").result = Result::notFound;
  EXPECT_THAT(notOK(), ElementsAre("paths"));
  EXPECT_THAT(check("paths").lines,
              ElementsAre("Blueprints (declarative device management) (api/blueprints)"));
}

TEST_F(ServerFindingsTest, AnnouncedEndsAreTold) {
  probe("scripts").deprecation = Deprecation{"@1688169599", "Sun, 30 Jun 2030 23:59:59 GMT"};
  EXPECT_THAT(notOK(), ElementsAre("deprecations"));
  EXPECT_THAT(check("deprecations").lines,
              ElementsAre("Scripts (api/scripts), until Sun, 30 Jun 2030 23:59:59 GMT"));
  EXPECT_THAT(member(check("deprecations").details, "sections"), HasSubstr(R"("deprecation":"@1688169599")"));
}

TEST_F(ServerFindingsTest, ASectionThatFailsIsAWarningAndNoneAtAllAFailure) {
  probe("scripts").result = Result::failed;
  probe("scripts").problem = "Network error.";
  EXPECT_THAT(notOK(), ElementsAre("failures"));
  EXPECT_THAT(check("failures").lines, ElementsAre("Scripts: Network error."));
  for (auto& each : found.probes) each.result = Result::notPermitted;
  EXPECT_EQ(check("sections").status, Status::failed);
}

}  // namespace
}  // namespace orvik::host
