#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <stop_token>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "OrvikCore/Explore/BackupReader.h"
#include "orvik/Explore/Tree/TreeSink.h"
#include "orvik/Explore/Tree/TreeState.h"

namespace orvik::host {

/// What became of a tree when it was brought to a backup.
struct TreeChanges {
  /// Objects of a section, against what the tree held before.
  struct Section {
    std::string id;
    int objects = 0;
    int new_ = 0;
    int changed = 0;
    int removed = 0;

    bool hasChanges() const { return new_ + changed + removed != 0; }
  };
  /// An object, or without an ID a section, that stays in the tree as it was.
  struct LeftOut {
    std::string sectionID;
    std::optional<std::string> id;
    std::string name;    ///< of the object
    std::string reason;  ///< without anything of this machine
    std::string detail;  ///< for who runs the export here
  };

  std::vector<Section> sections;  ///< those that were read, in the order of reports
  std::vector<LeftOut> leftOut;

  Section total() const;
};

/// A tree of text files that is brought to one backup after another. It knows which files are its own, and
/// what stays: objects and sections that a backup did not read, and those that can't be read of it, are not
/// taken for removed.
///
/// Not for more than one thread.
class BackupTree {
 public:
  /// Called now and then with the number of objects that are done, and of all.
  using Progress = std::function<void(std::size_t done, std::size_t total)>;

  BackupTree(TreeState state, TreeSink& sink) : state_(std::move(state)), sink_(sink) {}

  /// Brings the files of all sections to the backup, or those of `only`; and the record last. Throws what the
  /// sink throws, and `platform::CancellationError`.
  TreeChanges bringTo(const BackupReader& backup, const std::optional<std::string>& only,
                      const Progress& progress, const std::stop_token& stop);

 private:
  class Pass;
  using Sources = std::unordered_map<std::string, std::string>;  // by the IDs of objects

  TreeState state_;
  TreeSink& sink_;
  std::map<std::string, Sources> sources_;  // of the sections that were brought to a backup
};

}  // namespace orvik::host
