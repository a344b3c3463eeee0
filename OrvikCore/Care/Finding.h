#pragma once

#include <array>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "OrvikCore/Store/ObjectKey.h"

namespace orvik {

/// Who needs something that is not as it should be.
struct Need {
  std::string backup;       ///< the newest that does
  std::size_t backups = 0;  ///< how many do
  std::string section;      ///< in which it is needed, and of which object
  std::string item;
};

/// Something in an instance folder that a person should know. A plain value.
struct Finding {
  enum class Kind {
    // Damage: something is lost, or can't be relied on.
    folderUnreadable,  ///< what it holds is not known
    instanceUnreadable,
    keyRecordMissing,
    keyRecordUnreadable,
    manifestMissing,
    manifestUnreadable,
    indexMissing,
    indexUnreadable,
    indexForeign,  ///< of another section than its name says
    indexPlain,    ///< in a sealed backup, where anybody could have put it
    objectMissing,
    objectEmpty,
    objectDamaged,     ///< the bytes don't reproduce the name
    objectUnreadable,  ///< the disk doesn't give the bytes
    packDamaged,       ///< entries don't reproduce their names
    packCut,           ///< entries lie outside the file
    packIndexOdd,      ///< entries that no writer of ours makes
    packIndexUnreadable,
    indexWithoutPack,
    fileMissing,
    fileDamaged,
    fileUnreadable,
    // Warnings: nothing is lost.
    keyMissing,  ///< sealed content was not looked into
    lockUnreadable,
    lockStale,
    lockAhead,
    backupAhead,
    indexUndeclared,
    runUnreadable,
    packWithoutIndex,
    notJSON,
    stray,
    leftover,
    unreferenced,
  };

  Kind kind = Kind::stray;
  std::string path;          ///< below the instance folder; of what is missing, where it was looked for
  std::string text;          ///< a sentence
  std::optional<Need> need;  ///< of objects and package files that a backup refers to
  /// The object, where the path names a pack.
  std::optional<ObjectKey> object;

  bool isDamage() const noexcept { return kind < Kind::keyMissing; }
};

constexpr auto enumTexts(Finding::Kind) {
  using enum Finding::Kind;
  using namespace std::string_view_literals;
  return std::array{std::pair{folderUnreadable, "folderUnreadable"sv},
                    std::pair{instanceUnreadable, "instanceUnreadable"sv},
                    std::pair{keyRecordMissing, "keyRecordMissing"sv},
                    std::pair{keyRecordUnreadable, "keyRecordUnreadable"sv},
                    std::pair{manifestMissing, "manifestMissing"sv},
                    std::pair{manifestUnreadable, "manifestUnreadable"sv},
                    std::pair{indexMissing, "indexMissing"sv},
                    std::pair{indexUnreadable, "indexUnreadable"sv},
                    std::pair{indexForeign, "indexForeign"sv},
                    std::pair{indexPlain, "indexPlain"sv},
                    std::pair{objectMissing, "objectMissing"sv},
                    std::pair{objectEmpty, "objectEmpty"sv},
                    std::pair{objectDamaged, "objectDamaged"sv},
                    std::pair{objectUnreadable, "objectUnreadable"sv},
                    std::pair{packDamaged, "packDamaged"sv},
                    std::pair{packCut, "packCut"sv},
                    std::pair{packIndexOdd, "packIndexOdd"sv},
                    std::pair{packIndexUnreadable, "packIndexUnreadable"sv},
                    std::pair{indexWithoutPack, "indexWithoutPack"sv},
                    std::pair{fileMissing, "fileMissing"sv},
                    std::pair{fileDamaged, "fileDamaged"sv},
                    std::pair{fileUnreadable, "fileUnreadable"sv},
                    std::pair{keyMissing, "keyMissing"sv},
                    std::pair{lockUnreadable, "lockUnreadable"sv},
                    std::pair{lockStale, "lockStale"sv},
                    std::pair{lockAhead, "lockAhead"sv},
                    std::pair{backupAhead, "backupAhead"sv},
                    std::pair{indexUndeclared, "indexUndeclared"sv},
                    std::pair{runUnreadable, "runUnreadable"sv},
                    std::pair{packWithoutIndex, "packWithoutIndex"sv},
                    std::pair{notJSON, "notJSON"sv},
                    std::pair{stray, "stray"sv},
                    std::pair{leftover, "leftover"sv},
                    std::pair{unreferenced, "unreferenced"sv}};
}

/// The visible names of a folder below `root`, ascending. One that is there and can't be listed is a finding
/// and gives none.
std::vector<std::string> listedNames(const std::filesystem::path& root, const std::string& folder,
                                     std::vector<Finding>& findings);

}  // namespace orvik
