#pragma once

#include <map>
#include <string>
#include <utility>

#include "tests/Support/ProgramHost.h"
#include "tests/Support/SampleFolder.h"

namespace orvik::test {

/// The real program on an instance folder without an interrupted run.
class FolderHost : public ProgramHost {
 protected:
  FolderHost() {
    platform::files::removeTree(sample.partial());
    platform::files::remove(lockPath());
  }

  /// A start with a person at a terminal who types `answer`.
  ProgramStart typing(const std::string& answer, Arguments arguments) const {
    auto program = start(std::move(arguments));
    program.error = ProgramStart::Error::terminal;
    program.inputKind = ProgramStart::Input::terminal;
    program.environment["TERM"] = "dumb";
    program.input = answer + "\n";
    return program;
  }
  Path root() const { return sample.folder.path(); }
  std::string folder() const { return root().string(); }
  Path lockPath() const { return root() / BackupFormat::lockFile; }
  void place(const BackupLock& lock) const { write(lockPath(), BackupFormat::makeEncoder().encode(lock)); }
  std::map<std::string, std::string> content() const { return contentOf(root()); }

  SampleFolder sample;
};

}  // namespace orvik::test
