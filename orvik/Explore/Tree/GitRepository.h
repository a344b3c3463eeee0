#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "Platform/Process/FedProcess.h"

namespace orvik::host {

/// A git repository with a work tree, and the program git on it: found in PATH, without hooks, and without
/// what the user, the system or the environment have settled. Only the repository's own settings count.
class GitRepository {
 public:
  using Path = std::filesystem::path;
  using Arguments = std::vector<std::string>;

  /// Finds git. Throws `tuv::Error` when it isn't there.
  explicit GitRepository(Path folder);

  const Path& folder() const { return folder_; }

  /// Makes a repository of a folder that is missing or empty. Throws `tuv::Error` for one that holds anything
  /// else than a repository at its top.
  void require(const std::stop_token& stop) const;

  struct End {
    int status = 0;
    std::string output;
    std::string errors;
  };
  /// Runs git to its end, whatever that is. Throws `platform::CancellationError` on a stop.
  End run(const Arguments& arguments, const std::string& input, const std::stop_token& stop) const;
  /// The same; throws `tuv::Error` with git's words unless it succeeds, and gives what it printed.
  std::string output(const Arguments& arguments, const std::stop_token& stop,
                     const std::string& input = {}) const;
  /// The first line of that; nothing when git does not succeed.
  std::optional<std::string> tryLine(const Arguments& arguments, const std::stop_token& stop) const;

  /// Starts git and feeds it.
  std::unique_ptr<platform::FedProcess> feed(const Arguments& arguments, const std::stop_token& stop) const;

 private:
  platform::CapturedProcess process(const Arguments& arguments) const;

  const Path folder_;
  const std::string program_;
};

}  // namespace orvik::host
