#include "TuvCore/Locked.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace tuv {
namespace {

TEST(Locked, HoldsAValueThatIsReadAndSet) {
  Locked<std::string> text("first");
  EXPECT_EQ(text.value(), "first");
  text.setValue("second");
  EXPECT_EQ(text.value(), "second");
  EXPECT_EQ(Locked<int>().value(), 0);
}

TEST(Locked, WithLockWorksOnTheValueItselfAndReturnsTheBodysResult) {
  Locked<std::map<std::string, int>> counts;
  const int before = counts.withLock([](auto& map) { return map["a"]++; });
  EXPECT_EQ(before, 0);
  EXPECT_EQ(counts.value(), (std::map<std::string, int>{{"a", 1}}));
}

TEST(Locked, ABodyOfAConstantOneCannotChangeTheValue) {
  const Locked<int> number(7);
  EXPECT_EQ(number.withLock([](auto& value) {
    static_assert(std::is_const_v<std::remove_reference_t<decltype(value)>>);
    return value + 1;
  }),
            8);
}

TEST(Locked, AnExceptionOfTheBodyFreesTheLock) {
  Locked<int> number(1);
  EXPECT_THROW(number.withLock([](int& value) {
    value = 2;
    throw std::runtime_error("body");
  }),
               std::runtime_error);
  EXPECT_EQ(number.value(), 2);
}

TEST(Locked, HoldsWhatCanOnlyBeMoved) {
  Locked<std::unique_ptr<int>> box(std::make_unique<int>(3));
  const std::unique_ptr<int> taken =
      box.withLock([](std::unique_ptr<int>& inside) { return std::move(inside); });
  EXPECT_EQ(*taken, 3);
  EXPECT_TRUE(box.withLock([](auto& inside) { return inside == nullptr; }));
}

TEST(Locked, ChangesOfManyThreadsAllCount) {
  Locked<int> number;
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 8; ++i) {
      threads.emplace_back([&] {
        for (int n = 0; n < 1000; ++n) number.withLock([](int& value) { ++value; });
      });
    }
  }
  EXPECT_EQ(number.value(), 8000);
}

}  // namespace
}  // namespace tuv
