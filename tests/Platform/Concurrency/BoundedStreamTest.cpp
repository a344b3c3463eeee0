#include "Platform/Concurrency/BoundedStream.h"

#include <gtest/gtest.h>

#include <latch>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace platform {
namespace {

using namespace std::chrono_literals;

TEST(BoundedStream, ValuesArriveInOrderAndNeverMoreThanTheCapacityWaits) {
  BoundedStream<int> stream(100);
  std::jthread writing([writer = std::move(stream.writer)]() mutable {
    std::mt19937 random(7);
    for (int i = 0; i < 5000; ++i) ASSERT_TRUE(writer.push(i, random() % 60));
  });
  int next = 0;
  while (const auto value = stream.reader.next({})) EXPECT_EQ(*value, next++);
  EXPECT_EQ(next, 5000);
  EXPECT_LE(stream.reader.highestLoad(), 100U);
  EXPECT_GT(stream.reader.highestLoad(), 0U);
}

TEST(BoundedStream, AWriterThatIsFullWaitsForTheReader) {
  BoundedStream<int> stream(10);
  ASSERT_TRUE(stream.writer.push(1, 10));
  std::atomic<bool> pushed = false;
  std::jthread writing([&] {
    EXPECT_TRUE(stream.writer.push(2, 1));
    pushed = true;
  });
  EXPECT_FALSE(pushed);
  EXPECT_EQ(stream.reader.next({}), 1);
  EXPECT_EQ(stream.reader.next({}), 2);
  EXPECT_EQ(stream.reader.highestLoad(), 10U);
}

TEST(BoundedStream, AValueHeavierThanTheCapacityPassesAlone) {
  BoundedStream<std::string> stream(4);
  ASSERT_TRUE(stream.writer.push("heavier", 7));
  EXPECT_EQ(stream.reader.next({}), "heavier");
  ASSERT_TRUE(stream.writer.push("again", 5));
  std::jthread writing([&] { EXPECT_TRUE(stream.writer.push("x", 1)); });
  EXPECT_EQ(stream.reader.next({}), "again");
  EXPECT_EQ(stream.reader.next({}), "x");
}

TEST(BoundedStream, TheWritersFailureComesOnceBehindItsValues) {
  BoundedStream<int> stream(10);
  stream.writer.push(1, 1);
  stream.writer.finish(std::make_exception_ptr(std::runtime_error("cut")));
  EXPECT_EQ(stream.reader.next({}), 1);
  EXPECT_THROW(stream.reader.next({}), std::runtime_error);
  EXPECT_EQ(stream.reader.next({}), std::nullopt);
}

TEST(BoundedStream, TheFirstEndCountsAndNothingIsWrittenBehindIt) {
  BoundedStream<int> stream(10);
  stream.writer.finish();
  stream.writer.finish(std::make_exception_ptr(std::runtime_error("late")));
  EXPECT_FALSE(stream.writer.push(1, 1));
  EXPECT_EQ(stream.reader.next({}), std::nullopt);
}

TEST(BoundedStream, AWriterThatGoesEndsTheStream) {
  BoundedStream<int> stream(10);
  std::jthread([writer = std::move(stream.writer)]() mutable { writer.push(1, 1); }).join();
  EXPECT_EQ(stream.reader.next({}), 1);
  EXPECT_EQ(stream.reader.next({}), std::nullopt);
}

TEST(BoundedStream, AReaderThatClosesWakesTheWriterAndDropsWhatWaits) {
  BoundedStream<std::shared_ptr<int>> stream(1);
  const auto value = std::make_shared<int>(1);
  ASSERT_TRUE(stream.writer.push(value, 1));
  std::latch begun(1);
  std::jthread writing([&] {
    begun.count_down();
    EXPECT_FALSE(stream.writer.push(value, 1));
  });
  begun.wait();
  stream.reader.close();
  writing.join();
  EXPECT_EQ(value.use_count(), 1);
  EXPECT_EQ(stream.reader.next({}), std::nullopt);
}

TEST(BoundedStream, AReaderThatGoesWakesTheWriter) {
  auto stream = std::make_unique<BoundedStream<int>>(1);
  auto writer = std::move(stream->writer);
  ASSERT_TRUE(writer.push(1, 1));
  std::jthread writing([&] { EXPECT_FALSE(writer.push(2, 1)); });
  stream.reset();
}

TEST(BoundedStream, AStopEndsTheReadersWait) {
  BoundedStream<int> stream(1);
  std::stop_source source;
  std::jthread stopping([&] { source.request_stop(); });
  EXPECT_THROW(stream.reader.next(source.get_token()), CancellationError);
  stream.writer.push(1, 1);
  EXPECT_THROW(stream.reader.next(source.get_token()), CancellationError);
  EXPECT_THROW(stream.reader.waitUntil(MonotonicTime::max(), source.get_token()), CancellationError);
}

TEST(BoundedStream, WaitingUntilAMomentSaysWhetherThereIsNews) {
  BoundedStream<int> stream(1);
  EXPECT_FALSE(stream.reader.waitUntil(MonotonicClock::now() + 1ms, {}));
  EXPECT_FALSE(stream.reader.waitUntil(MonotonicClock::now() - 1h, {}));
  std::jthread writing([&] { stream.writer.push(5, 1); });
  EXPECT_TRUE(stream.reader.waitUntil(MonotonicClock::now() + 1h, {}));
  EXPECT_EQ(stream.reader.next({}), 5);
  writing.join();
  stream.writer.finish();
  EXPECT_TRUE(stream.reader.waitUntil(MonotonicClock::now() + 1h, {}));
}

}  // namespace
}  // namespace platform
