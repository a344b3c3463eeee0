#include "TuvCore/OnceFlag.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <thread>
#include <vector>

namespace tuv {
namespace {

TEST(OnceFlag, OnlyTheFirstClaimIsTrue) {
  OnceFlag flag;
  EXPECT_TRUE(flag.claim());
  EXPECT_FALSE(flag.claim());
  EXPECT_FALSE(flag.claim());
}

TEST(OnceFlag, OfManyThreadsOneClaims) {
  for (int round = 0; round < 20; ++round) {
    OnceFlag flag;
    std::atomic<int> claimed = 0;
    {
      std::latch start(8);
      std::vector<std::jthread> threads;
      for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
          start.arrive_and_wait();
          if (flag.claim()) ++claimed;
        });
      }
      threads.clear();
    }
    EXPECT_EQ(claimed, 1);
  }
}

}  // namespace
}  // namespace tuv
