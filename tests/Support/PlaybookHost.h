#pragma once

#include <string>

#include "tests/Support/OrgHost.h"

namespace orvik::test {

/// The real program with an organization "School", and playbooks in files of a folder.
class PlaybookHost : public OrgHost {
 protected:
  PlaybookHost() {
    server.log().setDetail(sample::LogDetail::all);
    EXPECT_EQ(add("School").status, 0);
  }

  std::string file(const std::string& name) const { return (folder / name).string(); }
  std::string playbook(const std::string& resources, const std::string& name = "p.yaml") const {
    platform::files::atomicWrite("name: P\nresources:\n" + resources, file(name));
    return file(name);
  }
  ProgramEnd command(const std::string& name, const Arguments& more) const {
    Arguments all{"playbook", name};
    all.insert(all.end(), more.begin(), more.end());
    return run(all);
  }
  /// On the organization.
  ProgramEnd onSchool(const std::string& name, const std::string& playbookFile,
                      const Arguments& more = {}) const {
    Arguments all{playbookFile, "--org", "School"};
    all.insert(all.end(), more.begin(), more.end());
    return command(name, all);
  }

  /// What was written to the server, tokens aside.
  std::vector<std::string> writes() {
    std::vector<std::string> found;
    for (const auto& request : server.log().entries())
      if (request.method != "GET" && request.path != "api/oauth/token")
        found.push_back(request.method + " " + request.path);
    return found;
  }

  static std::vector<platform::json::Value> named(const std::string& event, const ProgramEnd& end) {
    auto lines = jsonLines(end.output);
    std::erase_if(lines, [&](const auto& line) { return member(line, "event") != event; });
    return lines;
  }
};

}  // namespace orvik::test
