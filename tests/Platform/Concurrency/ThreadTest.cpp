#include "Platform/Concurrency/Thread.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <string>
#include <thread>

namespace platform {
namespace {

std::string nameAfter(std::string_view name) {
  char text[16] = {};
  std::jthread([&] {
    nameThisThread(name);
    pthread_getname_np(pthread_self(), text, sizeof text);
  }).join();
  return text;
}

TEST(Thread, ANameIsCutToFifteenBytes) {
  EXPECT_EQ(nameAfter("short"), "short");
  EXPECT_EQ(nameAfter("fifteen letters"), "fifteen letters");
  EXPECT_EQ(nameAfter("more than fifteen letters"), "more than fifte");
}

}  // namespace
}  // namespace platform
