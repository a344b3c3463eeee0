#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "OrvikCore/Store/BackupLock.h"
#include "Platform/Bytes.h"
#include "Platform/JSON/Value.h"

namespace orvik::host {

/// What stands where a folder's lock stands, at one moment.
struct FoundLock {
  enum class State {
    none,
    lock,
    foreign,     ///< a file that is no lock; the next writer takes its place
    unreadable,  ///< nobody knows what it is
  };
  State state = State::none;
  std::filesystem::path path;
  platform::Bytes bytes;           ///< of `lock` and `foreign`
  std::optional<BackupLock> lock;  ///< of `lock`
  std::string problem;             ///< of `unreadable`: a sentence

  static FoundLock in(const std::filesystem::path& folder);
};

/// The holder, its age, and whether it is stale and by which rule, as lines for people.
std::vector<std::string> lockText(const FoundLock& found, platform::Date now);
/// The same as members of a JSON line: "state" is none, live, stale, foreign or unreadable.
platform::json::Value lockJSON(const FoundLock& found, platform::Date now);

}  // namespace orvik::host
