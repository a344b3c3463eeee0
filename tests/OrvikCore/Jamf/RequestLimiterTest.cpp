#include "OrvikCore/Jamf/RequestLimiter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <thread>
#include <vector>

namespace orvik {
namespace {

using namespace std::chrono_literals;
using platform::MonotonicClock;

TEST(RequestLimiter, ZeroAndZeroLetsOneInAtATimeWithoutSpacing) {
  RequestLimiter limiter(0, 0);
  EXPECT_EQ(limiter.minInterval(), 0ms);
  std::atomic<int> inside{0};
  std::atomic<int> most{0};
  std::vector<std::jthread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&] {
      for (int n = 0; n < 50; ++n) {
        limiter.acquire({});
        const int now = ++inside;
        int seen = most.load();
        while (seen < now && !most.compare_exchange_weak(seen, now)) {
        }
        --inside;
        limiter.release();
      }
    });
  threads.clear();
  EXPECT_EQ(most.load(), 1);
}

TEST(RequestLimiter, TruncatesTheIntervalToWholeMilliseconds) {
  EXPECT_EQ(RequestLimiter(1, 3).minInterval(), 333ms);
  EXPECT_EQ(RequestLimiter(1, 0.5).minInterval(), 2000ms);
  EXPECT_EQ(RequestLimiter(10, 0.5).minInterval(), 2000ms);
  EXPECT_EQ(RequestLimiter(1, 1000).minInterval(), 1ms);
  EXPECT_EQ(RequestLimiter(1, 1001).minInterval(), 0ms);
  EXPECT_EQ(RequestLimiter(1, -2).minInterval(), 0ms);
  EXPECT_EQ(RequestLimiter(1, std::numeric_limits<double>::quiet_NaN()).minInterval(), 0ms);
  EXPECT_GT(RequestLimiter(1, 1e-300).minInterval(), 1000h);
}

TEST(RequestLimiter, SpacesStartsAlsoWhenSlotsAreFree) {
  RequestLimiter limiter(10, 50);
  const auto begin = MonotonicClock::now();
  for (int i = 0; i < 4; ++i) limiter.acquire({});
  EXPECT_GE(MonotonicClock::now() - begin, 60ms);
}

TEST(RequestLimiter, AnIdleSpellEarnsNoBurst) {
  RequestLimiter limiter(10, 25);
  limiter.acquire({});
  ASSERT_TRUE(platform::waitUntil(MonotonicClock::now() + 100ms, {}));
  const auto begin = MonotonicClock::now();
  limiter.acquire({});
  const auto first = MonotonicClock::now() - begin;
  limiter.acquire({});
  const auto second = MonotonicClock::now() - begin;
  EXPECT_LT(first, 40ms);
  EXPECT_GE(second, 40ms);
}

TEST(RequestLimiter, ASlotPassesToTheOneThatWaitedLongest) {
  RequestLimiter limiter(1, 0);
  limiter.acquire({});
  std::mutex mutex;
  std::vector<int> order;
  std::vector<std::jthread> threads;
  for (int i = 0; i < 5; ++i) {
    std::latch about(1);
    threads.emplace_back([&, i] {
      about.count_down();
      limiter.acquire({});
      {
        std::lock_guard lock(mutex);
        order.push_back(i);
      }
      limiter.release();
    });
    about.wait();
    while (limiter.waiting() != static_cast<std::size_t>(i + 1)) std::this_thread::yield();
  }
  limiter.release();
  threads.clear();
  EXPECT_EQ(order, (std::vector{0, 1, 2, 3, 4}));
}

TEST(RequestLimiter, AStopEndsTheWaitForTheStartAndTheSlotIsHeldAllTheSame) {
  RequestLimiter limiter(1, 0.001);
  limiter.acquire({});
  limiter.release();
  std::stop_source stop;
  stop.request_stop();
  const auto begin = MonotonicClock::now();
  limiter.acquire(stop.get_token());
  EXPECT_LT(MonotonicClock::now() - begin, 1s);
  limiter.release();
}

}  // namespace
}  // namespace orvik
