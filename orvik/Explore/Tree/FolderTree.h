#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "OrvikCore/Explore/BackupReader.h"
#include "Platform/Files/Files.h"
#include "orvik/Explore/Tree/TreeSink.h"
#include "orvik/Explore/Tree/TreeState.h"

namespace orvik::host {

/// A tree in a folder of its own. Files that hold already what they should are not touched; no link below the
/// folder is followed, and nothing is deleted that the lists of the tree don't name.
///
/// What is about to be written is noted first (".orvik/unfinished"), so that a run that was interrupted
/// leaves no file of which a later one doesn't know that it is the export's.
class FolderTree final : public TreeSink {
 public:
  using Path = std::filesystem::path;
  using OnWritten = std::function<void(const BackupReader::Entry& entry, const Path& path)>;
  using OnRemoved = std::function<void(const Path& path)>;

  struct Counts {
    int written = 0;
    int unchanged = 0;
    int deleted = 0;
  };

  /// Takes a folder that is missing, empty or a tree of the same instance. Throws `tuv::Error` for any other,
  /// and `FileError`.
  FolderTree(Path folder, const BackupReader& backup, OnWritten onWritten, OnRemoved onRemoved);

  /// What the tree holds.
  const TreeState& state() const { return state_; }

  /// Marks the tree as one that is on its way to the backup. Before the first file.
  void begin(const BackupReader& backup);
  /// What the next run needs not know goes. After the record.
  void end();

  /// Of objects' files.
  const Counts& counts() const { return counts_; }

  bool put(const BackupReader::Entry& entry, const ObjectFile& file, Owner owner) override;
  void putRecord(const std::string& path, const platform::Bytes& text) override;
  void remove(const std::string& path) override;

 private:
  void readState();
  void readJournal();
  void note(const BackupReader::Entry& entry, const std::string& name);
  void readNote(std::string_view line);
  void removeRemainders();
  void requireFolder(const Path& folder);
  bool holds(const Path& path, const platform::Bytes& bytes) const;

  const Path folder_;
  const OnWritten onWritten_;
  const OnRemoved onRemoved_;
  TreeState state_;
  std::set<Path> folders_;  // that are no links
  std::optional<platform::files::AppendFile> journal_;
  Counts counts_;
};

}  // namespace orvik::host
