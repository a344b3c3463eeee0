#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Date.h"
#include "orvik/Explore/Tree/GitRepository.h"

namespace orvik::host {

/// One `git fast-import` for any number of commits in a row. What is put goes to git at once; the reference
/// names the last commit when all is done, whatever it named before, and is left alone in any other case.
class FastImport {
 public:
  using Mark = std::uint64_t;

  /// A path that a commit changes. Paths are relative and hold no empty part, "." or "..".
  struct Change {
    std::string path;
    std::optional<Mark> content;  ///< none: the path goes
    bool isExecutable = false;
  };

  /// `reference` is a whole name, "refs/heads/main". `head` is the commit that the first one stands on, as 40
  /// or more hexadecimal digits, if there is one.
  FastImport(const GitRepository& repository, std::string reference, std::optional<std::string> head,
             const std::stop_token& stop);

  /// Throws, as all here, `tuv::Error` with git's words and `platform::CancellationError`.
  Mark blob(std::string_view bytes);
  void commit(std::string_view message, platform::Date date, const std::vector<Change>& changes);
  void finish();

 private:
  void send(std::string_view bytes);
  void end();

  const std::string reference_;
  std::optional<std::string> head_;
  const std::unique_ptr<platform::FedProcess> git_;
  Mark last_ = 0;
};

/// A path as fast-import takes any: in quotes, with what controls, quotes and backslashes escaped.
std::string quotedPath(std::string_view path);

}  // namespace orvik::host
