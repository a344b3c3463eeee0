#include "Platform/Concurrency/TaskGroup.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <latch>
#include <memory>
#include <numeric>
#include <set>
#include <stdexcept>

#include "Platform/Concurrency/Cancellation.h"

namespace platform {
namespace {

using Numbers = TaskGroup<std::size_t>;
using Indices = std::vector<std::size_t>;

const auto itself = [](std::size_t index, const std::stop_token&) { return index; };

Indices upTo(std::size_t count) {
  Indices all(count);
  std::iota(all.begin(), all.end(), std::size_t{0});
  return all;
}

Indices sorted(Indices indices) {
  std::ranges::sort(indices);
  return indices;
}

TEST(TaskGroup, EveryIndexArrivesOnceWhateverTheWidth) {
  for (const std::size_t width : {0, 1, 2, 7, 32, 500}) {
    for (const std::size_t count : {1, 2, 31, 300}) {
      Indices arrived;
      Numbers::run(count, width, {}, itself, [&](std::size_t index, std::size_t result) {
        EXPECT_EQ(index, result);
        arrived.push_back(index);
      });
      EXPECT_EQ(sorted(arrived), upTo(count)) << count << " at width " << width;
    }
  }
}

TEST(TaskGroup, AnEmptyGroupCallsNothing) {
  Numbers::run(
      0, 4, {}, [](std::size_t, const std::stop_token&) -> std::size_t { throw std::logic_error("work"); },
      [](std::size_t, std::size_t) { throw std::logic_error("done"); });
}

TEST(TaskGroup, WidthOneKeepsTheOrder) {
  Indices started;
  Indices arrived;
  Numbers::run(
      50, 1, {},
      [&](std::size_t index, const std::stop_token&) {
        started.push_back(index);
        return index;
      },
      [&](std::size_t index, std::size_t) { arrived.push_back(index); });
  EXPECT_EQ(started, upTo(50));
  EXPECT_EQ(arrived, upTo(50));
}

TEST(TaskGroup, DoneRunsOnTheCallingThreadAndWorkDoesNot) {
  const auto caller = std::this_thread::get_id();
  TaskGroup<std::thread::id>::run(
      20, 4, {}, [](std::size_t, const std::stop_token&) { return std::this_thread::get_id(); },
      [&](std::size_t, std::thread::id worker) {
        EXPECT_NE(worker, caller);
        EXPECT_EQ(std::this_thread::get_id(), caller);
      });
}

TEST(TaskGroup, AsManyWorkSideBySideAsTheGroupIsWide) {
  std::latch allThere(6);  // passes only when six are in work at once
  std::atomic<int> inWork = 0;
  std::atomic<int> most = 0;
  Numbers::run(
      60, 6, {},
      [&](std::size_t index, const std::stop_token&) {
        const int now = ++inWork;
        for (int seen = most; seen < now && !most.compare_exchange_weak(seen, now);) continue;
        if (index < 6) allThere.arrive_and_wait();
        --inWork;
        return index;
      },
      [](std::size_t, std::size_t) {});
  EXPECT_EQ(most, 6);
}

TEST(TaskGroup, ResultsMayBeMoveOnlyAndWithoutADefault) {
  struct Box {
    explicit Box(std::size_t number) : value(std::make_unique<std::size_t>(number)) {}
    std::unique_ptr<std::size_t> value;
  };
  std::size_t sum = 0;
  TaskGroup<Box>::run(
      100, 8, {}, [](std::size_t index, const std::stop_token&) { return Box(index); },
      [&](std::size_t, Box box) { sum += *box.value; });
  EXPECT_EQ(sum, 4950u);
}

TEST(TaskGroup, ASlowTakerHoldsTheWorkersBack) {
  constexpr std::size_t width = 3;
  std::atomic<std::size_t> started = 0;
  std::size_t taken = 0;
  Numbers::run(
      60, width, {},
      [&](std::size_t index, const std::stop_token&) {
        ++started;
        return index;
      },
      [&](std::size_t, std::size_t) {
        EXPECT_LE(started, taken + 2 * width);
        if (taken < 5) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        EXPECT_LE(started, taken + 2 * width);
        ++taken;
      });
  EXPECT_EQ(taken, 60u);
}

TEST(TaskGroup, AFailureOfWorkStopsAndJoinsTheOthersAndIsThrown) {
  std::latch waiting(3);
  std::atomic<int> cancelled = 0;
  try {
    Numbers::run(
        1000, 4, {},
        [&](std::size_t index, const std::stop_token& stop) -> std::size_t {
          if (index == 3) {
            waiting.wait();
            throw std::runtime_error("entry 3");
          }
          waiting.count_down();
          if (waitUntil(MonotonicTime::max(), stop)) return index;
          ++cancelled;
          throw CancellationError();
        },
        [](std::size_t, std::size_t) { ADD_FAILURE() << "nothing was done"; });
    ADD_FAILURE() << "the failure was swallowed";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "entry 3");  // the first one, not the cancellations that it caused
  }
  EXPECT_EQ(cancelled, 3);
}

TEST(TaskGroup, AFailureOfDoneStopsAndJoinsTheWorkers) {
  std::atomic<int> inWork = 0;
  EXPECT_THROW(Numbers::run(
                   1000, 4, {},
                   [&](std::size_t index, const std::stop_token& stop) {
                     ++inWork;
                     if (index != 0) (void)waitUntil(MonotonicTime::max(), stop);
                     --inWork;
                     return index;
                   },
                   [](std::size_t index, std::size_t) {
                     EXPECT_EQ(index, 0u);
                     throw std::out_of_range("no slot");
                   }),
               std::out_of_range);
  EXPECT_EQ(inWork, 0);
}

TEST(TaskGroup, AFailureWhileOthersWaitForRoomEndsThem) {
  EXPECT_THROW(Numbers::run(10000, 8, {}, itself,
                            [](std::size_t, std::size_t) {
                              std::this_thread::sleep_for(std::chrono::milliseconds(5));
                              throw std::out_of_range("no slot");
                            }),
               std::out_of_range);
}

TEST(TaskGroup, WhatIsNoStandardExceptionIsThrownOn) {
  EXPECT_THROW(Numbers::run(
                   3, 3, {}, [](std::size_t, const std::stop_token&) -> std::size_t { throw 42; },
                   [](std::size_t, std::size_t) {}),
               int);
}

TEST(TaskGroup, AStopBeforeTheStartReachesTheWork) {
  std::stop_source source;
  source.request_stop();
  EXPECT_THROW(Numbers::run(
                   5, 2, source.get_token(),
                   [](std::size_t index, const std::stop_token& stop) {
                     throwIfCancelled(stop);
                     return index;
                   },
                   [](std::size_t, std::size_t) {}),
               CancellationError);
}

TEST(TaskGroup, WorkThatIgnoresAStopGoesOn) {
  std::stop_source source;
  source.request_stop();
  std::size_t taken = 0;
  Numbers::run(40, 4, source.get_token(), itself, [&](std::size_t, std::size_t) { ++taken; });
  EXPECT_EQ(taken, 40u);
}

TEST(TaskGroup, AStopInTheMiddleEndsWaitingWork) {
  std::stop_source source;
  std::latch waiting(4);
  std::jthread stopper([&] {
    waiting.wait();
    source.request_stop();
  });
  EXPECT_THROW(Numbers::run(
                   100, 4, source.get_token(),
                   [&](std::size_t, const std::stop_token& stop) -> std::size_t {
                     waiting.count_down();
                     sleep(std::chrono::hours(1), stop);
                     return 0;
                   },
                   [](std::size_t, std::size_t) {}),
               CancellationError);
}

TEST(TaskGroup, GroupsMayBeNested) {
  std::size_t sum = 0;
  Numbers::run(
      4, 2, {},
      [](std::size_t outer, const std::stop_token& stop) {
        std::size_t inner = 0;
        Numbers::run(10, 3, stop, itself, [&](std::size_t, std::size_t result) { inner += result; });
        return outer * 100 + inner;
      },
      [&](std::size_t, std::size_t result) { sum += result; });
  EXPECT_EQ(sum, 600u + 4 * 45);
}

TEST(TaskGroup, ManySmallTasksAllArrive) {
  std::size_t sum = 0;
  Numbers::run(20000, 16, {}, itself, [&](std::size_t, std::size_t result) { sum += result; });
  EXPECT_EQ(sum, std::size_t{20000} * 19999 / 2);
}

}  // namespace
}  // namespace platform
