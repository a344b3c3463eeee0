#include "JamfCore/Automation/MapConcurrently.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <numeric>
#include <set>
#include <string>

#include "JamfCore/Networking/APIError.h"

namespace jamf {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<int> numbersBelow(int count) {
  std::vector<int> numbers(static_cast<std::size_t>(count));
  std::iota(numbers.begin(), numbers.end(), 0);
  return numbers;
}

/// Counts who is inside, and lets nobody out before so many were inside at once.
class Crowd {
 public:
  explicit Crowd(int awaited) : awaited_(awaited) {}

  void pass() {
    std::unique_lock lock(mutex_);
    most_ = std::max(most_, ++inside_);
    changed_.notify_all();
    changed_.wait(lock, [this] { return most_ >= awaited_; });
    --inside_;
  }
  int most() const { return most_; }

 private:
  const int awaited_;
  std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  int inside_ = 0;
  int most_ = 0;
};

/// Waits until the group asks its workers to stop.
void waitForStop(const std::stop_token& stop) {
  std::mutex mutex;
  std::condition_variable_any changed;
  std::unique_lock lock(mutex);
  changed.wait(lock, stop, [] { return false; });
}

TEST(MapConcurrently, HundredItemsNeverHaveMoreThan8TransformsRunning) {
  Crowd crowd(8);
  const auto results = mapConcurrently(numbersBelow(100), 8, [&](int number, const std::stop_token&) {
    crowd.pass();
    return number;
  });
  EXPECT_EQ(crowd.most(), 8);
  EXPECT_EQ(results, numbersBelow(100));
}

TEST(MapConcurrently, ResultsStandInTheOrderOfTheItemsWhicheverComesFirst) {
  std::mutex mutex;
  std::condition_variable changed;
  int next = 7;  // guarded by mutex
  const auto backwards = [&](int number, const std::stop_token&) {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return next == number; });
    --next;
    changed.notify_all();
    return std::to_string(number);
  };
  EXPECT_THAT(mapConcurrently(numbersBelow(8), 8, backwards),
              ElementsAre("0", "1", "2", "3", "4", "5", "6", "7"));
}

TEST(MapConcurrently, TheFirstFailureFailsTheCallAndCancelsTheRest) {
  Crowd crowd(8);
  std::mutex mutex;
  std::set<int> started;  // guarded by mutex
  const auto failing = [&](int number, const std::stop_token& stop) {
    {
      const std::lock_guard lock(mutex);
      started.insert(number);
    }
    crowd.pass();
    if (number == 3) throw APIError::requestFailed(500, "no");
    waitForStop(stop);
    throw APIError::transport("stopped");
    return 0;
  };
  try {
    mapConcurrently(numbersBelow(100), 8, failing);
    FAIL() << "it did not fail";
  } catch (const APIError& error) {
    EXPECT_TRUE(error.as<APIError::RequestFailed>()) << error.description();
  }
  EXPECT_THAT(started, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7)) << "no further one is started";
}

TEST(MapConcurrently, AStopIsACancellationAndNoFailure) {
  std::stop_source source;
  const auto waiting = [&](int number, const std::stop_token& stop) {
    if (number == 2) source.request_stop();
    waitForStop(stop);
    throw APIError::transport("stopped");
    return 0;
  };
  EXPECT_THROW(mapConcurrently(numbersBelow(100), 4, waiting, source.get_token()),
               platform::CancellationError);
}

TEST(MapConcurrently, AStopBetweenTwoItemsStartsNoFurtherOne) {
  std::stop_source source;
  int started = 0;
  const auto counting = [&](int, const std::stop_token&) {
    if (++started == 5) source.request_stop();
    return 0;
  };
  EXPECT_THROW(mapConcurrently(numbersBelow(100), 1, counting, source.get_token()),
               platform::CancellationError);
  EXPECT_EQ(started, 5);
}

TEST(MapConcurrently, ACancellationOfATransformIsNotSwallowed) {
  const auto cancelled = [](int, const std::stop_token&) -> int { throw platform::CancellationError(); };
  EXPECT_THROW(mapConcurrently(numbersBelow(3), 2, cancelled), platform::CancellationError);
}

TEST(MapConcurrently, NoItemsGiveNoResults) {
  EXPECT_THAT(mapConcurrently(numbersBelow(0), 8, [](int n, const std::stop_token&) { return n; }),
              IsEmpty());
}

TEST(MapConcurrently, ResultsMayBeMovableAloneAndTruthValues) {
  const auto boxed = mapConcurrently(numbersBelow(2), 8,
                                     [](int n, const std::stop_token&) { return std::make_unique<int>(n); });
  EXPECT_EQ(*boxed[1], 1);
  EXPECT_THAT(mapConcurrently(numbersBelow(3), 8, [](int n, const std::stop_token&) { return n == 1; }),
              ElementsAre(false, true, false));
}

}  // namespace
}  // namespace jamf
