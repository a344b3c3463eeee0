#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>

#include "OrvikCore/Store/PackLocation.h"
#include "Platform/Bytes.h"

namespace orvik {

/// What the packs of instance folders hold, remembered by this process.
///
/// A folder is listed at most about once a second, however many look-ups come in, and indexes are read only
/// when the set of their names has changed: so a new pack of another process is seen after a second at the
/// latest, and whoever takes the folder's lock calls `invalidate` before it relies on an answer. Indexes that
/// can't be read, and entries that can't be, don't exist.
///
/// Any thread may call; no lock is held across a file operation.
class PackCache {
 public:
  using Path = std::filesystem::path;

  /// The one of this process.
  static PackCache& shared();

  PackCache();
  ~PackCache();
  PackCache(const PackCache&) = delete;
  PackCache& operator=(const PackCache&) = delete;

  /// Lists the folder unless that was done within the last second.
  void refreshIfNeeded(const Path& packs) noexcept;

  /// Where an object lies; where several packs hold it, in the last by file name. Nothing for a name that is
  /// not 64 lower-case hexadecimal digits.
  std::optional<PackStore::Location> location(std::string_view hash, const Path& packs) noexcept;

  /// A key to sort objects by: those of ascending places lie one behind the other.
  struct Place {
    std::size_t pack = 0;
    std::int64_t offset = 0;
    auto operator<=>(const Place&) const = default;
  };
  /// Where `read` would begin to look; nothing when no index names the object.
  std::optional<Place> place(std::string_view hash, const Path& packs) noexcept;

  /// Whether an index names the object.
  bool contains(std::string_view hash, const Path& packs) noexcept;
  /// The same, and a pack is there and long enough to hold its bytes.
  bool holds(std::string_view hash, const Path& packs) noexcept;

  /// The bytes as stored; nothing when no pack holds them. A pack that is gone or too short is passed over.
  std::optional<platform::Bytes> data(std::string_view hash, const Path& packs) noexcept;
  /// The same into a buffer that is used again and again; false, with the buffer in any state, for nothing.
  bool read(std::string_view hash, const Path& packs, platform::Bytes& buffer) noexcept;

  /// Forgets the folder: the next look-up lists it at once.
  void invalidate(const Path& packs) noexcept;

 private:
  class Folder;
  std::shared_ptr<Folder> refreshed(const Path& packs);

  std::mutex mutex_;  // guards folders_
  std::map<std::string, std::shared_ptr<Folder>, std::less<>> folders_;
};

}  // namespace orvik
