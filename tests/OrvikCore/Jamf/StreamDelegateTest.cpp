#include "OrvikCore/Jamf/StreamDelegate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "tests/Support/FileServing.h"

namespace orvik {
namespace {

using support::ScriptedServer;
using Exchange = ScriptedServer::Exchange;

platform::HTTPRequest requestOf(const ScriptedServer& server) {
  platform::HTTPRequest request;
  request.url = server.url();
  return request;
}

TEST(StreamDelegate, TheResponseComesFirstThenTheDataThenTheEnd) {
  ScriptedServer server(ScriptedServer::always(support::answer(200, "some bytes", "X-A: b\r\n")));
  platform::HTTPSession session;
  const auto delegate = std::make_shared<StreamDelegate>();
  const auto transfer = session.stream(requestOf(server), delegate);
  const auto first = delegate->events.next({});
  ASSERT_TRUE(first && std::holds_alternative<StreamDelegate::Response>(*first));
  EXPECT_EQ(std::get<StreamDelegate::Response>(*first).head.header("X-A"), "b");
  platform::Bytes body;
  while (const auto event = delegate->events.next({})) body += std::get<StreamDelegate::Data>(*event).chunk;
  EXPECT_EQ(body, "some bytes");
}

TEST(StreamDelegate, TheStreamEndsWithTheTransfersError) {
  ScriptedServer server([](Exchange& exchange) { exchange.close(); });
  platform::HTTPSession session;
  const auto delegate = std::make_shared<StreamDelegate>();
  const auto transfer = session.stream(requestOf(server), delegate);
  EXPECT_THROW(delegate->events.next({}), platform::HTTPError);
}

TEST(StreamDelegate, AReaderSlowerThanTheNetworkHoldsItBackWithinTheBound) {
  const std::string body = support::fileOf(64 << 20);
  std::atomic<bool> isSent = false;
  ScriptedServer server([&](Exchange& exchange) {
    exchange.send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n");
    exchange.send(body);
    isSent = true;
  });
  platform::HTTPSession session;
  const auto delegate = std::make_shared<StreamDelegate>();
  const auto transfer = session.stream(requestOf(server), delegate);
  constexpr std::size_t full = StreamDelegate::mostWaiting - (256 << 10);
  while (delegate->events.highestLoad() < full) std::this_thread::yield();
  EXPECT_FALSE(isSent) << "nobody reads, and the server got rid of everything";

  std::size_t position = 0;
  while (const auto event = delegate->events.next({})) {
    const auto* data = std::get_if<StreamDelegate::Data>(&*event);
    if (!data) continue;
    ASSERT_TRUE(body.compare(position, data->chunk.size(), data->chunk) == 0);
    position += data->chunk.size();
  }
  EXPECT_EQ(position, body.size());
  EXPECT_LE(delegate->events.highestLoad(), StreamDelegate::mostWaiting);
}

TEST(StreamDelegate, ASessionEndsThoughNobodyReadsOnceTheStreamIsClosed) {
  ScriptedServer server([](Exchange& exchange) {
    exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 100000000\r\n\r\n");
    exchange.send(std::string(100'000'000, 'x'));
  });
  const auto delegate = std::make_shared<StreamDelegate>();
  {
    platform::HTTPSession session;
    const auto transfer = session.stream(requestOf(server), delegate);
    while (delegate->events.highestLoad() == 0) std::this_thread::yield();
    delegate->events.close();
  }
  EXPECT_EQ(delegate->events.next({}), std::nullopt);
}

}  // namespace
}  // namespace orvik
