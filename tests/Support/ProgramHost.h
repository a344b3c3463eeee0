#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "Platform/Files/Files.h"
#include "tests/Support/JSONLines.h"
#include "tests/Support/RunningProgram.h"

namespace orvik::test {

/// The real program with a home of its own, in which no secret may be left.
class ProgramHost : public testing::Test {
 protected:
  ~ProgramHost() override { expectNoSecrets(home.path()); }

  using Arguments = std::vector<std::string>;

  ProgramStart start(Arguments arguments) const {
    ProgramStart start;
    start.arguments = std::move(arguments);
    start.arguments.insert(start.arguments.begin(), std::string(ORVIK_PROGRAM_FOLDER) + "/orvik");
    start.environment = {
        {"HOME", home.path().string()}, {"TMPDIR", home.path().string()}, {"LANG", "C.UTF-8"}};
    return start;
  }
  ProgramEnd run(Arguments arguments) const { return runToEnd(start(std::move(arguments))); }

  static std::vector<platform::json::Value> linesOf(const ProgramEnd& end) { return jsonLines(end.output); }

  platform::files::TempFolder home{"orvik-home"};
};

}  // namespace orvik::test
