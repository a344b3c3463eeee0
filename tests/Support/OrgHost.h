#pragma once

#include <map>
#include <string>

#include "tests/Support/HostFixture.h"
#include "tests/Support/JSONLines.h"

namespace orvik::test {

/// The real program with organizations and a keychain of its own. The keychain is one of files: no session
/// bus answers.
class OrgHost : public HostFixture {
 protected:
  ProgramEnd run(Arguments arguments, const std::string& input = {},
                 const std::map<std::string, std::string>& environment = {}) const {
    auto with = start(std::move(arguments));
    with.input = input;
    for (const auto& [name, value] : environment) with.environment[name] = value;
    return runToEnd(with);
  }
  Arguments adding(const std::string& name, const Arguments& more = {}) const {
    Arguments all{"orgs", "add", "--name", name, "--url", server.url(), "--client-id", server.clientID()};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }
  /// Registers the server with its secret.
  ProgramEnd add(const std::string& name, const Arguments& more = {}) {
    auto arguments = adding(name, {"--secret-file", secretFile.string()});
    arguments.insert(arguments.end(), more.begin(), more.end());
    auto end = run(arguments);
    for (const auto& each : secrets()) exempt.insert(secretsFolder() / each);
    return end;
  }
  /// What `orgs list --json` says, a line for each organization.
  std::vector<platform::json::Value> listed(const Arguments& more = {}) const {
    Arguments arguments{"orgs", "list", "--json"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    auto lines = jsonLines(run(arguments).output);
    EXPECT_EQ(member(lines.back(), "event"), "finished");
    std::erase_if(lines, [](const auto& line) { return member(line, "event") != "organization"; });
    return lines;
  }
  std::vector<std::string> names(const Arguments& more = {}) const {
    std::vector<std::string> found;
    for (const auto& line : listed(more)) found.push_back(member(line, "name"));
    return found;
  }

  std::filesystem::path data() const { return folder / ".local/share/orvik"; }
  std::filesystem::path database() const { return data() / "organizations.sqlite"; }
  std::filesystem::path secretsFolder() const { return data() / "secrets"; }
  std::vector<std::string> secrets() const { return platform::files::visibleNames(secretsFolder()); }
};

}  // namespace orvik::test
