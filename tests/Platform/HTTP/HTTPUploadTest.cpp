#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Platform/Files/Files.h"
#include "Platform/HTTP/HTTPSession.h"
#include "tests/Support/ScriptedServer.h"

namespace platform {
namespace {

using namespace std::chrono_literals;
using support::answer;
using support::ScriptedServer;
using Exchange = ScriptedServer::Exchange;

std::filesystem::path makeFile(const files::TempFolder& folder, std::size_t size) {
  const auto path = folder / "body";
  std::ofstream file(path, std::ios::binary);
  for (std::string block; size > 0; size -= block.size()) {
    block.assign(std::min<std::size_t>(size, 1 << 16), 'p');
    file << block;
  }
  return path;
}

HTTPRequest post(const ScriptedServer& server) {
  HTTPRequest request;
  request.method = "POST";
  request.url = server.url("/upload");
  request.headers = {{"Content-Type", "application/octet-stream"}};
  return request;
}

long peakMemoryKiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

TEST(HTTPUpload, SendsTheFilesBytes) {
  const files::TempFolder folder;
  ScriptedServer server(ScriptedServer::always(answer(201, "made")));
  HTTPSession session;
  const auto response = session.upload(post(server), makeFile(folder, 100'000));
  EXPECT_EQ(response.status, 201);
  EXPECT_EQ(response.body, "made");
  const auto received = server.requests().at(0);
  EXPECT_EQ(received.method(), "POST");
  EXPECT_EQ(received.body, std::string(100'000, 'p'));
  EXPECT_EQ(received.header("Content-Length"), "100000");
  EXPECT_EQ(received.header("Content-Type"), "application/octet-stream");
  EXPECT_EQ(received.header("Expect"), std::nullopt);
}

TEST(HTTPUpload, AnEmptyFileIsAnEmptyBody) {
  const files::TempFolder folder;
  ScriptedServer server(ScriptedServer::always(answer(200)));
  HTTPSession session;
  EXPECT_EQ(session.upload(post(server), makeFile(folder, 0)).status, 200);
  EXPECT_EQ(server.requests().at(0).bodySize, 0u);
}

TEST(HTTPUpload, ABigFileIsStreamedWithProgress) {
  constexpr std::int64_t size = 20 << 20;
  const files::TempFolder folder;
  const auto file = makeFile(folder, size);
  ScriptedServer server(ScriptedServer::always(answer(200)));
  server.dropBodies();
  HTTPSession session;
  std::vector<std::int64_t> reports;
  const long before = peakMemoryKiB();
  session.upload(post(server), file, [&](std::int64_t sent, std::int64_t expected) {
    EXPECT_EQ(expected, size);
    reports.push_back(sent);
  });
  EXPECT_LT(peakMemoryKiB() - before, 10 << 10);
  EXPECT_EQ(server.requests().at(0).bodySize, static_cast<std::size_t>(size));
  ASSERT_GT(reports.size(), 2u);
  EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end()));
  EXPECT_LT(reports.front(), size);
  EXPECT_EQ(reports.back(), size);
}

TEST(HTTPUpload, AnAnswerBeforeTheEndOfTheBodyIsTheAnswer) {
  const files::TempFolder folder;
  ScriptedServer server(ScriptedServer::always(answer(401, "no")));
  HTTPSession session;
  const auto response = session.upload(post(server), makeFile(folder, 3 << 20));
  EXPECT_EQ(response.status, 401);
  EXPECT_EQ(response.body, "no");
}

TEST(HTTPUpload, AMissingFileIsAFileErrorAndNothingIsSent) {
  const files::TempFolder folder;
  ScriptedServer server(ScriptedServer::always(answer(200)));
  HTTPSession session;
  EXPECT_THROW(session.upload(post(server), folder / "missing"), files::FileError);
  EXPECT_THROW(session.upload(post(server), folder.path()), files::FileError);
  EXPECT_EQ(server.requestCount(), 0u);
}

TEST(HTTPUpload, AFileThatShrinksMeanwhileEndsTheTransfer) {
  const files::TempFolder folder;
  const auto file = makeFile(folder, 8 << 20);
  ScriptedServer server(ScriptedServer::always(answer(200)));
  server.dropBodies();
  HTTPSession session;
  try {
    session.upload(post(server), file,
                   [&](std::int64_t, std::int64_t) { std::filesystem::resize_file(file, 100); });
    FAIL() << "an upload of a file that is not there any more";
  } catch (const HTTPError& error) {
    EXPECT_EQ(error.kind(), HTTPErrorKind::other);
    EXPECT_EQ(error.description(), "The file to upload could not be read to its end");
  }
}

TEST(HTTPUpload, AServerThatStopsReadingIsTimedOut) {
  const files::TempFolder folder;
  const auto file = makeFile(folder, 32 << 20);
  TCPListener listener;
  std::unique_ptr<TCPConnection> connection;
  std::jthread lazy([&] {
    connection = listener.accept();
    Bytes head;
    if (connection && connection->read(head)) connection->write("HTTP/1.1 100 Continue\r\n\r\n");
  });
  HTTPSession session;
  HTTPRequest request;
  request.method = "PUT";
  request.url = "http://127.0.0.1:" + std::to_string(listener.port()) + "/";
  request.idleTimeout = 100ms;
  std::int64_t sent = 0;
  try {
    session.upload(request, file, [&](std::int64_t now, std::int64_t) { sent = now; });
    FAIL() << "answered by nobody";
  } catch (const HTTPError& error) {
    EXPECT_EQ(error.kind(), HTTPErrorKind::timedOut) << error.description();
  }
  EXPECT_GT(sent, 0);
  EXPECT_LT(sent, 32 << 20);
}

TEST(HTTPUpload, AStopEndsItAtOnce) {
  const files::TempFolder folder;
  const auto file = makeFile(folder, 100'000);
  ScriptedServer server([](Exchange& exchange) { exchange.hold(); });
  HTTPSession session;
  std::stop_source source;
  std::jthread stopper([&] {
    server.waitForRequests(1);
    source.request_stop();
  });
  try {
    session.upload(post(server), file, {}, source.get_token());
    FAIL() << "answered while held";
  } catch (const HTTPError& error) {
    EXPECT_EQ(error.kind(), HTTPErrorKind::cancelled);
  }
}

}  // namespace
}  // namespace platform
