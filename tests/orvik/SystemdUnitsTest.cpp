#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <list>

#include "Platform/Files/Files.h"
#include "orvik/CommandTable.h"
#include "tests/Support/Commands.h"
#include "tests/Support/ScopedVariable.h"

namespace orvik {
namespace {

namespace files = platform::files;
using testing::HasSubstr;

const files::Path packaged = std::string(ORVIK_SOURCE_FOLDER) + "/packaging/systemd";

/// The units below a root of their own, with the machine's targets and a program that they start.
class SystemdUnits : public testing::Test {
 protected:
  void SetUp() override {
    if (test::runProgram("/bin/sh", {"-c", "command -v systemd-analyze"}).status != 0)
      GTEST_SKIP() << "systemd-analyze is not installed";
    const files::Path machine = "/usr/lib/systemd/system";
    files::createDirectories(root / "usr/bin");
    files::copyFile("/bin/true", program());
    std::filesystem::permissions(program(), std::filesystem::perms(0755));
    for (const auto& name : files::list(machine))
      if (name.ends_with(".target")) place(machine / name, root / ("usr/lib/systemd/system/" + name));
    for (const auto& name : files::list(packaged))
      if (!name.ends_with(".env")) place(packaged / name, units() / name);
  }

  files::Path program() const { return root / "usr/bin/orvik"; }
  files::Path units() const { return root / "etc/systemd/system"; }
  static void place(const files::Path& from, const files::Path& to) {
    files::atomicWrite(files::read(from), to);
  }

  /// What systemd finds wrong with a unit; it forgives more than it mentions, so a word is as bad as a
  /// status.
  std::string complaints(const std::string& unit) const {
    const auto end = test::runProgram("systemd-analyze", {"verify", "--root=" + root.path().string(), unit});
    return end.out + end.err + (end.status == 0 ? "" : "status " + std::to_string(end.status));
  }
  void replace(const std::string& file, const std::string& from, const std::string& to) const {
    auto text = files::read(units() / file);
    const auto at = text.find(from);
    ASSERT_NE(at, text.npos) << from;
    files::atomicWrite(text.replace(at, from.size(), to), units() / file);
  }

  files::TempFolder root;
};

TEST_F(SystemdUnits, AreWhatSystemdExpects) {
  for (const auto* unit : {"orvik-backup@school.service", "orvik-backup@school.timer",
                           "orvik-schedule.service", "orvik-schedule.timer"})
    EXPECT_EQ(complaints(unit), "") << unit;
}

TEST_F(SystemdUnits, AMistakeInThemWouldBeNoticed) {
  replace("orvik-backup@.service", "ProtectHome=", "ProtectHomes=");
  EXPECT_THAT(complaints("orvik-backup@school.service"), HasSubstr("ProtectHomes"));
  replace("orvik-backup@.timer", "OnCalendar=", "OnCalendar=never ");
  EXPECT_THAT(complaints("orvik-backup@school.timer"), HasSubstr("never"));
  files::remove(program());
  EXPECT_THAT(complaints("orvik-schedule.service"), HasSubstr("/usr/bin/orvik"));
}

TEST_F(SystemdUnits, ABackupIsShutAwayFromTheMachine) {
  // Of 100; the network is what it needs.
  const auto end =
      test::runProgram("systemd-analyze", {"security", "--offline=true", "--no-pager", "--threshold=15",
                                           "--root=" + root.path().string(), "orvik-backup@school.service"});
  EXPECT_EQ(end.status, 0) << end.out << end.err;
}

/// "NAME=VALUE" lines of the example, also of those that are commented out.
std::vector<std::pair<std::string, std::string>> exampleVariables() {
  std::vector<std::pair<std::string, std::string>> found;
  const auto text = files::read(packaged / "example.env");
  for (std::size_t start = 0; start < text.size();) {
    const auto end = std::min(text.find('\n', start), text.size());
    auto line = text.substr(start, end - start);
    start = end + 1;
    if (line.starts_with("#ORVIK_")) line.erase(0, 1);
    if (const auto equals = line.find('='); line.starts_with("ORVIK_") && equals != line.npos)
      found.emplace_back(line.substr(0, equals), line.substr(equals + 1));
  }
  return found;
}

TEST(SystemdExample, IsACompleteBackupByVariablesAlone) {
  std::list<test::ScopedVariable> variables;
  for (const auto& [name, value] : exampleVariables()) variables.emplace_back(name, value);
  ASSERT_GE(variables.size(), 5U);
  const auto backup = std::get<host::BackupArguments>(host::parseCommandLine({"backup"}));
  EXPECT_EQ(backup.url, "https://school.example");
  EXPECT_EQ(backup.to, "/srv/backups");
  EXPECT_EQ(backup.name, "School");
  EXPECT_EQ(backup.keep.keepDays, 90);
  EXPECT_EQ(backup.lockWait, 600);
}

TEST(SystemdExample, HoldsNoSecret) {
  for (const auto& [name, value] : exampleVariables()) EXPECT_THAT(name, testing::Not(HasSubstr("SECRET")));
}

}  // namespace
}  // namespace orvik
