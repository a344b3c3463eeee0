#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/Support/JSONLines.h"
#include "tests/Support/RunningProgram.h"
#include "tests/Support/SampleFolder.h"

namespace orvik::test {

/// The real program on an instance folder without an interrupted run, with a home of its own.
class FolderHost : public testing::Test {
 protected:
  using Arguments = std::vector<std::string>;

  FolderHost() {
    platform::files::removeTree(sample.partial());
    platform::files::remove(lockPath());
  }

  ProgramStart start(Arguments arguments) const {
    ProgramStart start;
    start.arguments = std::move(arguments);
    start.arguments.insert(start.arguments.begin(), std::string(ORVIK_PROGRAM_FOLDER) + "/orvik");
    start.environment = {
        {"HOME", home.path().string()}, {"TMPDIR", home.path().string()}, {"LANG", "C.UTF-8"}};
    return start;
  }
  /// The same with a person at a terminal who types `answer`.
  ProgramStart typing(const std::string& answer, Arguments arguments) const {
    auto program = start(std::move(arguments));
    program.error = ProgramStart::Error::terminal;
    program.inputKind = ProgramStart::Input::terminal;
    program.environment["TERM"] = "dumb";
    program.input = answer + "\n";
    return program;
  }
  ProgramEnd run(Arguments arguments) const { return runToEnd(start(std::move(arguments))); }

  static std::vector<platform::json::Value> linesOf(const ProgramEnd& end) { return jsonLines(end.output); }

  Path root() const { return sample.folder.path(); }
  std::string folder() const { return root().string(); }
  Path lockPath() const { return root() / BackupFormat::lockFile; }
  void place(const BackupLock& lock) const { write(lockPath(), BackupFormat::makeEncoder().encode(lock)); }
  std::map<std::string, std::string> content() const { return contentOf(root()); }

  SampleFolder sample;
  platform::files::TempFolder home{"orvik-home"};
};

}  // namespace orvik::test
