#include "OrvikCore/Jamf/PackageDownload.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "JamfCore/Networking/APIError.h"
#include "OrvikCore/Jamf/DownloadError.h"
#include "OrvikCore/Jamf/PartRecord.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"
#include "tests/Support/FileRun.h"

namespace orvik {
namespace {

namespace files = platform::files;
using support::ScriptedServer;
using test::ScriptedReader;

struct PackageDownloadTest : testing::Test {
  files::TempFolder folder;
  const files::Path to = folder / "Pages.pkg";
  const files::Path part = folder / ".Pages.pkg.part";
  std::string cloudAnswer;  ///< empty: the cloud doesn't know the file
  std::vector<DistributionPoint> points;
  std::optional<files::Path> mount;
  std::int64_t arrived = 0;

  ScriptedServer host{ScriptedServer::answering([](const support::ReceivedRequest& request) {
    if (request.target() == "/share/Packages/Pages.pkg") return support::answer(200, "from the share");
    if (request.target() != "/cdn/Pages.pkg?Signature=secret") return support::answer(404);
    if (const auto range = request.header("Range"))
      return support::answer(206, std::string("from the cloud").substr(std::stoul(range->substr(6))),
                             "Content-Range: bytes " + range->substr(6) + "13/14\r\n");
    return support::answer(200, "from the cloud");
  })};
  ScriptedReader reader{[this](const ScriptedReader::Call& call, const std::stop_token&) {
    EXPECT_EQ(call.path, "api/v1/jcds/files/Pages.pkg");
    if (cloudAnswer.empty()) throw jamf::APIError::requestFailed(404, {});
    return cloudAnswer;
  }};

  void cloud() { cloudAnswer = "{\"uri\":\"" + host.url("/cdn/Pages.pkg?Signature=secret") + "\"}"; }
  FileHasher::Digests fetch(const std::stop_token& stop = {}) {
    return PackageDownload::fetch(
        "Pages.pkg", reader, points, mount, to, [this](std::int64_t bytes) { arrived += bytes; }, stop);
  }
  std::string refusal() {
    try {
      fetch();
    } catch (const DownloadError& error) {
      EXPECT_EQ(error.kind(), DownloadError::Kind::noSource);
      return error.description();
    }
    return "(fetched)";
  }
};

TEST_F(PackageDownloadTest, TheCloudIsAskedFirst) {
  cloud();
  points.push_back({"Library", host.url("/share")});
  const auto digests = fetch();
  EXPECT_EQ(files::read(to), "from the cloud");
  EXPECT_EQ(digests.sha256, ObjectStore::sha256("from the cloud"));
  EXPECT_EQ(digests.size, 14);
  EXPECT_EQ(arrived, 14);
  EXPECT_EQ(files::list(folder.path()).size(), 1u);
}

TEST_F(PackageDownloadTest, ThenEachShareAndThenTheMount) {
  points = {{"Empty", host.url("/nothing")}, {"Library", host.url("/share")}};
  fetch();
  EXPECT_EQ(files::read(to), "from the share");

  points.clear();
  mount = folder / "mount";
  files::atomicWrite("from the mount", *mount / "Packages" / "Pages.pkg");
  EXPECT_EQ(fetch().md5, test::md5Of("from the mount"));
  EXPECT_EQ(files::read(to), "from the mount");
}

TEST_F(PackageDownloadTest, WhenAllFailEachHasItsLine) {
  points = {{"Empty", host.url("/nothing")}};
  mount = folder / "mount";
  const auto text = refusal();
  EXPECT_THAT(text, testing::StartsWith("cloud distribution point: "));
  EXPECT_THAT(text, testing::HasSubstr("\ndistribution point Empty: File not found on the distribution point "
                                       "(HTTP 404)\nmounted share: File not found"));
  EXPECT_FALSE(files::exists(to));
}

TEST_F(PackageDownloadTest, NoErrorHoldsTheSignedURL) {
  cloudAnswer = R"({"uri":"https://nobody.invalid./cdn?Signature=secret"})";
  const files::Path unwritable = folder / "missing" / "Pages.pkg";
  try {
    PackageDownload::fetch("Pages.pkg", reader, {}, std::nullopt, unwritable, {});
    FAIL();
  } catch (const std::exception& error) {
    EXPECT_THAT(error.what(), testing::Not(testing::HasSubstr("Signature")));
  }
}

TEST_F(PackageDownloadTest, WhatAnEarlierAttemptLeftIsGoneOnFrom) {
  cloud();
  files::atomicWrite("from t", part);
  PartRecord{"jcds", {}, 14}.save(part);
  fetch();
  EXPECT_EQ(files::read(to), "from the cloud");
  EXPECT_EQ(arrived, 8);
}

TEST_F(PackageDownloadTest, ACancellationEndsItWithoutTryingTheNextSource) {
  std::stop_source stop;
  stop.request_stop();
  points = {{"Library", host.url("/share")}};
  EXPECT_THROW(fetch(stop.get_token()), platform::CancellationError);
  EXPECT_EQ(host.requestCount(), 0u);
}

TEST_F(PackageDownloadTest, ANameThatLeavesItsFolderIsNotAskedFor) {
  mount = folder / "mount";
  EXPECT_THROW(PackageDownload::fetch("../secret", reader, {}, mount, to, {}), DownloadError);
  EXPECT_TRUE(reader.calls().empty());
}

}  // namespace
}  // namespace orvik
