#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <tuple>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/BackupVerifier.h"
#include "Platform/Files/FaultSeam.h"
#include "tests/Support/RunFixture.h"

namespace orvik {
namespace {

namespace files = platform::files;
using test::RunFixture;

const std::set<std::string> sections{"users", "policies", "ssoSettings"};

void fill(RunFixture& fixture) {
  fixture.bodies.classicSection("users", "users", 2);
  fixture.bodies.classicSection("policies", "policies", 2);
  fixture.bodies.set("api/v3/sso", R"({"ssoEnabled":false})");
}

enum class Form { plain, sealed };

std::uint64_t operationsOfARun(Form form) {
  RunFixture fixture;
  fixture.seals = form == Form::sealed;
  fill(fixture);
  files::armFaultSeam(UINT64_MAX, files::FaultAction::fail, EIO);
  fixture.run(sections);
  const auto operations = files::operationsSinceArmed();
  files::disarmFaultSeam();
  return operations;
}

/// What stands in the folder is whole, and the next run makes a whole backup of all objects.
void expectNothingLost(RunFixture& fixture) {
  const auto repository = fixture.repository();
  const auto verify = [&](const BackupRepository::Backup& backup) {
    return verifyBackup(repository, backup, [](const std::string& problem) { ADD_FAILURE() << problem; })
        .problems;
  };
  for (const auto& backup : repository.completeBackups()) EXPECT_EQ(verify(backup), 0U);
  const auto manifest = fixture.run(sections);
  EXPECT_EQ(manifest.status, BackupManifest::Status::complete);
  EXPECT_EQ(manifest.totals.objects, 5);
  EXPECT_EQ(verify({manifest.backupID, manifest}), 0U);
  EXPECT_TRUE(repository.partialBackupIDs().empty());
}

/// How the disk fails, and whether runs seal.
class FullDisk : public testing::TestWithParam<std::tuple<files::FaultAction, Form>> {
 protected:
  ~FullDisk() override { BackupEncryption::forgetKeys(); }
};

TEST_P(FullDisk, AtAnyOperationLeavesNoHalfBackupAndOneSentence) {
  const auto [action, form] = GetParam();
  const auto operations = operationsOfARun(form);
  ASSERT_GT(operations, 40U);
  // A prime, so that the short form meets every kind of operation too.
  const std::uint64_t step = std::getenv("ORVIK_SHORT") ? 13 : 1;
  for (std::uint64_t n = 1; n <= operations; n += step) {
    SCOPED_TRACE("at operation " + std::to_string(n) + " of " + std::to_string(operations));
    RunFixture fixture;
    fixture.seals = form == Form::sealed;
    fill(fixture);
    files::armFaultSeam(n, action, ENOSPC);
    try {
      fixture.run(sections);
    } catch (const tuv::Error& error) {
      EXPECT_THAT(error.description(), testing::HasSubstr("No space left on device"));
      EXPECT_TRUE(fixture.repository().completeBackups().empty());
    }
    files::disarmFaultSeam();
    fixture.unlockAfresh();
    expectNothingLost(fixture);
  }
}

std::string rowName(const testing::TestParamInfo<FullDisk::ParamType>& row) {
  const auto [action, form] = row.param;
  return std::string(action == files::FaultAction::fail ? "ForAMoment" : "FromThenOn") +
         (form == Form::sealed ? "Sealed" : "Plain");
}

INSTANTIATE_TEST_SUITE_P(Run, FullDisk,
                         testing::Combine(testing::Values(files::FaultAction::fail,
                                                          files::FaultAction::failFromThen),
                                          testing::Values(Form::plain, Form::sealed)),
                         rowName);

}  // namespace
}  // namespace orvik
