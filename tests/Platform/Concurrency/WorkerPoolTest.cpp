#include "Platform/Concurrency/WorkerPool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <latch>
#include <set>

namespace platform {
namespace {

TEST(WorkerPool, WorkOfAllBusyThreadsGetsAThreadOfItsOwn) {
  WorkerPool pool("test", 8);
  std::latch together(8);
  std::atomic<int> done = 0;
  std::promise<void> all;
  for (int i = 0; i < 8; ++i)
    pool.run([&] {
      together.arrive_and_wait();  // ends only when all eight run at once
      if (++done == 8) all.set_value();
    });
  EXPECT_EQ(all.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
}

TEST(WorkerPool, ThereAreNeverMoreThreadsThanAllowed) {
  std::atomic<int> running = 0, most = 0, done = 0;
  std::promise<void> all;
  {
    WorkerPool pool("test", 3);
    for (int i = 0; i < 300; ++i)
      pool.run([&] {
        const int now = ++running;
        int seen = most;
        while (now > seen && !most.compare_exchange_weak(seen, now)) {
        }
        --running;
        if (++done == 300) all.set_value();
      });
    EXPECT_EQ(all.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
  }
  EXPECT_LE(most, 3);
}

TEST(WorkerPool, AThreadIsKeptForWhatComesNext) {
  WorkerPool pool("test", 8);
  std::set<std::thread::id> threads;
  for (int i = 0; i < 20; ++i) {
    std::promise<std::thread::id> ran;
    pool.run([&] { ran.set_value(std::this_thread::get_id()); });
    threads.insert(ran.get_future().get());
  }
  EXPECT_LE(threads.size(), 3U) << "one by one needs hardly more than one";
}

TEST(WorkerPool, ClosingWaitsForWhatRunsAndDropsWhatWaits) {
  WorkerPool pool("test", 1);
  std::promise<void> begun, go;
  std::atomic<bool> ended = false, second = false;
  pool.run([&] {
    begun.set_value();
    go.get_future().wait();
    ended = true;
  });
  begun.get_future().wait();
  pool.run([&] { second = true; });
  std::thread closer([&] { pool.close(); });
  go.set_value();
  closer.join();
  EXPECT_TRUE(ended);
  pool.run([&] { second = true; });
  pool.close();
  EXPECT_FALSE(second && !ended);
}

}  // namespace
}  // namespace platform
