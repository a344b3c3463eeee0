#pragma once

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>

#include "tests/Support/Commands.h"
#include "tests/Support/ExploreHost.h"

namespace orvik::test {

/// The story of `ExploreHost` on its way to text files.
class TreeHost : public ExploreHost {
 protected:
  static constexpr const char* fourth = "2025-03-06T091500Z";

  ProgramEnd toTree(Arguments more = {}) const {
    more.insert(more.end(), {"--tree", tree.string()});
    return command("export", more);
  }
  ProgramEnd toGit(Arguments more = {}) const {
    more.insert(more.end(), {"--git", tree.string()});
    return command("export", more);
  }

  /// The paths of the files below, but for those of git.
  static std::set<std::string> pathsIn(const Path& folder) {
    std::set<std::string> paths;
    for (const auto& [path, bytes] : contentOf(folder))
      if (!path.starts_with(".git/")) paths.insert(path);
    return paths;
  }
  std::string content(const std::string& path) const { return platform::files::read(tree / path); }

  /// What git prints on the repository.
  std::string git(Arguments arguments) const { return gitIn(tree, std::move(arguments)); }
  static std::string gitIn(const Path& folder, Arguments arguments) {
    arguments.insert(arguments.begin(), {"-C", folder.string(), "-c", "user.name=Ada", "-c",
                                         "user.email=ada@example.org", "-c", "core.quotePath=false"});
    return outputOf("git", arguments);
  }
  std::string head() const { return git({"rev-parse", "HEAD"}); }
  /// The subjects of all commits, newest first.
  std::string subjects() const { return git({"log", "--format=%s"}); }
  std::string newestMessage() const { return git({"log", "-1", "--format=%B"}); }
  /// "A", "D", "M" or "R100" with the paths of the newest commit.
  std::string newestChanges() const {
    return git({"show", "--format=", "--name-status", "-M", "HEAD", "--", "policies", "scripts"});
  }

  const Path tree = home.path() / "made" / "when missing";
};

}  // namespace orvik::test
