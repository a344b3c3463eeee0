#include "Platform/TCP/SocketLoop.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Error.h"
#include "tests/Support/RawSocket.h"

namespace platform {
namespace {

using namespace std::chrono_literals;
using ::test::RawSocket;

/// A server that remembers what it is told.
class Loop : public testing::Test {
 protected:
  void start(SocketLoop::Limits limits = {}) {
    loop_.emplace("test loop",
                  SocketLoop::Events{.received = [this](auto id, auto content) { received(id, content); },
                                     .closed = [this](auto id) { closed(id); }},
                  limits);
    port_ = loop_->listen(0);
  }
  void TearDown() override { loop_.reset(); }

  /// Holds every connection as soon as it sends, on the loop's own thread: a hold that another thread asks
  /// for may come after what the connection sends next.
  void startAndHoldAll(SocketLoop::Limits limits = {}) {
    holdsAll_ = true;
    start(limits);
  }

  /// Waits until a connection has sent that much, and gives it.
  SocketLoop::ID connectionThatSent(const std::string& text) {
    std::unique_lock lock(mutex_);
    SocketLoop::ID found = 0;
    const bool came = changed_.wait_for(lock, 20s, [&] {
      for (const auto& [id, content] : content_)
        if (content == text) found = id;
      return found != 0;
    });
    EXPECT_TRUE(came) << "nobody sent " << text;
    return found;
  }
  bool waitUntilClosed(SocketLoop::ID id) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, 20s, [&] { return closed_.contains(id); });
  }
  std::size_t closedCount() {
    const std::lock_guard lock(mutex_);
    return closed_.size();
  }

  SocketLoop& loop() { return *loop_; }
  std::uint16_t port() const { return port_; }

 private:
  void received(SocketLoop::ID id, std::string_view content) {
    if (holdsAll_) loop_->hold(id);
    const std::lock_guard lock(mutex_);
    content_[id] += content;
    changed_.notify_all();
  }
  void closed(SocketLoop::ID id) {
    const std::lock_guard lock(mutex_);
    EXPECT_TRUE(closed_.insert(id).second) << "closed twice";
    changed_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::map<SocketLoop::ID, std::string> content_;
  std::set<SocketLoop::ID> closed_;
  bool holdsAll_ = false;
  std::optional<SocketLoop> loop_;
  std::uint16_t port_ = 0;
};

TEST_F(Loop, AnAnswerIsFollowedByTheEndOfTheStream) {
  start();
  const RawSocket client(port());
  client.send("ping");
  const auto id = connectionThatSent("ping");
  loop().hold(id);
  loop().answer(id, "pong");
  EXPECT_EQ(client.readToEnd(), "pong");
}

TEST_F(Loop, AnAnswerOfMegabytesArrivesWhole) {
  start();
  const RawSocket client(port());
  client.send("much");
  const auto id = connectionThatSent("much");
  Bytes large;
  for (int i = 0; i < 2'000'000; ++i) large += std::to_string(i);
  loop().hold(id);
  loop().answer(id, large);
  EXPECT_EQ(client.readToEnd(), large);
}

TEST_F(Loop, InputThatNobodyReadsDoesNotEatTheAnswer) {
  start();
  const RawSocket client(port());
  client.send("first");
  const auto id = connectionThatSent("first");
  loop().hold(id);
  std::thread sender([&] {
    const std::string block(1 << 20, 'x');
    for (int i = 0; i < 64 && client.send(block); ++i) {
    }
  });
  loop().answer(id, "refused");
  EXPECT_EQ(client.readToEnd(), "refused");
  client.endSending();
  sender.join();
}

TEST_F(Loop, WhatAHeldConnectionSendsIsNotRead) {
  startAndHoldAll();
  const RawSocket client(port());
  client.send("first");
  const auto id = connectionThatSent("first");
  client.send("second");
  for (const auto* const text : {"third", "fourth"}) {  // which takes the loop past what came before
    const RawSocket other(port());
    other.send(text);
    connectionThatSent(text);
  }
  EXPECT_EQ(connectionThatSent("first"), id);
}

TEST_F(Loop, APeerThatLeavesIsToldOnce) {
  start();
  SocketLoop::ID id = 0;
  {
    const RawSocket client(port());
    client.send("bye");
    id = connectionThatSent("bye");
  }
  EXPECT_TRUE(waitUntilClosed(id));
  loop().answer(id, "too late");
  loop().hold(id);
  loop().close(id);
  const RawSocket client(port());
  client.send("next");
  connectionThatSent("next");
  EXPECT_EQ(closedCount(), 1U);
}

TEST_F(Loop, AResetEndsAHeldConnection) {
  start();
  RawSocket client(port());
  client.send("held");
  const auto id = connectionThatSent("held");
  loop().hold(id);
  client.abort();
  EXPECT_TRUE(waitUntilClosed(id));
}

TEST_F(Loop, APeerWithoutPatienceLeftIsCut) {
  start({.connections = {}, .patience = 50ms});
  const RawSocket slow(port());
  slow.send("half");
  const auto id = connectionThatSent("half");
  EXPECT_EQ(slow.readToEnd(), "");
  EXPECT_TRUE(waitUntilClosed(id));
}

TEST_F(Loop, AHeldConnectionMayTakeItsTime) {
  startAndHoldAll({.connections = {}, .patience = 50ms});
  const RawSocket client(port());
  client.send("work");
  const auto id = connectionThatSent("work");
  const RawSocket slow(port());
  EXPECT_EQ(slow.readToEnd(), "");  // cut after its time, which was the later one
  loop().answer(id, "done");
  EXPECT_EQ(client.readToEnd(), "done");
}

TEST_F(Loop, APeerThatTakesNothingOfItsAnswerIsCut) {
  start({.connections = {}, .patience = 50ms});
  const RawSocket client(port());
  client.send("much");
  const auto id = connectionThatSent("much");
  loop().hold(id);
  loop().answer(id, Bytes(64 << 20, 'x'));
  EXPECT_TRUE(waitUntilClosed(id));
}

TEST_F(Loop, ANewConnectionGetsThePlaceOfTheOneThatHasWaitedLongest) {
  start({.connections = 3, .patience = {}});
  const RawSocket first(port());
  first.send("1");
  connectionThatSent("1");
  const RawSocket held(port());
  held.send("2");
  const auto heldID = connectionThatSent("2");
  loop().hold(heldID);
  const RawSocket third(port());
  third.send("3");
  connectionThatSent("3");
  const RawSocket fourth(port());
  fourth.send("4");
  connectionThatSent("4");
  EXPECT_EQ(first.readToEnd(), "");
  EXPECT_TRUE(third.isQuiet());
  loop().answer(heldID, "kept");
  EXPECT_EQ(held.readToEnd(), "kept");
}

TEST_F(Loop, WhereAllAreHeldANewConnectionWaits) {
  startAndHoldAll({.connections = 2, .patience = {}});
  const RawSocket first(port()), second(port());
  first.send("1");
  second.send("2");
  const auto firstID = connectionThatSent("1");
  connectionThatSent("2");
  const RawSocket third(port());
  third.send("3");
  loop().answer(firstID, "one");
  EXPECT_EQ(first.readToEnd(), "one");
  loop().answer(connectionThatSent("3"), "three");
  EXPECT_EQ(third.readToEnd(), "three");
  EXPECT_TRUE(second.isQuiet());
}

TEST_F(Loop, ThousandsOfHalfOpenConnectionsLeaveRoomForOthers) {
  start({.connections = 64, .patience = 30s});
  std::vector<RawSocket> idle;
  for (int i = 0; i < 800; ++i) idle.emplace_back(port());
  const RawSocket client(port());
  client.send("me");
  const auto id = connectionThatSent("me");
  loop().answer(id, "you");
  EXPECT_EQ(client.readToEnd(), "you");
}

TEST_F(Loop, WithGraceClientsThatComeAtOnceAreAllServed) {
  start({.connections = 2, .patience = {}, .grace = 60s});
  std::vector<RawSocket> clients;
  for (int i = 0; i < 40; ++i) clients.emplace_back(port());
  for (std::size_t i = 0; i < clients.size(); ++i) {
    const auto text = "client " + std::to_string(i);
    clients[i].send(text);
    loop().answer(connectionThatSent(text), text);
    EXPECT_EQ(clients[i].readToEnd(), text);
  }
}

TEST_F(Loop, WithGraceSilentConnectionsHoldOthersUpOnce) {
  start({.connections = 2, .patience = {}, .grace = 100ms});
  std::vector<RawSocket> silent;
  for (int i = 0; i < 200; ++i) silent.emplace_back(port());
  const auto begin = std::chrono::steady_clock::now();
  const RawSocket client(port());
  client.send("me");
  loop().answer(connectionThatSent("me"), "you");
  EXPECT_EQ(client.readToEnd(), "you");
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);  // 10 s, had each of them been given its time
  EXPECT_EQ(silent.front().readToEnd(), "");
}

TEST_F(Loop, ItStopsListeningAndListensAgain) {
  start();
  const RawSocket before(port());
  before.send("before");
  const auto id = connectionThatSent("before");
  loop().stopListening();
  const auto again = loop().listen(0);
  const RawSocket client(again);
  client.send("after");
  loop().answer(connectionThatSent("after"), "yes");
  EXPECT_EQ(client.readToEnd(), "yes");
  EXPECT_FALSE(RawSocket(port()).isOpen() && again != port());
  loop().answer(id, "still there");
  EXPECT_EQ(before.readToEnd(), "still there");
}

TEST_F(Loop, ATakenPortIsRefusedWithItsNumber) {
  start();
  try {
    loop().listen(port());
    FAIL() << "two listeners on one port";
  } catch (const Error& error) {
    EXPECT_EQ(error.description(),
              "Can't listen on port " + std::to_string(port()) + " of 127.0.0.1: Address already in use");
  }
}

}  // namespace
}  // namespace platform
