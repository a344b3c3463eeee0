#include "OrvikCore/Jamf/RequestPipeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <semaphore>
#include <thread>

#include "JamfCore/Networking/APIError.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"
#include "tests/Support/ScriptedReader.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using jamf::APIError;
using platform::MonotonicClock;
using test::ScriptedReader;

constexpr RetryPolicy quick{3, 0.001, 0.002};

/// A pipeline with everything that it stands on.
struct Road {
  explicit Road(ScriptedReader::Answer answer, RetryPolicy policy = quick, int width = 4)
      : reader(std::move(answer)),
        limiter(width, 0),
        pipeline(reader, limiter, gate, policy, &audit,
                 [this](const std::string& text) { notes.push_back(text); }) {}

  platform::files::TempFolder folder;
  ScriptedReader reader;
  RequestLimiter limiter;
  PauseGate gate;
  AuditLog audit{folder.path()};
  std::vector<std::string> notes;
  RequestPipeline pipeline;

  std::vector<AuditEntry> entries() {
    audit.close();
    return AuditLog::read(folder.path());
  }
};

TEST(RequestPipeline, ASuccessLeavesOneAuditLineWithItsBytesAndPage) {
  Road road([](auto&, auto&) { return "12345"; });
  EXPECT_EQ(road.pipeline.get("api/v1/scripts", {{"page", "2"}, {"page-size", "200"}}, {}), "12345");
  const auto entries = road.entries();
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].kind, AuditEntry::Kind::request);
  EXPECT_EQ(entries[0].method, "GET");
  EXPECT_EQ(entries[0].target, "api/v1/scripts");
  EXPECT_EQ(entries[0].status, 200);
  EXPECT_EQ(entries[0].outcome, "ok");
  EXPECT_EQ(entries[0].bytes, 5);
  EXPECT_EQ(entries[0].detail, "page 2");
  EXPECT_TRUE(entries[0].milliseconds.has_value());
  EXPECT_EQ(road.pipeline.requestCount(), 1);
}

TEST(RequestPipeline, APageWithoutAValueLeavesNoDetail) {
  Road road([](auto&, auto&) { return ""; });
  road.pipeline.get("x", {{"page", {}}}, {});
  EXPECT_EQ(road.entries()[0].detail, std::nullopt);
}

TEST(RequestPipeline, A403IsNotRepeatedAndItsAuditLineSaysSo) {
  Road road([](auto&, auto&) -> platform::Bytes { throw APIError::requestFailed(403, {}); });
  EXPECT_THROW(road.pipeline.get("x", {}, {}), APIError);
  const auto entries = road.entries();
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].status, 403);
  EXPECT_EQ(entries[0].outcome, "notPermitted");
  EXPECT_EQ(entries[0].bytes, std::nullopt);
}

TEST(RequestPipeline, TwoRateLimitsAndASuccessLeaveThreeLines) {
  std::atomic<int> calls{0};
  Road road([&](auto&, auto&) -> platform::Bytes {
    if (++calls < 3) throw APIError::rateLimited({});
    return "ok";
  });
  EXPECT_EQ(road.pipeline.get("x", {}, {}), "ok");
  std::vector<std::string> outcomes;
  for (const auto& entry : road.entries()) outcomes.push_back(entry.outcome);
  EXPECT_THAT(outcomes, testing::ElementsAre("retry", "retry", "ok"));
  EXPECT_EQ(road.pipeline.requestCount(), 3);
}

TEST(RequestPipeline, TellsEachRepeat) {
  Road road([](auto&, auto&) -> platform::Bytes { throw APIError::requestFailed(503, "busy"); });
  EXPECT_THROW(road.pipeline.get("JSSResource/policies", {}, {}), APIError);
  EXPECT_THAT(
      road.notes,
      testing::ElementsAre(
          "GET JSSResource/policies failed (Jamf Pro API request failed (503): busy); retry 1/2 in 0s",
          "GET JSSResource/policies failed (Jamf Pro API request failed (503): busy); retry 2/2 in 0s"));
}

TEST(RequestPipeline, TheLastErrorComesAsItWas) {
  std::atomic<int> calls{0};
  Road road([&](auto&, auto&) -> platform::Bytes { throw APIError::requestFailed(500 + ++calls, {}); });
  try {
    road.pipeline.get("x", {}, {});
    FAIL();
  } catch (const APIError& error) {
    EXPECT_EQ(error.as<APIError::RequestFailed>()->statusCode, 503);
  }
}

TEST(RequestPipeline, NeverHoldsItsSlotThroughADelay) {
  Road road(
      [](const auto& call, auto&) -> platform::Bytes {
        if (call.path == "failing") throw APIError::transport("lost");
        return "ok";
      },
      RetryPolicy{2, 60, 60}, 1);
  std::stop_source stop;
  std::jthread failing(
      [&] { EXPECT_THROW(road.pipeline.get("failing", {}, stop.get_token()), platform::CancellationError); });
  while (road.pipeline.requestCount() == 0) std::this_thread::yield();
  EXPECT_EQ(road.pipeline.get("other", {}, {}), "ok");
  stop.request_stop();
}

TEST(RequestPipeline, ACancelledWaitAtTheGateLeavesNoAuditLine) {
  Road road([](auto&, auto&) { return "never"; });
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THROW(road.pipeline.get("x", {}, stop.get_token()), platform::CancellationError);
  EXPECT_TRUE(road.entries().empty());
  EXPECT_EQ(road.pipeline.requestCount(), 0);
}

TEST(RequestPipeline, WithOneAttemptACancelledTransferIsATransportError) {
  std::stop_source stop;
  Road road(
      [&](auto&, auto&) -> platform::Bytes {
        stop.request_stop();
        throw APIError::transport("cancelled");
      },
      RetryPolicy::none);
  EXPECT_THROW(road.pipeline.get("x", {}, stop.get_token()), APIError);
}

TEST(RequestPipeline, APauseLetsRequestsInFlightFinishAndStartsNoOther) {
  std::counting_semaphore<> letGo(0);
  std::latch tenInFlight(10);
  Road road(
      [&](const auto& call, auto&) {
        if (call.path != "eleventh") {
          tenInFlight.count_down();
          letGo.acquire();
        }
        return "done";
      },
      quick, 20);
  std::atomic<int> finished{0};
  std::vector<std::jthread> threads;
  for (int i = 0; i < 10; ++i)
    threads.emplace_back([&] {
      road.pipeline.get("x", {}, {});
      ++finished;
    });
  tenInFlight.wait();
  road.gate.pause();
  std::jthread eleventh([&] { road.pipeline.get("eleventh", {}, {}); });
  while (road.gate.waiting() == 0) std::this_thread::yield();
  letGo.release(10);
  threads.clear();
  EXPECT_EQ(finished.load(), 10);
  EXPECT_EQ(road.reader.count("eleventh"), 0U);
  road.gate.resume();
  eleventh.join();
  EXPECT_EQ(road.reader.count("eleventh"), 1U);
}

TEST(PauseGate, CancellingWhilePausedEndsTheWaitWithin250Milliseconds) {
  PauseGate gate;
  gate.pause();
  std::stop_source stop;
  std::jthread waiting([&] { EXPECT_THROW(gate.wait(stop.get_token()), platform::CancellationError); });
  while (gate.waiting() == 0) std::this_thread::yield();
  const auto begin = MonotonicClock::now();
  stop.request_stop();
  waiting.join();
  EXPECT_LT(MonotonicClock::now() - begin, 250ms);
}

TEST(PauseGate, AnOpenGateStillLooksForACancellation) {
  PauseGate gate;
  gate.wait({});
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THROW(gate.wait(stop.get_token()), platform::CancellationError);
}

}  // namespace
}  // namespace orvik
