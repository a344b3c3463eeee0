#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <iterator>
#include <string>

#include "tests/Support/RunFixture.h"

namespace orvik {
namespace {

using test::RunFixture;

std::size_t threadsOfThisProcess() {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/task"),
                                                std::filesystem::directory_iterator()));
}

TEST(WideSection, AHundredThousandEntriesNeverHaveMoreTasksThanTheWidth) {
  constexpr int devices = 100'000;
  constexpr int width = 4;
  RunFixture fixture;
  std::string elements;
  for (int id = 1; id <= devices; ++id)
    elements += (id > 1 ? ",{\"id\":\"" : "{\"id\":\"") + std::to_string(id) + "\"}";
  fixture.bodies.set("api/v1/computers-inventory",
                     "{\"totalCount\":" + std::to_string(devices) + ",\"results\":[" + elements + "]}");

  // No record is there: each device is asked for once, and nothing is stored.
  std::atomic<int> asked = 0, inFlight = 0, mostInFlight = 0;
  std::atomic<std::size_t> mostThreads = 0;
  const auto before = threadsOfThisProcess();
  fixture.onCall = [&](const auto& call, auto&) {
    if (!call.path.starts_with("api/v1/computers-inventory-detail/")) return;
    mostInFlight = std::max<int>(mostInFlight, ++inFlight);
    if (++asked % 1000 == 0) mostThreads = std::max<std::size_t>(mostThreads, threadsOfThisProcess());
    --inFlight;
  };
  auto job = fixture.job({"computers"});
  job.options.maxConcurrentRequests = width;
  const auto manifest = BackupEngine(job).run(ResumeInterrupted::no, {});
  EXPECT_EQ(RunFixture::summary(manifest, "computers").counts.failed, devices);
  EXPECT_EQ(asked, devices);
  EXPECT_LE(mostInFlight, width);
  // The workers, and the heartbeat of the lock.
  EXPECT_LE(mostThreads, before + width + 1);
}

}  // namespace
}  // namespace orvik
