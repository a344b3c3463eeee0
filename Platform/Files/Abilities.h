#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Files/Files.h"

/// What the file system of a folder can do, found out by doing it: mounts of shares and of synchronised
/// places promise more than they keep.
namespace platform::files {

/// What became of one attempt.
struct Trial {
  enum class Result {
    works,
    partly,  ///< it is done, but not as on a local disk
    fails,
    untried  ///< because something else failed
  };

  Result result = Result::untried;
  std::string problem;  ///< a sentence unless it works or was not tried
};

struct Abilities {
  Trial write;      ///< a folder with a file is made and read back
  Trial rename;     ///< a file takes another's place, and a filled folder another name; `partly`: by a copy
  Trial noReplace;  ///< a rename that never replaces anything; `partly`: not in one step
  Trial flush;      ///< a file and a folder reach stable storage
  Trial caseTold;   ///< names that differ in case are two; `partly` where they are one
  Trial longNames;  ///< names of 255 bytes; `partly` where they can't be
  std::optional<std::uint64_t> freeBytes;  ///< for this user; nothing when the system can't tell
};

/// Tries all of it in a fresh folder below `folder`, called `prefix` and a UUID, which is gone afterwards.
/// Every change of the disk passes the fault seam.
Abilities tryAbilities(const Path& folder, std::string_view prefix);

}  // namespace platform::files
