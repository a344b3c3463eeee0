#pragma once

#include <map>
#include <string>
#include <utility>

#include "tests/Support/HostFixture.h"
#include "tests/Support/JSONLines.h"

namespace orvik::test {

/// The real program with instances and a keychain of its own, and a real server to register. The keychain is
/// one of files: no session bus answers.
class InstanceHost : public HostFixture {
 protected:
  ProgramEnd run(Arguments arguments, const std::string& input = {},
                 const std::map<std::string, std::string>& environment = {}) const {
    auto with = start(std::move(arguments));
    with.input = input;
    for (const auto& [name, value] : environment) with.environment[name] = value;
    return runToEnd(with);
  }
  /// A start with a person at a terminal.
  ProgramStart atTerminal(Arguments arguments) const {
    auto with = start(std::move(arguments));
    with.error = ProgramStart::Error::terminal;
    with.inputKind = ProgramStart::Input::terminal;
    with.environment["TERM"] = "dumb";
    return with;
  }

  Arguments adding(const std::string& name, const Arguments& more = {}) const {
    Arguments all{"instances", "add",        "--name",      name,
                  "--url",     server.url(), "--client-id", server.clientID()};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }
  /// Registers the server with its secret.
  ProgramEnd add(const std::string& name = "School", const Arguments& more = {}) {
    auto arguments = adding(name, {"--secret-file", secretFile.string()});
    arguments.insert(arguments.end(), more.begin(), more.end());
    auto end = run(arguments);
    exempt.insert(keychainFile());
    return end;
  }

  std::filesystem::path data() const { return folder / ".local/share/orvik"; }
  std::filesystem::path instancesFile() const { return data() / "instances.json"; }
  std::filesystem::path secretsFolder() const { return data() / "secrets"; }
  /// The one file of the keychain; a name that nothing has when there is none.
  std::filesystem::path keychainFile() const {
    const auto names = platform::files::visibleNames(secretsFolder());
    EXPECT_LE(names.size(), 1U);
    return names.empty() ? secretsFolder() / "none" : secretsFolder() / names.front();
  }
  bool hasSecret() const { return platform::files::exists(keychainFile()); }
  /// What `instances list` says of the one instance.
  platform::json::Value listed() const {
    return jsonLines(run({"instances", "list", "--json"}).output).at(0);
  }
};

}  // namespace orvik::test
