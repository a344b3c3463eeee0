#pragma once

#include <string>

#include "tests/Support/CheckedFolder.h"
#include "tests/Support/ProgramHost.h"

namespace orvik::test {

/// The real program on a folder that a test damages.
class CareHost : public ProgramHost {
 protected:
  std::string path() const { return folder.folder.path().string(); }
  ProgramEnd command(const std::string& name, const Arguments& more = {}) const {
    Arguments all{name, path()};
    all.insert(all.end(), more.begin(), more.end());
    return run(all);
  }
  /// The lines of an event.
  static std::vector<platform::json::Value> events(const ProgramEnd& end, const std::string& name) {
    std::vector<platform::json::Value> found;
    for (auto& line : linesOf(end))
      if (member(line, "event") == name) found.push_back(std::move(line));
    return found;
  }
  static platform::json::Value last(const ProgramEnd& end) { return linesOf(end).back(); }
  /// A number below objects: "result", "filesMoved".
  static std::string within(const platform::json::Value& line, const std::string& object,
                            const std::string& name) {
    const auto* found = line.find(object);
    return found == nullptr ? "(none)" : member(*found, name);
  }

  CheckedFolder folder;
};

}  // namespace orvik::test
