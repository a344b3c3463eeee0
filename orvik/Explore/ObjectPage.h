#pragma once

#include <optional>
#include <string>
#include <vector>

#include "OrvikCore/Explore/BackupReader.h"
#include "OrvikCore/Explore/ObjectDescription.h"
#include "Platform/JSON/Value.h"
#include "orvik/Output/Paint.h"

namespace orvik::host {

/// An object of a backup as `orvik show` gives it.
struct ObjectPage {
  std::string backup;  ///< its ID and time, in words
  std::string backupID;
  std::optional<std::string> parentID;
  BackupReader::Entry entry;
  ObjectDescription description;
  std::vector<std::string> problems;       ///< what of it can't be read
  std::optional<std::string> lastVersion;  ///< the backup to look at when this one does not hold it

  static ObjectPage of(const BackupReader& backup, const BackupReader::Entry& entry);

  /// Facts, lists and changes, then texts between rules, then the outline; plain lines, safe for a terminal,
  /// without the end of the last.
  std::string text(const Paint& paint) const;

  /// One line for scripts. The outline's nodes below `deepestLevel` are left out, and the node above them
  /// says `"cut":true`: JSON that is read back has a depth, too.
  static constexpr int deepestLevel = 200;
  platform::json::Value json() const;
};

}  // namespace orvik::host
