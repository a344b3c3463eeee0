#include "OrvikCore/Explore/BackedUpPoints.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OrvikCore/Explore/ObjectExporter.h"
#include "OrvikCore/Jamf/PackageDownload.h"
#include "tests/Support/ServerRun.h"
#include "tests/Support/StoredBackups.h"

namespace orvik {
namespace {

using Points = std::vector<DistributionPoint>;

std::string point(const std::string& name, const std::string& url, bool isAnonymous = true) {
  return R"({"distribution_point":{"name":")" + name + R"(","http_downloads_enabled":true,"http_url":")" +
         url + R"(","no_authentication_required":)" + (isAnonymous ? "true" : "false") + "}}";
}

struct BackedUpPointsTest : testing::Test, test::StoredBackups {};

TEST_F(BackedUpPointsTest, AnonymousSharesComeInTheOrderOfTheSection) {
  auto broken = item("3", "Broken", {{"classic", "no JSON"}});
  auto missing = item("4", "Missing");
  missing.objects["classic"] = std::string(64, '0');
  const auto reader =
      publish(first, {section("distributionPoints",
                              {item("1", "Z", {{"classic", point("Z", "http://z.example/a/")}}), broken,
                               missing, item("5", "Other", {{"pro", point("Pro", "http://p")}}),
                               item("6", "Closed", {{"classic", point("C", "http://c", false)}}),
                               item("2", "A", {{"classic", point("A", "https://a.example")}})})});
  EXPECT_EQ(backedUpPoints(reader), (Points{{"Z", "http://z.example/a"}, {"A", "https://a.example"}}));
}

TEST_F(BackedUpPointsTest, ABackupWithoutTheSectionHasNone) {
  EXPECT_EQ(backedUpPoints(publish(first, {})), Points{});
}

/// A backup without files, then one of its packages straight from the server that it names.
TEST(BackedUpPointsServerTest, APackageThatTheBackupLacksIsFetchedFromItsShare) {
  test::ServerRun run;
  run.server.addPackage({.fileName = "Only Share.pkg", .size = 200'000, .onCloud = false, .onShare = true});
  auto job = run.job();
  job.options.downloadFiles = false;
  const auto manifest = BackupEngine(job).run(ResumeInterrupted::yes, {}, {});
  const BackupReader reader(run.repository(), manifest.backupID);

  std::optional<ObjectExport::NotInBackup> missing;
  for (const auto& entry : reader.entries("packages")) {
    const auto object = ObjectExporter::packageFile(entry, reader);
    const auto* lacking = object ? std::get_if<ObjectExport::NotInBackup>(&object->content) : nullptr;
    if (lacking && lacking->fileName == "Only Share.pkg") missing = *lacking;
  }
  ASSERT_TRUE(missing);

  const auto to = run.folder / "fetched.pkg";
  const auto client = run.client();
  const auto digests =
      PackageDownload::fetch(missing->fileName, *client, backedUpPoints(reader), std::nullopt, to, {});
  EXPECT_EQ(digests.sha256, run.server.packageSHA256("Only Share.pkg"));
  EXPECT_EQ(ObjectStore::sha256(platform::files::read(to)), digests.sha256);
}

}  // namespace
}  // namespace orvik
