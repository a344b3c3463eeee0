#pragma once

#include <string>

#include "tests/Support/ProgramHost.h"
#include "tests/Support/WrittenBackup.h"

namespace orvik::test {

/// The real program on a folder of three backups that tell a small story: policy 1 is changed twice, 2 goes
/// with the second, 3 comes with it; script 5 changes in a line.
class ExploreHost : public ProgramHost {
 protected:
  static constexpr const char* first = "2025-03-03T091500Z";
  static constexpr const char* second = "2025-03-04T091500Z";
  static constexpr const char* third = "2025-03-05T091500Z";
  using Change = IndexItem::Change;

  ExploreHost() {
    repository.writeDescriptor(instanceNamed("North"));
    WrittenBackup(stored, first)
        .section("policies")
        .item("1", "Install Office", policy("Install Office", true, "Once per computer"), Change::new_)
        .item("2", "Old policy", policy("Old policy", false, "Ongoing"), Change::new_)
        .section("scripts")
        .item("5", "Hello", script("#!/bin/sh\necho one\nexit 0\n"), Change::new_)
        .publish();
    WrittenBackup(stored, second)
        .section("policies")
        .item("1", "Install Office", policy("Install Office", false, "Once per computer"), Change::changed)
        .item("3", "Install Wi-Fi", policy("Install Wi-Fi", true, "Ongoing"), Change::new_)
        .removed("2", "Old policy")
        .section("scripts")
        .item("5", "Hello", script("#!/bin/sh\necho one\nexit 0\n"))
        .publish(first);
    WrittenBackup(stored, third)
        .section("policies")
        .item("1", "Install Office", policy("Install Office", false, "Ongoing"), Change::changed)
        .item("3", "Install Wi-Fi", policy("Install Wi-Fi", true, "Ongoing"))
        .section("scripts")
        .item("5", "Hello", script("#!/bin/sh\necho two\nexit 0\n"), Change::changed)
        .publish(second);
  }

  /// `orvik COMMAND FOLDER …`.
  ProgramStart starting(const std::string& command, const Arguments& more = {}) const {
    Arguments all{command, folder()};
    all.insert(all.end(), more.begin(), more.end());
    return start(all);
  }
  ProgramEnd command(const std::string& name, const Arguments& more = {}) const {
    return runToEnd(starting(name, more));
  }
  /// With colours, where they are wanted.
  static ProgramStart onTerminal(ProgramStart start) {
    start.output = ProgramStart::Output::terminal;
    start.environment["TERM"] = "xterm";
    return start;
  }

  static std::string policy(const std::string& name, bool isEnabled, const std::string& frequency) {
    using platform::json::Value;
    const auto general = Value::object({{"name", name}, {"enabled", isEnabled}, {"frequency", frequency}});
    return Value::object({{"general", general}, {"scripts", Value::array()}}).text();
  }
  static std::string script(const std::string& contents) {
    return platform::json::Value::object({{"name", "Hello"}, {"scriptContents", contents}}).text();
  }

  std::string folder() const { return stored.folder.path().string(); }
  Path indexOf(const std::string& id, const std::string& section) const {
    return repository.backupDirectory(id) / BackupFormat::sectionPath(section);
  }

  StoredBackups stored;
  const BackupRepository& repository = stored.repository;
};

}  // namespace orvik::test
