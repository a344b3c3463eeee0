#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "OrvikCore/Explore/BackupReader.h"
#include "Platform/Bytes.h"
#include "Platform/JSON/Value.h"
#include "orvik/Explore/Tree/BackupTree.h"

namespace orvik::host {

/// "backup.json": what a tree is of, and the mark by which an export knows its own.
class TreeRecord {
 public:
  /// Of a tree that holds a backup: its ID and times, whose it is, how many objects each section has, and
  /// what was left out.
  static TreeRecord of(const BackupReader& backup, const TreeChanges& changes);
  /// Of a tree that is on its way to it.
  static TreeRecord begun(const BackupReader& backup);

  platform::Bytes text() const;

  /// Whose tree the text is the record of; nothing for what is no record. Throws `tuv::Error` for that of a
  /// later version.
  static std::optional<std::string> instanceOf(const platform::Bytes& text);
  /// Whether it is the record of a tree that holds, or is on its way to, that backup.
  static bool isOf(const platform::Bytes& text, std::string_view backupID);
  /// Throws `tuv::Error` unless the backup is of that instance; `place` names the tree.
  static void requireInstance(const std::string& instanceID, const BackupReader& backup,
                              const std::string& place);

 private:
  explicit TreeRecord(platform::json::Value value) : value_(std::move(value)) {}
  platform::json::Value value_;
};

}  // namespace orvik::host
