#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <string>
#include <thread>

#include "OrvikCore/Store/AuditLog.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"
#include "tests/Support/ServerRun.h"
#include "tests/Support/SmallBackups.h"

// Devices and package files of a whole server, over real sockets.

namespace orvik {
namespace {

namespace files = platform::files;
using test::ServerRun;
using testing::HasSubstr;
using Status = FileRef::Status;

struct WholeServer : testing::Test, ServerRun {
  std::set<std::string> only;
  bool classic = false;
  std::vector<std::string> notes;

  BackupManifest back(const std::stop_token& stop = {}) {
    auto made = job();
    made.options.includeClassicDeviceRecords = classic;
    if (!only.empty())
      for (const auto& row : SectionCatalog::all())
        if (!only.contains(std::string(row.id))) made.options.disabledSections.insert(std::string(row.id));
    return BackupEngine(made).run(
        ResumeInterrupted::yes,
        [this](const BackupEvent& event) {
          if (const auto* note = std::get_if<BackupEvents::Note>(&event)) notes.push_back(note->text);
        },
        stop);
  }
  SectionIndex index(const BackupManifest& manifest, const std::string& section) const {
    return repository().index(manifest.backupID, section).value();
  }
  SectionSummary summary(const BackupManifest& manifest, const std::string& section) const {
    return *std::ranges::find(manifest.sections, section, &SectionSummary::id);
  }
  std::map<std::string, FileRef> filesOf(const BackupManifest& manifest) const {
    std::map<std::string, FileRef> all;
    for (const auto& item : index(manifest, "packageFiles").items) all.emplace(item.id, item.file.value());
    return all;
  }
  std::size_t requestsBelow(const std::string& prefix) {
    const auto entries = server.log().entries();
    return static_cast<std::size_t>(
        std::ranges::count_if(entries, [&](const auto& entry) { return entry.path.starts_with(prefix); }));
  }
};

const std::set<std::string> fileSections{"packages", "jcdsFiles", "distributionPoints", "packageFiles"};

TEST_F(WholeServer, EveryFileIsKeptAsItsSourceHasIt) {
  only = fileSections;
  const auto manifest = back();
  const auto kept = filesOf(manifest);
  int verified = 0, wrong = 0, unknown = 0;
  for (const auto& each : server.packageFiles()) {
    ASSERT_TRUE(kept.contains(each.fileName)) << each.fileName;
    const auto& file = kept.at(each.fileName);
    if (!each.onCloud && !each.onShare) {
      EXPECT_EQ(file.status, Status::failed) << each.fileName;
      continue;
    }
    if (each.fileName.find('/') != std::string::npos && !each.onShare) continue;
    EXPECT_EQ(file.status, Status::downloaded) << each.fileName << ": " << file.message.value_or("");
    EXPECT_EQ(file.sha256, server.packageSHA256(each.fileName)) << each.fileName;
    EXPECT_EQ(file.size, each.size);
    verified += file.jamfHashVerified == true;
    wrong += file.jamfHashVerified == false;
    unknown += !file.jamfHashVerified.has_value();
  }
  EXPECT_EQ(kept.size(), server.packageFiles().size());
  EXPECT_GE(verified, 3);
  EXPECT_EQ(wrong, 1);
  EXPECT_GE(unknown, 2);
  EXPECT_EQ(test::problemsOf(repository(), manifest.backupID), 0u);
}

TEST_F(WholeServer, NoTokenGoesToTheHostsOfFiles) {
  only = fileSections;
  server.log().setDetail(sample::LogDetail::all);
  back();
  std::size_t downloads = 0;
  for (const auto& entry : server.log().entries())
    if (entry.path.starts_with("cdn/") || entry.path.starts_with("JamfShare/")) {
      EXPECT_FALSE(entry.authorized) << entry.path;
      ++downloads;
    }
  EXPECT_GT(downloads, 10u);
}

TEST_F(WholeServer, AFileThatChangedOnTheServerIsFetchedAgainAndNoOther) {
  only = fileSections;
  back();
  const auto name = server.packageFiles().front().fileName;
  ASSERT_TRUE(server.changePackageFile(name));
  server.log().setDetail(sample::LogDetail::all);
  server.log().clear();
  const auto second = back();
  EXPECT_EQ(filesOf(second).at(name).sha256, server.packageSHA256(name));
  EXPECT_EQ(second.totals.filesDownloaded, 1);
  EXPECT_EQ(requestsBelow("cdn/"), 1u);
  EXPECT_EQ(summary(second, "packageFiles").counts.changed, 1);
}

TEST_F(WholeServer, SignedURLsThatRunOutInTheMiddleAreRenewed) {
  only = fileSections;
  std::atomic<bool> once = false;
  server.setRequestHook([&](std::uint64_t) {
    if (requestsBelow("api/v1/jcds/files/") == 3 && !once.exchange(true)) server.expirePresignedURLs();
  });
  server.log().setDetail(sample::LogDetail::all);
  const auto manifest = back();
  server.setRequestHook({});
  for (const auto& [name, file] : filesOf(manifest))
    EXPECT_NE(file.message.value_or(""), "Download failed with HTTP 403");
}

TEST_F(WholeServer, ACancelledDownloadGoesOnInTheNextRun) {
  only = fileSections;
  server.addPackage({.fileName = "large.pkg", .size = 3'000'000});
  server.setDownloadRate(6'000'000);
  std::stop_source stop;
  const auto part = repository().store().downloadsDirectory() /
                    (ObjectStore::sha256("large.pkg") + std::string(BackupFormat::partSuffix));
  std::jthread watcher([&](const std::stop_token& end) {
    while (!end.stop_requested() && files::size(part).value_or(0) < 500'000)
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    stop.request_stop();
  });
  EXPECT_THROW(back(stop.get_token()), platform::CancellationError);
  const auto left = files::size(part).value_or(0);
  EXPECT_GE(left, 500'000);
  EXPECT_FALSE(files::exists(repository().instanceDirectory / BackupFormat::lockFile));

  server.setDownloadRate(0);
  server.log().setDetail(sample::LogDetail::all);
  server.log().clear();
  const auto manifest = back();
  EXPECT_EQ(filesOf(manifest).at("large.pkg").sha256, server.packageSHA256("large.pkg"));
  std::vector<std::string> ranges;
  for (const auto& entry : server.log().entries())
    if (entry.path == "cdn/large.pkg") ranges.push_back(entry.range);
  EXPECT_THAT(ranges, testing::ElementsAre("bytes=" + std::to_string(left) + "-"));
}

TEST_F(WholeServer, DevicesUnchangedSinceTheParentCostListPagesAlone) {
  only = {"computers", "mobileDevices"};
  const auto first = back();
  const auto devices = server.ids("computers").size() + server.ids("mobileDevices").size();
  EXPECT_EQ(static_cast<std::size_t>(first.totals.objects), devices);
  server.log().setDetail(sample::LogDetail::all);
  server.log().clear();
  const auto second = back();
  EXPECT_EQ(second.totals.newOrChangedObjects, 0);
  EXPECT_EQ(requestsBelow("api/v1/computers-inventory-detail"), 0u);
  for (const auto& entry : server.log().entries())
    EXPECT_FALSE(entry.path.ends_with("/detail") && entry.path != "api/v2/mobile-devices/detail")
        << entry.path;

  const auto moved = server.ids("computers")[1];
  ASSERT_TRUE(server.change("computers", moved));
  const auto third = back();
  EXPECT_EQ(requestsBelow("api/v1/computers-inventory-detail"), 1u);
  EXPECT_EQ(summary(third, "computers").counts.changed, 1);
}

TEST_F(WholeServer, WithoutTheDetailListMobileDevicesAreReadFromTheOlderOne) {
  only = {"mobileDevices"};
  server.setMobileDetailList(false);
  const auto first = back();
  EXPECT_EQ(index(first, "mobileDevices").items.size(), server.ids("mobileDevices").size());
  for (const auto& item : index(first, "mobileDevices").items) {
    EXPECT_TRUE(item.name);
    EXPECT_FALSE(item.marker);
  }
  const auto second = back();
  EXPECT_EQ(second.totals.newOrChangedObjects, 0);
}

TEST_F(WholeServer, ClassicRecordsThatTheRoleMayNotReadSpoilNoDevice) {
  only = {"computers"};
  classic = true;
  server.refuseClassicDevices(403);
  const auto manifest = back();
  EXPECT_EQ(summary(manifest, "computers").status, SectionSummary::Status::complete);
  server.refuseClassicDevices(0);
  const auto second = back();
  for (const auto& item : index(second, "computers").items) EXPECT_TRUE(item.objects.contains("classic"));
}

TEST_F(WholeServer, ASectionThatTheServerRetiredIsRemarkedOn) {
  only = {"buildings", "categories"};
  back();
  ASSERT_TRUE(server.refuseSection("buildings", 404));
  const auto second = back();
  EXPECT_EQ(summary(second, "buildings").status, SectionSummary::Status::notAvailable);
  EXPECT_THAT(
      notes,
      testing::Contains(
          "Section \"Buildings\" was in the last backup and is not available on the server any more."));
}

TEST_F(WholeServer, AnswersThatAreNoJSONAreStoredAndCounted) {
  only = {"buildings"};
  const auto id = server.ids("buildings").front();
  server.faults().add({.path = "JSSResource/buildings/id/" + id,
                       .action = sample::FaultAnswer{.status = 200, .body = "<html>Log in</html>"}});
  const auto manifest = back();
  EXPECT_EQ(manifest.status, BackupManifest::Status::complete);
  const auto item = index(manifest, "buildings").items.front();
  EXPECT_EQ(repository().store().object(item.objects.at("classic")), "<html>Log in</html>");
  EXPECT_THAT(notes, testing::Contains(HasSubstr("Section \"Buildings\": 1 answer was not JSON")));
}

}  // namespace
}  // namespace orvik
