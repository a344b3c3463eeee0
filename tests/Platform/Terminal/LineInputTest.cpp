#include "Platform/Terminal/LineInput.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Error.h"

namespace platform {
namespace {

struct Pipe {
  Pipe() { EXPECT_EQ(::pipe(ends), 0); }
  ~Pipe() {
    ::close(ends[0]);
    end();
  }
  void write(const std::string& text) const {
    EXPECT_EQ(::write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  void end() {
    if (ends[1] >= 0) ::close(ends[1]);
    ends[1] = -1;
  }
  int ends[2] = {-1, -1};
};

TEST(LineInput, LinesComeOneByOneHoweverTheyAreWritten) {
  Pipe pipe;
  LineInput input(pipe.ends[0], 100);
  pipe.write("one\ntwo\nth");
  EXPECT_EQ(input.next({})->text, "one");
  EXPECT_EQ(input.next({})->text, "two");
  pipe.write("ree\n\n");
  EXPECT_EQ(input.next({})->text, "three");
  EXPECT_EQ(input.next({})->text, "");
  pipe.write("last");
  pipe.end();
  EXPECT_EQ(input.next({})->text, "last");
  EXPECT_FALSE(input.next({}));
  EXPECT_FALSE(input.next({}));
}

TEST(LineInput, ALineThatIsTooLongIsPassedOver) {
  Pipe pipe;
  LineInput input(pipe.ends[0], 10);
  std::thread writer([&] {
    pipe.write(std::string(300'000, 'x') + "\nshort\n" + std::string(11, 'y') + "\n0123456789\n" +
               std::string(300'000, 'z'));
    pipe.end();
  });
  EXPECT_TRUE(input.next({})->isTooLong);
  EXPECT_EQ(input.next({})->text, "short");
  EXPECT_TRUE(input.next({})->isTooLong);
  const auto exact = input.next({});
  EXPECT_FALSE(exact->isTooLong);
  EXPECT_EQ(exact->text, "0123456789");
  const auto unended = input.next({});
  EXPECT_TRUE(unended->isTooLong);
  EXPECT_EQ(unended->text, "");
  EXPECT_FALSE(input.next({}));
  writer.join();
}

TEST(LineInput, AStopEndsTheWait) {
  const Pipe pipe;
  LineInput input(pipe.ends[0], 10);
  std::stop_source stop;
  std::thread stopper([&] { stop.request_stop(); });
  EXPECT_THROW(input.next(stop.get_token()), CancellationError);
  stopper.join();
}

TEST(LineInput, WhatCanNotBeReadIsAnError) {
  const int folder = ::open("/", O_RDONLY | O_CLOEXEC);
  LineInput input(folder, 10);
  EXPECT_THROW(input.next({}), Error);
  ::close(folder);
}

}  // namespace
}  // namespace platform
