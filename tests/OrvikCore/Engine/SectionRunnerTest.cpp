#include "OrvikCore/Engine/SectionRunner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Concurrency/Cancellation.h"
#include "tests/Support/RunFixture.h"

namespace orvik {
namespace {

using test::RunFixture;
using testing::ElementsAre;
using Status = SectionSummary::Status;

std::vector<std::string> idsOf(const SectionIndex& index) {
  std::vector<std::string> ids;
  for (const auto& item : index.items) ids.push_back(item.id);
  return ids;
}

TEST(SectionRunner, AnEmptyListIsACompleteEmptySectionWithOneProgress) {
  RunFixture fixture;
  fixture.bodies.set("JSSResource/policies", R"({"policies":[]})");
  const auto manifest = fixture.run({"policies"});
  const auto summary = RunFixture::summary(manifest, "policies");
  EXPECT_EQ(summary.status, Status::complete);
  EXPECT_EQ(summary.counts, ChangeCounts{});
  EXPECT_EQ(summary.index, "sections/policies.json");
  EXPECT_TRUE(fixture.index(manifest, "policies").items.empty());
  const auto progress = fixture.eventsOf<BackupEvents::SectionProgress>();
  ASSERT_EQ(progress.size(), 1U);
  EXPECT_EQ(progress[0].id, "policies");
  EXPECT_EQ(progress[0].done, 0U);
  EXPECT_EQ(progress[0].total, 0U);
}

TEST(SectionRunner, ItemsKeepTheOrderOfTheListWhateverOrderTheReadsFinishIn) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 60);
  const auto index = fixture.index(fixture.run({"policies"}), "policies");
  std::vector<std::string> expected;
  for (int id = 1; id <= 60; ++id) expected.push_back(std::to_string(id));
  EXPECT_EQ(idsOf(index), expected);
  EXPECT_EQ(index.items[4].name, "policies 5");
  EXPECT_EQ(index.sources, (std::map<std::string, std::string>{{"list", "JSSResource/policies"},
                                                               {"classic", "JSSResource/policies/id/{id}"}}));
  const auto object = fixture.repository().store().object(index.items[4].objects.at("classic"));
  EXPECT_EQ(object, ObjectStore::canonicalJSON(R"({"id":5,"name":"policies 5"})"));
}

TEST(SectionRunner, ProgressComesEvery25ObjectsAndAtTheEnd) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 60);
  fixture.run({"policies"});
  std::vector<std::size_t> done;
  for (const auto& event : fixture.eventsOf<BackupEvents::SectionProgress>()) done.push_back(event.done);
  EXPECT_THAT(done, ElementsAre(0, 25, 50, 60));
}

TEST(SectionRunner, AnObjectDeletedMeanwhileMakesTheSectionPartial) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 3);
  fixture.bodies.fail("JSSResource/policies/id/2", 404);
  const auto manifest = fixture.run({"policies"});
  const auto summary = RunFixture::summary(manifest, "policies");
  EXPECT_EQ(summary.status, Status::partial);
  EXPECT_EQ(summary.message, "1 object(s) could not be read");
  EXPECT_THAT(fixture.index(manifest, "policies").errors,
              ElementsAre(ItemError{"2", "policies 2", "Deleted while the backup ran (HTTP 404)"}));
}

TEST(SectionRunner, A403OnOneObjectStandsInItsErrors) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 1);
  fixture.bodies.fail("JSSResource/policies/id/1", 403);
  EXPECT_THAT(fixture.index(fixture.run({"policies"}), "policies").errors,
              ElementsAre(ItemError{"1", "policies 1", "Not permitted (HTTP 403)"}));
}

TEST(SectionRunner, A403OnTheListNamesThePrivilege) {
  RunFixture fixture;
  fixture.bodies.fail("JSSResource/policies", 403);
  const auto summary = RunFixture::summary(fixture.run({"policies"}), "policies");
  EXPECT_EQ(summary.status, Status::notPermitted);
  EXPECT_EQ(summary.message, "Not permitted (HTTP 403). Add \"Read Policies\" to the API role.");
  EXPECT_EQ(summary.index, std::nullopt);
  EXPECT_EQ(summary.counts, ChangeCounts{});
}

TEST(SectionRunner, A404OnTheListIsNotAvailable) {
  RunFixture fixture;
  const auto summary = RunFixture::summary(fixture.run({"policies"}), "policies");
  EXPECT_EQ(summary.status, Status::notAvailable);
  EXPECT_EQ(summary.message, "Not available on this Jamf Pro version (HTTP 404).");
}

TEST(SectionRunner, GarbageInsteadOfTheListFailsTheSectionWithASentence) {
  RunFixture fixture;
  fixture.bodies.set("JSSResource/policies", "<html>Maintenance</html>");
  const auto summary = RunFixture::summary(fixture.run({"policies"}), "policies");
  EXPECT_EQ(summary.status, Status::failed);
  EXPECT_THAT(summary.message.value_or(""), testing::Not(testing::IsEmpty()));
}

TEST(SectionRunner, GarbageInsteadOfAnObjectIsStoredVerbatim) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 1);
  fixture.bodies.set("JSSResource/policies/id/1", "<policy/>");
  const auto index = fixture.index(fixture.run({"policies"}), "policies");
  EXPECT_EQ(fixture.repository().store().object(index.items.at(0).objects.at("classic")), "<policy/>");
}

TEST(SectionRunner, AHostileIdIsThatObjectsFailureWithoutARequest) {
  RunFixture fixture;
  fixture.bodies.set("JSSResource/policies",
                     R"({"policies":[{"id":"../users"},{"id":".."},{"id":""},{"id":"a/b"},{"id":"a\nb"}]})");
  const auto manifest = fixture.run({"policies"});
  EXPECT_EQ(RunFixture::summary(manifest, "policies").counts.failed, 5);
  EXPECT_EQ(fixture.reader->calls().size(), 3U);  // version, privileges, list
}

TEST(SectionRunner, AnIdWithBlanksOrAnEncodedSlashIsAskedForAsItStands) {
  RunFixture fixture;
  fixture.bodies.set("JSSResource/policies", R"({"policies":[{"id":"a b"},{"id":"%2F"}]})");
  fixture.bodies.set("JSSResource/policies/id/a b", "1");
  fixture.bodies.set("JSSResource/policies/id/%2F", "2");
  EXPECT_THAT(idsOf(fixture.index(fixture.run({"policies"}), "policies")), ElementsAre("a b", "%2F"));
}

TEST(SectionRunner, DuplicateIdsAreEachReadAndKept) {
  RunFixture fixture;
  fixture.bodies.set("JSSResource/policies", R"({"policies":[{"id":1},{"id":1}]})");
  fixture.bodies.set("JSSResource/policies/id/1", R"({"a":1})");
  EXPECT_THAT(idsOf(fixture.index(fixture.run({"policies"}), "policies")), ElementsAre("1", "1"));
}

TEST(SectionRunner, ASingleClassicObjectIsItsSettings) {
  RunFixture fixture;
  fixture.bodies.set("JSSResource/smtpserver", R"({"smtp_server":{"enabled":true}})");
  const auto index = fixture.index(fixture.run({"smtpServer"}), "smtpServer");
  ASSERT_EQ(index.items.size(), 1U);
  EXPECT_EQ(index.items[0].id, "settings");
  EXPECT_EQ(index.items[0].name, "SMTP server");
  EXPECT_TRUE(index.items[0].objects.contains("classic"));
  EXPECT_EQ(index.sources, (std::map<std::string, std::string>{{"classic", "JSSResource/smtpserver"}}));
}

TEST(SectionRunner, AProAnswerThatIsNoListIsItsSettings) {
  RunFixture fixture;
  fixture.bodies.set("api/v3/sso", R"({"ssoEnabled":false,"id":"7"})");
  const auto index = fixture.index(fixture.run({"ssoSettings"}), "ssoSettings");
  ASSERT_EQ(index.items.size(), 1U);
  EXPECT_EQ(index.items[0].id, "settings");
  EXPECT_EQ(index.sources, (std::map<std::string, std::string>{{"pro", "api/v3/sso"}}));
}

TEST(SectionRunner, AProListStoresItsElements) {
  RunFixture fixture;
  fixture.bodies.set("api/v1/scripts",
                     R"({"totalCount":2,"results":[{"id":"6","name":"Set dock"},{"id":"7"}]})");
  const auto index = fixture.index(fixture.run({"scripts"}), "scripts");
  EXPECT_THAT(idsOf(index), ElementsAre("6", "7"));
  EXPECT_EQ(fixture.repository().store().object(index.items[0].objects.at("pro")),
            ObjectStore::canonicalJSON(R"({"id":"6","name":"Set dock"})"));
}

TEST(SectionRunner, AProListWithADetailReadsEachObject) {
  RunFixture fixture;
  fixture.bodies.set("api/blueprints", R"({"totalCount":1,"results":[{"id":"b-1","name":"Base"}]})");
  fixture.bodies.set("api/blueprints/b-1", R"({"id":"b-1","steps":[]})");
  const auto index = fixture.index(fixture.run({"blueprints"}), "blueprints");
  EXPECT_EQ(fixture.repository().store().object(index.items.at(0).objects.at("pro")),
            ObjectStore::canonicalJSON(R"({"id":"b-1","steps":[]})"));
  EXPECT_EQ(index.sources.at("detail"), "api/blueprints/{id}");
}

TEST(SectionRunner, AccountsAreUsersAndGroups) {
  RunFixture fixture;
  fixture.bodies.set("JSSResource/accounts",
                     R"({"accounts":{"users":[{"id":12,"name":"root"}],"groups":[{"id":2}]}})");
  fixture.bodies.set("JSSResource/accounts/userid/12", R"({"account":{}})");
  fixture.bodies.set("JSSResource/accounts/groupid/2", R"({"group":{}})");
  const auto index = fixture.index(fixture.run({"accounts"}), "accounts");
  EXPECT_THAT(idsOf(index), ElementsAre("user:12", "group:2"));
  EXPECT_EQ(index.sources.at("classic"), "JSSResource/accounts/userid|groupid/{id}");
}

TEST(SectionRunner, AStoreThatCannotBeWrittenFailsItsObjectsAndNamesThePlace) {
  RunFixture fixture;
  fixture.bodies.classicSection("policies", "policies", 2);
  platform::files::createDirectories(fixture.root() / "store");
  platform::files::atomicWrite("in the way", fixture.root() / "store" / "objects");
  const auto manifest = fixture.run({"policies"});
  const auto index = fixture.index(manifest, "policies");
  ASSERT_EQ(index.errors.size(), 2U);
  EXPECT_THAT(index.errors[0].message, testing::HasSubstr("store/objects"));
}

TEST(SectionRunner, AStopEndsALongProListThatNeedsNoFurtherRequests) {
  RunFixture fixture;
  std::string list = "[";
  for (int i = 0; i < 400; ++i) list += (i ? "," : "") + ("{\"id\":" + std::to_string(i)) + "}";
  fixture.bodies.set("api/v1/scripts", list + "]");
  auto job = fixture.job({"scripts"});
  job.options.maxConcurrentRequests = 1;
  std::stop_source stop;
  const auto stopAtTheFirstProgress = [&](const BackupEvent& event) {
    const auto* progress = std::get_if<BackupEvents::SectionProgress>(&event);
    if (progress && progress->done > 0) stop.request_stop();
  };
  EXPECT_THROW(BackupEngine(job).run(ResumeInterrupted::yes, stopAtTheFirstProgress, stop.get_token()),
               platform::CancellationError);
  const auto partial = fixture.repository().partialDirectory(fixture.repository().partialBackupIDs().at(0));
  EXPECT_LT(BackupJournal::read(partial).size(), 400U);
}

}  // namespace
}  // namespace orvik
