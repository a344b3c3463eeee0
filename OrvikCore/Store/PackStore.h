#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "OrvikCore/Store/ObjectKey.h"
#include "OrvikCore/Store/ObjectStore.h"
#include "OrvikCore/Store/PackIndex.h"
#include "OrvikCore/Store/PackLocation.h"

/// Pack files: many objects as one file, for folders that a synchronisation service carries. Packing changes
/// where bytes lie, never which bytes.
///
/// A pack is the pair "<name>.pack", "<name>.idx" in "store/packs". The pack file is the plain concatenation
/// of its entries' stored bytes from offset 0, without header, separator or trailer; `PackIndex` says where
/// each lies. A pack without an index is unknown to everybody; the index is the last to appear and the first
/// to go. Packs never change in place.
///
/// Whoever writes holds the folder's lock. Reading needs none.
namespace orvik::PackStore {

using Path = std::filesystem::path;

/// A file to pack: the name of its object and where its stored bytes are read. A folder can have half a
/// million of them, so a name that is part of the path is kept once.
class Source {
 public:
  Source(std::string_view hash, std::string path);

  std::string_view hash() const noexcept;
  const std::string& path() const noexcept { return path_; }

 private:
  std::string path_;
  std::string apart_;  ///< the name, where the path doesn't hold it
};

enum class SkipExisting { no, yes };

/// Packs `objects` in their order as "<name>.pack" of `store`'s instance folder and gives the keys that went
/// in; none, and no file, when nothing did. Left out in silence: a repeated hash, content that doesn't
/// reproduce its name (so that damage never enters a pack), and with `SkipExisting::yes` what lies loose or
/// in a pack already. One object is in memory at a time.
///
/// When it returns, pack, index and their folder entries are on stable storage. Throws
/// `platform::files::FileError`, also when a pack of that name exists, and `platform::CancellationError`;
/// nothing is changed then.
KeySet write(const std::vector<Source>& objects, const ObjectStore& store, const std::string& name,
             SkipExisting skipExisting, const std::stop_token& stop = {});

/// "loose-" and 8 random hexadecimal digits: the name of a pack of single files.
std::string freshName();
/// The name that a rewrite of a pack gets: that of its file without ".pack", "-" and 8 such digits.
std::string rewrittenName(std::string_view pack);

/// The visible folders in "store/objects" or "store/files", ascending. A link is none of them: what lies
/// behind it is not ours to move or delete.
std::vector<std::string> shardFolders(const Path& folder);

/// The single object files below an instance folder, ordered by shard and name. Empty when there are none.
/// Folders behind links are passed over. Throws `CancellationError`.
std::vector<Source> looseObjects(const Path& instanceDirectory, const std::stop_token& stop = {});

/// Whether an index file and a pack file are the pair of one name: "<name>.idx" and "<name>.pack".
bool isPair(std::string_view index, std::string_view pack) noexcept;

/// The names of the visible index files of a packs folder, ascending; none when it can't be listed.
std::vector<std::string> indexNames(const Path& packs);
/// Nothing when the file can't be read or decoded: its pack then behaves as if it didn't exist.
std::optional<PackIndex> readIndex(const Path& index);
/// Shows every index that can be read with its path, ordered by file name, one in memory at a time.
void indexes(const Path& packs, const std::function<void(const Path&, const PackIndex&)>& show);

/// Deletes a pack, its index first, and tells `PackCache`. Throws `FileError` when the index can't be
/// deleted; a failure with the pack file is ignored, since nobody knows it by then.
void remove(const Path& index, const Path& pack);
/// Deletes an index alone, for a pack file that another index names too. Throws the same.
void removeIndex(const Path& index);

}  // namespace orvik::PackStore
