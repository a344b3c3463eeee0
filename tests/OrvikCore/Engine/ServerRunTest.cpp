#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <thread>

#include "OrvikCore/Format/BackupEngineError.h"
#include "OrvikCore/Store/AuditLog.h"
#include "OrvikCore/Store/BackupVerifier.h"
#include "Platform/Concurrency/Cancellation.h"
#include "tests/Support/ServerRun.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using test::ServerRun;
using Status = SectionSummary::Status;

SectionSummary summaryOf(const BackupManifest& manifest, std::string_view id) {
  for (const auto& summary : manifest.sections)
    if (summary.id == id) return summary;
  return {};
}

std::size_t problemsOf(const ServerRun& run, const BackupManifest& manifest) {
  std::string all;
  const auto result = verifyBackup(run.repository(), {manifest.backupID, manifest},
                                   [&](const std::string& problem) { all += problem + "\n"; });
  EXPECT_EQ(result.problems, 0U) << all;
  return result.problems;
}

TEST(ServerRun, ReadsEverySectionThatTheServerHasWithGetAlone) {
  ServerRun run;
  const auto manifest = run.run();
  for (const auto& summary : manifest.sections) {
    if (summary.status == Status::disabled) continue;
    EXPECT_TRUE(summary.status == Status::complete || summary.status == Status::notAvailable)
        << summary.id << ": " << summary.message.value_or("");
  }
  const auto apart = run.server.ids("computers").size() + run.server.ids("mobileDevices").size() +
                     run.server.packageFiles().size();
  EXPECT_EQ(static_cast<std::size_t>(manifest.totals.objects), run.server.objectCount() + apart);
  EXPECT_EQ(run.server.log().notGet(), 1U) << "the token request alone is no GET";
  EXPECT_LE(run.server.maxInFlight(), 8);
  EXPECT_EQ(problemsOf(run, manifest), 0U);
}

TEST(ServerRun, ASecondRunWithoutChangesFindsEveryObjectUnchanged) {
  ServerRun run;
  const auto first = run.run();
  const auto usage = run.repository().diskUsage();
  const auto second = run.run();
  EXPECT_EQ(second.parentBackupID, first.backupID);
  EXPECT_EQ(second.totals.newOrChangedObjects, 0);
  EXPECT_EQ(second.totals.objects, first.totals.objects);
  EXPECT_LT(run.repository().diskUsage(), 2 * usage);
}

TEST(ServerRun, ChangesOnTheServerShowAsNewChangedAndRemoved) {
  ServerRun run;
  run.run();
  const auto policies = run.server.ids("policies");
  ASSERT_GE(policies.size(), 3U);
  ASSERT_TRUE(run.server.change("policies", policies[0]));
  ASSERT_TRUE(run.server.remove("policies", policies[1]));
  ASSERT_TRUE(run.server.add("policies").has_value());
  const auto counts = summaryOf(run.run(), "policies").counts;
  EXPECT_EQ(counts.changed, 1);
  EXPECT_EQ(counts.removed, 1);
  EXPECT_EQ(counts.new_, 1);
  EXPECT_EQ(static_cast<std::size_t>(counts.total), policies.size());
}

TEST(ServerRun, ATokenThatRunsOutInTheMiddleIsFetchedAgain) {
  ServerRun run;
  run.server.setRequestHook([&](std::uint64_t number) {
    if (number == 50 || number == 120) run.server.revokeTokens();
  });
  const auto manifest = run.run();
  EXPECT_EQ(manifest.status, BackupManifest::Status::complete);
  EXPECT_EQ(problemsOf(run, manifest), 0U);
}

TEST(ServerRun, PassingTroubleIsRepeatedAndLeavesNoTraceButTheAuditLines) {
  ServerRun run;
  run.server.faults().add({"JSSResource/policies/id/*", "GET", 2, 0, sample::FaultRule::tooManyRequests(0)});
  run.server.faults().add({"JSSResource/buildings", "GET", 1, 0, sample::FaultRule::maintenance()});
  run.server.faults().add(
      {"api/v1/scripts", "GET", 1, 0, sample::FaultCut{120, sample::FaultCut::Ending::reset}});
  run.server.faults().add(
      {"JSSResource/sites", "GET", 1, 0, sample::FaultCut{20, sample::FaultCut::Ending::close}});
  const auto manifest = run.run();
  EXPECT_EQ(manifest.status, BackupManifest::Status::complete);
  int repeats = 0;
  for (const auto& entry : AuditLog::read(run.repository().backupDirectory(manifest.backupID)))
    repeats += entry.outcome == "retry";
  EXPECT_EQ(repeats, 5);
}

TEST(ServerRun, LastingTroubleEndsInMessagesAndTheRestIsWhole) {
  ServerRun run;
  const auto policies = run.server.ids("policies");
  run.server.faults().add(
      {"JSSResource/policies/id/" + policies[0], "", {}, 0, sample::FaultRule::maintenance()});
  run.server.faults().add({"JSSResource/buildings", "", {}, 0, sample::FaultGarbage{}});
  run.server.refuseSection("webhooks", 403);
  run.server.refuseSection("printers", 404);
  const auto manifest = run.run();
  EXPECT_EQ(manifest.status, BackupManifest::Status::completeWithWarnings);
  EXPECT_EQ(summaryOf(manifest, "policies").status, Status::partial);
  EXPECT_EQ(summaryOf(manifest, "buildings").status, Status::failed);
  EXPECT_EQ(summaryOf(manifest, "webhooks").status, Status::notPermitted);
  EXPECT_EQ(summaryOf(manifest, "printers").status, Status::notAvailable);
  EXPECT_EQ(problemsOf(run, manifest), 0U);
}

TEST(ServerRun, APagedListWithoutATotalIsReadWhole) {
  sample::SampleOptions options;
  options.size = sample::FleetSize::school;
  ServerRun run(options);
  auto job = run.job();
  for (const auto& row : SectionCatalog::all())
    if (row.id != "scripts") job.options.disabledSections.insert(std::string(row.id));
  run.server.setTotalCount("scripts", false);
  const auto manifest = BackupEngine(job).run(ResumeInterrupted::yes, {});
  EXPECT_EQ(static_cast<std::size_t>(manifest.totals.objects), run.server.ids("scripts").size());
}

TEST(ServerRun, AWrongSecretIsASentenceWithoutTheSecret) {
  ServerRun run;
  auto job = run.job();
  const auto session = std::make_shared<platform::HTTPSession>();
  const auto tokens =
      std::make_shared<jamf::OAuthTokenManager>(run.server.url(), run.server.clientID(), session,
                                                [] { return platform::SecretString("Wr0ng-Secret!"); });
  job.client = std::make_shared<jamf::APIClient>(run.server.url(), tokens, session);
  try {
    BackupEngine(job).run(ResumeInterrupted::yes, {});
    FAIL();
  } catch (const BackupEngineError& error) {
    EXPECT_THAT(error.description(), testing::HasSubstr("Authentication with Jamf Pro failed (401)"));
    EXPECT_THAT(error.description(), testing::Not(testing::HasSubstr("Wr0ng")));
  }
}

TEST(ServerRun, NeitherTokenNorSecretReachesTheFolder) {
  ServerRun run;
  run.run();
  for (const auto& entry : std::filesystem::recursive_directory_iterator(run.folder.path())) {
    if (!entry.is_regular_file()) continue;
    const auto content = platform::files::read(entry.path());
    EXPECT_EQ(content.find(run.server.clientSecret()), std::string::npos) << entry.path();
    EXPECT_EQ(content.find("Bearer "), std::string::npos) << entry.path();
  }
}

TEST(ServerRun, ACancelledRunEndsAtOnceThoughTheServerHangs) {
  ServerRun run;
  run.server.faults().add({"JSSResource/policies/id/*", "", {}, 0, sample::FaultHang{}});
  std::stop_source stop;
  std::jthread run_([&] { EXPECT_THROW(run.run({}, stop.get_token()), platform::CancellationError); });
  const auto policy = "JSSResource/policies/id/" + run.server.ids("policies")[0];
  while (run.server.log().count(policy) == 0) std::this_thread::yield();
  const auto begin = platform::MonotonicClock::now();
  stop.request_stop();
  run_.join();
  EXPECT_LT(platform::MonotonicClock::now() - begin, 1s);
  EXPECT_EQ(run.repository().partialBackupIDs().size(), 1U);
}

}  // namespace
}  // namespace orvik
