#include "Platform/Process/CapturedProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "Platform/Process/ChildProcess.h"
#include "tests/Support/ScopedVariable.h"

namespace platform {
namespace {

using testing::Contains;
using testing::Not;
using testing::StartsWith;

/// What a command for the shell prints that reads `input`.
std::string outputOf(const std::string& command, const std::string& input) {
  CapturedProcess process;
  process.path = "/bin/sh";
  process.arguments = {"-c", command};
  process.timeout = std::chrono::seconds(20);
  process.input = input;
  std::string output;
  const auto end = process.run([&](std::string_view piece, bool) { output += piece; });
  EXPECT_EQ(end.status, 0);
  EXPECT_FALSE(end.timedOut);
  return output;
}

TEST(CapturedProcess, TheInputIsReadWhole) {
  EXPECT_EQ(outputOf("cat", "a line\n"), "a line\n");
  const std::string large(1 << 20, 'x');  // more than a pipe holds
  EXPECT_EQ(outputOf("cat", large), large);
}

TEST(CapturedProcess, WithoutInputItsEndComesAtOnce) { EXPECT_EQ(outputOf("cat; echo end", ""), "end\n"); }

TEST(CapturedProcess, AProgramNeedNotReadItsInput) {
  EXPECT_EQ(outputOf("echo done", std::string(1 << 20, 'x')), "done\n");
}

TEST(CapturedProcess, AProgramThatHearsNoTerminalHasAGroupOfItsOwn) {
  for (const bool hears : {true, false}) {
    CapturedProcess process;
    process.path = "/bin/sh";
    process.arguments = {"-c", "test \"$(cut -d' ' -f5 /proc/$$/stat)\" = $$"};
    process.timeout = std::chrono::seconds(20);
    process.hearsTerminal = hears;
    EXPECT_EQ(process.run([](std::string_view, bool) {}).status, hears ? 1 : 0);
  }
}

TEST(CapturedProcess, ProgramsGetThisEnvironmentWithoutThePINOfAToken) {
  const orvik::test::ScopedVariable pin("ORVIK_PKCS11_PIN", "1234");
  const orvik::test::ScopedVariable other("ORVIK_PKCS11_PINS", "kept");
  const auto variables = environmentForPrograms();
  EXPECT_THAT(variables, Contains("ORVIK_PKCS11_PINS=kept"));
  EXPECT_THAT(variables, Not(Contains(StartsWith("ORVIK_PKCS11_PIN="))));
}

}  // namespace
}  // namespace platform
