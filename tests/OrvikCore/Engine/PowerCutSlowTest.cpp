#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "OrvikCore/Store/BackupVerifier.h"
#include "Platform/Files/FaultSeam.h"
#include "tests/Support/RunFixture.h"

namespace orvik {
namespace {

namespace files = platform::files;
using test::RunFixture;

const std::set<std::string> sections{"users", "policies"};

/// One run in a process of its own that ends at its n-th operation on the disk. False when it came to its
/// end.
bool runAndStopAt(RunFixture& fixture, std::uint64_t n) {
  const pid_t child = fork();
  if (child == 0) {
    files::armFaultSeam(n, files::FaultAction::stop);
    try {
      fixture.run(sections);
    } catch (const std::exception&) {
      std::_Exit(2);
    }
    std::_Exit(0);
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_FALSE(WIFEXITED(status) && WEXITSTATUS(status) == 2);
  return !(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

/// Whether runs seal.
class PowerCut : public testing::TestWithParam<bool> {
 protected:
  ~PowerCut() override { BackupEncryption::forgetKeys(); }
};

TEST_P(PowerCut, AtAnyOperationTheNextRunMakesAWholeBackup) {
  const std::uint64_t step = std::getenv("ORVIK_SHORT") ? 13 : 1;
  std::uint64_t stopped = 0;
  for (std::uint64_t n = 1;; n += step) {
    SCOPED_TRACE("at operation " + std::to_string(n));
    RunFixture fixture;
    fixture.seals = GetParam();
    fixture.bodies.classicSection("users", "users", 3);
    fixture.bodies.classicSection("policies", "policies", 3);
    if (!runAndStopAt(fixture, n)) break;
    ++stopped;
    fixture.unlockAfresh();
    for (const auto& backup : fixture.repository().completeBackups())
      EXPECT_EQ(verifyBackup(fixture.repository(), backup, [](const std::string&) {}).problems, 0U);
    const auto manifest = fixture.run(sections);
    EXPECT_EQ(manifest.encryption.has_value(), GetParam());
    EXPECT_EQ(manifest.totals.objects, 6);
    EXPECT_EQ(
        verifyBackup(fixture.repository(), {manifest.backupID, manifest}, [](const std::string&) {}).problems,
        0U);
    EXPECT_TRUE(fixture.repository().partialBackupIDs().empty());
  }
  EXPECT_GT(stopped, 20U);
}

INSTANTIATE_TEST_SUITE_P(Run, PowerCut, testing::Bool(),
                         [](const auto& row) { return row.param ? "Sealed" : "Plain"; });

}  // namespace
}  // namespace orvik
