#include "Platform/Concurrency/SerialExecutor.h"

#include <gtest/gtest.h>

#include <latch>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace platform {
namespace {

TEST(SerialExecutor, RunGivesTheResultOfAnotherThread) {
  SerialExecutor executor("test");
  const auto own = std::this_thread::get_id();
  EXPECT_NE(executor.run([] { return std::this_thread::get_id(); }), own);
  EXPECT_FALSE(executor.isCurrent());
  EXPECT_TRUE(executor.run([&] { return executor.isCurrent(); }));
}

TEST(SerialExecutor, AResultMayBeOneThatCannotBeCopied) {
  SerialExecutor executor("test");
  EXPECT_EQ(*executor.run([] { return std::make_unique<int>(7); }), 7);
}

TEST(SerialExecutor, WhatIsThrownReachesTheCallerAndTheNextOneRuns) {
  SerialExecutor executor("test");
  EXPECT_THROW(executor.run([] { throw std::runtime_error("x"); }), std::runtime_error);
  EXPECT_EQ(executor.run([] { return 1; }), 1);
}

TEST(SerialExecutor, OnItsOwnThreadAFunctionRunsAtOnce) {
  SerialExecutor executor("test");
  EXPECT_EQ(executor.run([&] { return executor.run([&] { return executor.run([] { return 3; }); }); }), 3);
}

TEST(SerialExecutor, FunctionsOfManyThreadsRunOneAfterTheOther) {
  SerialExecutor executor("test");
  int count = 0;  // without a lock: the executor is it
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 8; ++i)
      threads.emplace_back([&] {
        for (int j = 0; j < 500; ++j) executor.run([&] { ++count; });
      });
  }
  EXPECT_EQ(executor.run([&] { return count; }), 4000);
}

TEST(SerialExecutor, WhatWaitsWhenItGoesStillRuns) {
  std::vector<int> order;
  std::latch busy(1), go(1);
  auto executor = std::make_unique<SerialExecutor>("test");
  SerialExecutor& waiting = *executor;
  std::jthread first([&] {
    waiting.run([&] {
      busy.count_down();
      go.wait();
      order.push_back(1);
    });
  });
  busy.wait();
  std::jthread second([&] { waiting.run([&] { order.push_back(2); }); });
  while (waiting.waitingCount() == 0) std::this_thread::yield();
  std::jthread ending([&] { executor.reset(); });
  go.count_down();
  ending.join();
  EXPECT_EQ(order, (std::vector{1, 2}));
}

}  // namespace
}  // namespace platform
