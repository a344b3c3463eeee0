#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "JamfCore/Networking/APIClient.h"
#include "JamfCore/Networking/MultipartFile.h"
#include "JamfCore/Networking/UploadProgressDelegate.h"
#include "Platform/Files/Files.h"
#include "Platform/UUID.h"
#include "tests/JamfCore/ClientFixture.h"
#include "tests/Support/LogRecorder.h"
#include "tests/Support/ScopedVariable.h"

namespace jamf {
namespace {

using support::answer;
using support::ScriptedServer;
using test::apiError;
using test::ClientFixture;
using testing::ElementsAre;
using Exchange = ClientFixture::Exchange;

struct Made {
  std::int64_t id = 0;
  static constexpr auto fields() { return fieldList(platform::json::field("id", &Made::id)); }
};

/// A temporary folder of the system's own, so that what is left behind can be seen.
class Upload : public testing::Test {
 protected:
  std::filesystem::path source(std::string_view name, std::string_view content) const {
    std::ofstream(source_ / name, std::ios::binary) << content;
    return source_ / name;
  }
  std::vector<std::string> leftBehind() const { return platform::files::list(folder_.path()); }

  platform::files::TempFolder source_;
  platform::files::TempFolder folder_;
  const orvik::test::ScopedVariable temporary_{"TMPDIR", folder_.path().string()};
};

TEST_F(Upload, TheFileArrivesAsOnePart) {
  ClientFixture fixture(ScriptedServer::always(answer(201, "{\"id\":12}")));
  const std::string content("bytes\0\xff\r\n--", 11);
  const auto made =
      fixture.client.uploadFile<Made>("api/v1/packages/5/upload", "file", source("My \"App\".pkg", content));
  EXPECT_EQ(made.id, 12);

  const auto request = fixture.requests().at(0);
  EXPECT_EQ(request.method(), "POST");
  EXPECT_EQ(request.target(), "/api/v1/packages/5/upload");
  EXPECT_EQ(request.header("Authorization"), "Bearer token-000001");
  EXPECT_EQ(request.header("Accept"), "application/json");
  const std::string type = request.header("Content-Type").value_or("");
  const std::string prefix = "multipart/form-data; boundary=";
  ASSERT_TRUE(type.starts_with(prefix + "Boundary-")) << type;
  const std::string boundary = type.substr(prefix.size());
  const auto uuid = platform::UUID::parse(boundary.substr(9));
  ASSERT_TRUE(uuid);
  EXPECT_EQ(uuid->text(), boundary.substr(9));
  EXPECT_EQ(request.body,
            "--" + boundary +
                "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"My \"App\".pkg\"\r\n"
                "Content-Type: application/octet-stream\r\n\r\n" +
                content + "\r\n--" + boundary + "--\r\n");
  EXPECT_THAT(leftBehind(), ElementsAre());
}

TEST_F(Upload, AnEmptyFileIsAnEmptyPart) {
  ClientFixture fixture(ScriptedServer::always(answer(200, "{\"id\":1}")));
  fixture.client.uploadFile<Made>("x", "file", source("empty", ""));
  EXPECT_NE(fixture.requests().at(0).body.find("octet-stream\r\n\r\n\r\n--Boundary-"), std::string::npos);
}

TEST_F(Upload, ABigFileIsStreamedWithProgressAndLittleMemory) {
  constexpr std::size_t size = 64 << 20;
  const auto file = source("big", "");
  {
    std::ofstream stream(file, std::ios::binary);
    const std::string block(1 << 16, 'b');
    for (std::size_t written = 0; written < size; written += block.size()) stream << block;
  }
  ClientFixture fixture(ScriptedServer::always(answer(200, "{\"id\":1}")));
  fixture.server.dropBodies();
  fixture.tokens->validToken();
  rusage before{}, after{};
  getrusage(RUSAGE_SELF, &before);
  std::vector<double> shares;
  fixture.client.uploadFile<Made>("x", "file", file, [&](double share) { shares.push_back(share); });
  getrusage(RUSAGE_SELF, &after);
  EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 32 << 10);  // sanitizers keep shadows of what is touched
  EXPECT_GT(fixture.requests().at(0).bodySize, size);
  ASSERT_GT(shares.size(), 2u);
  EXPECT_TRUE(std::is_sorted(shares.begin(), shares.end()));
  EXPECT_GT(shares.front(), 0.0);
  EXPECT_LT(shares.front(), 1.0);
  EXPECT_EQ(shares.back(), 1.0);
}

TEST_F(Upload, A401FailsAtOnceAndTheTemporaryFileIsGone) {
  ClientFixture fixture(ScriptedServer::always(answer(401, "no")));
  const auto error = apiError([&] { fixture.client.uploadFile<Made>("x", "file", source("a", "b")); });
  ASSERT_TRUE(error.as<APIError::RequestFailed>());
  EXPECT_EQ(error.as<APIError::RequestFailed>()->statusCode, 401);
  EXPECT_EQ(error.as<APIError::RequestFailed>()->message, "no");
  EXPECT_EQ(fixture.requests().size(), 1u);
  EXPECT_EQ(fixture.tokenFetches(), 1u);
  EXPECT_THAT(leftBehind(), ElementsAre());
}

TEST_F(Upload, A429IsAnOrdinaryFailure) {
  ClientFixture fixture(ScriptedServer::always(answer(429, "slow", "Retry-After: 3\r\n")));
  const auto error = apiError([&] { fixture.client.uploadFile<Made>("x", "file", source("a", "b")); });
  ASSERT_TRUE(error.as<APIError::RequestFailed>());
  EXPECT_EQ(error.as<APIError::RequestFailed>()->statusCode, 429);
}

TEST_F(Upload, ACutConnectionIsATransportErrorAndLeavesNothing) {
  ClientFixture fixture([](Exchange& exchange) { exchange.close(); });
  const support::LogRecorder log;
  const auto error = apiError([&] { fixture.client.uploadFile<Made>("up", "file", source("a", "b")); });
  EXPECT_EQ(error.description(), "Network error: The connection to 127.0.0.1 was lost");
  EXPECT_THAT(leftBehind(), ElementsAre());
  EXPECT_THAT(log.messages("networking"),
              ElementsAre("→ UPLOAD up",
                          "✕ UPLOAD up transport error after #s: The connection to 127.0.0.1 was lost"));
}

TEST_F(Upload, AMissingSourceIsAFileErrorAndLeavesNothing) {
  ClientFixture fixture(ScriptedServer::always(answer(200)));
  EXPECT_THROW(fixture.client.uploadFile<Made>("x", "file", source_ / "missing"), platform::files::FileError);
  EXPECT_EQ(fixture.requests().size(), 0u);
  EXPECT_THAT(leftBehind(), ElementsAre());
}

TEST_F(Upload, ATemporaryFileThatCantBeMadeIsATransportError) {
  ClientFixture fixture(ScriptedServer::always(answer(200)));
  const auto file = source("a", "b");
  temporary_.set((folder_ / "missing").string());
  const auto error = apiError([&] { fixture.client.uploadFile<Made>("x", "file", file); });
  EXPECT_EQ(error.description(), "Network error: Could not create temp file for upload");
}

TEST_F(Upload, TheAnswerIsDecodedAndTheLogTellsTheSteps) {
  ClientFixture fixture(ScriptedServer::always(answer(200, "{}")));
  const support::LogRecorder log;
  const auto error = apiError([&] { fixture.client.uploadFile<Made>("up", "file", source("a", "b")); });
  EXPECT_EQ(error.description(), "Failed to decode Jamf Pro API response: id: missing");
  EXPECT_THAT(log.messages("networking"),
              ElementsAre("→ UPLOAD up", "← UPLOAD up 200 in #s",
                          "✕ decode jamf::{anonymous}::Made from up failed: id: missing"));
}

TEST_F(Upload, TheTemporaryFileIsTheOwnersAlone) {
  const MultipartFile file(source("a", "b"), "file", "B");
  EXPECT_EQ(std::filesystem::status(file.path()).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  EXPECT_TRUE(platform::UUID::parse(file.path().filename().string()));
}

TEST(UploadProgressDelegate, AReportWithoutExpectedSizeIsDropped) {
  std::vector<double> shares;
  const UploadProgressDelegate delegate{[&](double share) { shares.push_back(share); }};
  delegate(5, 0);
  delegate(5, -1);
  delegate(1, 4);
  delegate(4, 4);
  EXPECT_THAT(shares, ElementsAre(0.25, 1.0));
}

}  // namespace
}  // namespace jamf
