#pragma once

#include <array>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <set>
#include <stop_token>
#include <string>
#include <string_view>

#include "OrvikCore/Store/BackupRepository.h"
#include "OrvikCore/Store/ObjectKey.h"
#include "TuvCore/Error.h"

namespace orvik {

/// Names as indexes spell them: keys where they can be, and text for what is no object's name.
class NameSet {
 public:
  void insert(std::string_view name);
  void insertAll(const NameSet& other);
  bool contains(std::string_view name) const;
  bool contains(const ObjectKey& key) const noexcept { return keys_.contains(key); }
  /// Calls with the text of each name, in no order.
  template <class Visit>
  void forEach(const Visit& visit) const {
    keys_.forEach([&](const ObjectKey& key) { visit(key.text()); });
    for (const auto& name : others_) visit(name);
  }

 private:
  friend class NameFeed;
  KeySet keys_;
  std::set<std::string, std::less<>> others_;
};

/// Puts many names into a set: each waits until its place in the table is at hand. All are in after `finish`.
class NameFeed {
 public:
  explicit NameFeed(NameSet& names) : names_(names) {}

  void insert(std::string_view name);
  void finish();

 private:
  static constexpr std::size_t waiting = 16;  // a power of two

  NameSet& names_;
  std::array<ObjectKey, waiting> keys_;
  std::size_t count_ = 0;
};

/// What the backups and interrupted runs of a folder refer to in its store.
struct References {
  NameSet objects;
  NameSet files;
};

/// References can't be told completely, so nothing may be deleted for lack of one. `description()` says what
/// could not be read.
class IncompleteReferences : public tuv::Error {
 public:
  using Error::Error;
};

/// Reads every section index of every backup and interrupted run once, one at a time in each of a few
/// threads, and the runs' journals. Backups whose folder is named in `without` are left out, as if they were
/// deleted.
///
/// Throws `IncompleteReferences` when an index can't be read, opened or decoded, when a folder that is there
/// can't be listed, and on a sealed instance without a usable key; and `platform::CancellationError`. Lines
/// of journals that can't be read count as absent.
References readReferences(const BackupRepository& repository, const std::set<std::string>& without = {},
                          const std::stop_token& stop = {});

}  // namespace orvik
