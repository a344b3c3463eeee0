#include "Platform/Concurrency/Cancellation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <thread>
#include <type_traits>

#include "Platform/Error.h"

namespace platform {
namespace {

using std::chrono::duration;
using std::chrono::milliseconds;

static_assert(!std::is_base_of_v<Error, CancellationError>);

TEST(Cancellation, ThrowIfCancelledLooksAtTheToken) {
  std::stop_source source;
  EXPECT_NO_THROW(throwIfCancelled(source.get_token()));
  EXPECT_NO_THROW(throwIfCancelled({}));
  source.request_stop();
  EXPECT_THROW(throwIfCancelled(source.get_token()), CancellationError);
}

TEST(Cancellation, SleepTakesItsTime) {
  const MonotonicTime start = MonotonicClock::now();
  sleep(milliseconds(20), {});
  EXPECT_GE(MonotonicClock::now() - start, milliseconds(20));
}

TEST(Cancellation, SleepAfterAStopThrowsAtOnceEvenForNoTime) {
  std::stop_source source;
  source.request_stop();
  EXPECT_THROW(sleep(duration<double>(3600), source.get_token()), CancellationError);
  EXPECT_THROW(sleep(duration<double>(0), source.get_token()), CancellationError);
}

TEST(Cancellation, AStopEndsASleepAtOnce) {
  std::stop_source source;
  const MonotonicTime start = MonotonicClock::now();
  std::jthread stopper([&] {
    std::this_thread::sleep_for(milliseconds(10));
    source.request_stop();
  });
  EXPECT_THROW(sleep(duration<double>(3600), source.get_token()), CancellationError);
  EXPECT_LT(MonotonicClock::now() - start, std::chrono::seconds(60));
}

TEST(Cancellation, NegativeAndUndefinedDurationsDoNotWait) {
  for (const double seconds :
       {-1.0, -1e300, 0.0, -0.0, std::nan(""), -std::numeric_limits<double>::infinity()}) {
    const MonotonicTime start = MonotonicClock::now();
    EXPECT_NO_THROW(sleep(duration<double>(seconds), {}));
    EXPECT_LT(MonotonicClock::now() - start, std::chrono::seconds(60)) << seconds;
  }
}

TEST(Cancellation, DurationsBeyondTheClockWaitForTheStop) {
  for (const double seconds : {1e9, 9.2e9, 1e10, 1e18, 1e300, std::numeric_limits<double>::infinity()}) {
    std::stop_source source;
    std::jthread stopper([&] {
      std::this_thread::sleep_for(milliseconds(5));
      source.request_stop();
    });
    EXPECT_THROW(sleep(duration<double>(seconds), source.get_token()), CancellationError) << seconds;
  }
}

TEST(Cancellation, WaitUntilTellsWhetherTheTimeCame) {
  std::stop_source source;
  const MonotonicTime soon = MonotonicClock::now() + milliseconds(10);
  EXPECT_TRUE(waitUntil(soon, source.get_token()));
  EXPECT_GE(MonotonicClock::now(), soon);
  EXPECT_TRUE(waitUntil(MonotonicTime::min(), source.get_token()));
  source.request_stop();
  EXPECT_FALSE(waitUntil(MonotonicTime::max(), source.get_token()));
  EXPECT_FALSE(waitUntil(MonotonicTime::min(), source.get_token()));
}

TEST(Cancellation, OneStopEndsManyWaits) {
  std::stop_source source;
  std::vector<int> ended(8, 0);
  {
    std::vector<std::jthread> threads;
    for (int& end : ended) {
      threads.emplace_back(
          [&end, stop = source.get_token()] { end = waitUntil(MonotonicTime::max(), stop) ? 1 : 2; });
    }
    source.request_stop();
  }
  EXPECT_EQ(ended, std::vector<int>(8, 2));
}

}  // namespace
}  // namespace platform
