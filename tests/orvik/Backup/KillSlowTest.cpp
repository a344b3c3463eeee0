#include <gtest/gtest.h>

#include <string>

#include "tests/Support/InterruptedRuns.h"

namespace orvik::test {
namespace {

constexpr int places = 20;

class Kill : public InterruptedRuns {};

TEST_F(Kill, AtTwentyPlacesAResumedRunEqualsAnUninterruptedOneObjectForObject) {
  const auto before = server.log().total();
  runToTheEnd(folder / "reference");
  const auto requests = server.log().total() - before;
  const auto reference = contentOf(folder / "reference");
  ASSERT_GT(reference.size(), 300U);

  for (int place = 1; place <= places; ++place) {
    const auto n = requests * static_cast<std::uint64_t>(place) / (places + 1);
    SCOPED_TRACE("killed at request " + std::to_string(n) + " of " + std::to_string(requests));
    const auto to = folder / ("killed-" + std::to_string(place));
    runAndKillAt(to, n);
    EXPECT_TRUE(BackupRepository(to, "127.0.0.1").completeBackups().empty());
    runToTheEnd(to);
    EXPECT_EQ(contentOf(to), reference);
    EXPECT_TRUE(BackupRepository(to, "127.0.0.1").partialBackupIDs().empty());
  }
}

TEST_F(Kill, OneRunThatIsKilledAgainAndAgainStillEndsWhole) {
  runToTheEnd(folder / "reference");
  const auto to = folder / "killed";
  for (int attempt = 0; attempt < places; ++attempt) runAndKillAt(to, 12);
  runToTheEnd(to);
  EXPECT_EQ(contentOf(to), contentOf(folder / "reference"));
}

TEST_F(Kill, ASealedRunThatIsKilledAgainAndAgainStillEndsWholeAndSealed) {
  const auto to = folder / "killed";
  for (const auto& each : {folder / "reference", to}) seal(each);
  runToTheEnd(folder / "reference");
  for (int attempt = 0; attempt < places / 2; ++attempt) runAndKillAt(to, 20);
  runToTheEnd(to);
  EXPECT_EQ(contentOf(to), contentOf(folder / "reference"));
}

}  // namespace
}  // namespace orvik::test
