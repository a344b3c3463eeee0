#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <set>
#include <string>

#include "JamfCore/OrgManagement/DeviceCache.h"
#include "JamfCore/Persistence/Records.h"
#include "Platform/Concurrency/Cancellation.h"
#include "tests/JamfCore/LocalDatabase.h"

// Two processes that write to one database as fast as they can.

namespace jamf {
namespace {

using platform::MonotonicClock;
using platform::UUID;

std::chrono::seconds duration() {
  const char* value = std::getenv("ORVIK_SHORT");
  return std::chrono::seconds(value != nullptr && *value == '1' ? 3 : 30);
}

/// Adds organizations, and to the one that all share, counts in a column of its own; now and then the
/// database is closed and opened again. Each save that returned counts.
int writeUntil(platform::MonotonicTime end, const std::filesystem::path& path, const UUID& shared,
               const std::string& who) {
  int saved = 0;
  while (MonotonicClock::now() < end) {
    const auto context = PersistenceController::makeContainer(path);
    const DeviceCache cache(context);
    for (int i = 0; i < 50 && MonotonicClock::now() < end; ++i) {
      ++saved;
      context->save([&](ModelChanges& changes) {
        changes.insert(
            JamfOrganization{UUID::random(), fmt::format("{} {}", who, saved), "", "", {}, {}, {}});
      });
      auto before = *context->find<JamfOrganization>(shared), after = before;
      (who == "first" ? after.baseURLString : after.clientID) = std::to_string(saved);
      context->save([&](ModelChanges& changes) { changes.update(before, after); });
      if (i % 10 != 0) continue;
      Device device;
      device.id = who;
      cache.store({device, device}, shared);
      cache.cachedDevices(shared);
    }
  }
  return saved;
}

class TwoProcesses : public test::LocalDatabase {};

TEST_F(TwoProcesses, OnOneDatabaseLoseNoWrite) {
  const JamfOrganization shared{UUID::random(), "shared", "0", "0", {}, {}, {}};
  open()->save([&](ModelChanges& changes) { changes.insert(shared); });

  const auto tally = home / "tally";
  const auto end = MonotonicClock::now() + duration();
  const auto child = ::fork();
  if (child == 0) {
    try {
      const int count = writeUntil(end, path, shared.id, "second");
      platform::files::atomicWrite(std::to_string(count), tally);
      ::_exit(0);
    } catch (const std::exception& error) {
      fmt::print(stderr, "{}\n", error.what());
      ::_exit(1);
    }
  }
  int status = -1, saved = 0;
  EXPECT_NO_THROW(saved = writeUntil(end, path, shared.id, "first"));
  ::waitpid(child, &status, 0);
  ASSERT_EQ(status, 0);
  const int savedBySecond = std::stoi(platform::files::read(tally));
  EXPECT_GT(saved, 10);
  EXPECT_GT(savedBySecond, 10);

  const auto context = open();
  std::set<std::string> names;
  for (const auto& each : context->fetch<JamfOrganization>()) names.insert(each.name);
  EXPECT_EQ(names.size(), static_cast<std::size_t>(1 + saved + savedBySecond));
  for (int i = 1; i <= saved; ++i) EXPECT_TRUE(names.contains(fmt::format("first {}", i))) << i;
  for (int i = 1; i <= savedBySecond; ++i) EXPECT_TRUE(names.contains(fmt::format("second {}", i))) << i;
  const auto last = context->find<JamfOrganization>(shared.id);
  EXPECT_EQ(last->baseURLString, std::to_string(saved));
  EXPECT_EQ(last->clientID, std::to_string(savedBySecond));
}

}  // namespace
}  // namespace jamf
