#include "Platform/Host.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <limits>

#include "tests/Support/ScopedVariable.h"

namespace platform {
namespace {

TEST(HostTest, NamesOfThisMachineAndProcess) {
  utsname system{};
  ASSERT_EQ(uname(&system), 0);
  EXPECT_EQ(hostName(), system.nodename);
  EXPECT_FALSE(machineName().empty());
  EXPECT_EQ(processID(), getpid());
  EXPECT_EQ(processName(), "PlatformTests");
}

TEST(HostTest, TheMarkOfThisMachineIsShortAndStaysTheSame) {
  const auto mark = machineMark();
  EXPECT_EQ(mark.size(), 12u);
  EXPECT_EQ(mark.find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_EQ(machineMark(), mark);
}

TEST(HostTest, TheUserIsTheAccountOfTheProcess) {
  const passwd* entry = getpwuid(geteuid());
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(userName(), entry->pw_name);
  EXPECT_FALSE(fullUserName().empty());
  EXPECT_EQ(fullUserName().find(','), std::string::npos);
  const auto fullName = fullNameOfGECOS(entry->pw_gecos, entry->pw_name);
  EXPECT_EQ(userWithFullName(), fullName.empty() ? userName() : fullName + " (" + userName() + ")");
}

TEST(HostTest, TheHomeFolderIsTheEnvironmentsOrElseTheAccounts) {
  const passwd* entry = getpwuid(geteuid());
  ASSERT_NE(entry, nullptr);
  const std::string accounts = entry->pw_dir;
  const orvik::test::ScopedVariable home("HOME", "/home/anna");
  EXPECT_EQ(homeFolder(), "/home/anna");
  home.set({});
  EXPECT_EQ(homeFolder(), accounts);
  for (const auto* text : {"", "anna", "./anna"}) {
    home.set(text);
    EXPECT_EQ(homeFolder(), accounts) << text;
  }
}

TEST(HostTest, PrettyHostNameIsReadFromMachineInfo) {
  EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=\"Anna's Notebook\"\n"), "Anna's Notebook");
  EXPECT_EQ(prettyHostName("CHASSIS=laptop\n# PRETTY_HOSTNAME=no\nPRETTY_HOSTNAME='B\\x \"y\"'"),
            "B\\x \"y\"");
  EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=plain\r\nICON_NAME=computer\n"), "plain");
  EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=\"a \\\"b\\\" \\\\c\"\n"), "a \"b\" \\c");
  EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=\"B\xc3\xbcro\"\n"), "B\xc3\xbcro");
  EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=first\nPRETTY_HOSTNAME=second\n"), "second");
}

TEST(HostTest, NoPrettyHostNameWhereMachineInfoHasNone) {
  for (const auto* text : {"", "\n\n", "CHASSIS=laptop\n", "PRETTY_HOSTNAME=\n", "PRETTY_HOSTNAME=\"\"\n",
                           "PRETTY_HOSTNAME=\"open\n", "XPRETTY_HOSTNAME=x\n", "PRETTY_HOSTNAME"})
    EXPECT_EQ(prettyHostName(text), std::nullopt) << text;
}

TEST(HostTest, TheFullNameIsTheFirstGECOSField) {
  EXPECT_EQ(fullNameOfGECOS("Anna Berg,Room 4,,", "anna"), "Anna Berg");
  EXPECT_EQ(fullNameOfGECOS("  Anna Berg ", "anna"), "Anna Berg");
  EXPECT_EQ(fullNameOfGECOS("& Berg", "anna"), "Anna Berg");
  EXPECT_EQ(fullNameOfGECOS("&", ""), "");
  EXPECT_EQ(fullNameOfGECOS("", "anna"), "");
  EXPECT_EQ(fullNameOfGECOS(",Room 4", "anna"), "");
}

TEST(HostTest, AProcessThatLivesIsAlive) {
  EXPECT_EQ(probeProcess(getpid()), ProcessState::alive);
  EXPECT_EQ(probeProcess(getppid()), ProcessState::alive);
}

TEST(HostTest, AProcessThatEndedIsGone) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) _exit(0);
  ASSERT_EQ(waitpid(child, nullptr, 0), child);
  EXPECT_EQ(probeProcess(child), ProcessState::gone);
}

TEST(HostTest, NumbersThatAreNoProcessIDAreGone) {
  for (const std::int32_t number :
       {0, -1, -getpid(), std::numeric_limits<int>::min(), std::numeric_limits<int>::max()})
    EXPECT_EQ(probeProcess(number), ProcessState::gone) << number;
}

TEST(HostTest, ARefusedProbeMeansThatTheProcessLives) {
  if (geteuid() != 0) GTEST_SKIP() << "needs a process of another user";
  const pid_t parent = getpid();
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    if (setresuid(65534, 65534, 65534) != 0) _exit(2);
    _exit(probeProcess(parent) == ProcessState::alive ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace platform
