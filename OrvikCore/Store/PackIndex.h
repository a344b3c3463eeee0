#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "OrvikCore/Store/ObjectKey.h"
#include "Platform/JSON/Codable.h"

namespace orvik {

/// What an index says of one entry of its pack. In JSON an array of signed 64-bit integers, two in a proper
/// index: `[offset, length]`.
struct PackRange {
  std::int64_t offset = 0;  ///< bytes from the pack's begin; 0 when the array is empty
  std::int64_t length = 0;  ///< the last number of the array, 0 when it is empty
  bool isPair = true;       ///< exactly two numbers stood there

  /// Whether it can be read from a pack of that many bytes. Never overflows.
  bool liesWithin(std::int64_t size) const noexcept {
    return isPair && offset >= 0 && length >= 0 && length <= size && offset <= size - length;
  }
  bool operator==(const PackRange&) const = default;
};

/// The entries of a pack by their objects' names: a flat list instead of a map of texts, since an index may
/// hold half a million of them.
struct PackObjects {
  struct Entry {
    ObjectKey key;
    PackRange range;
    bool operator==(const Entry&) const = default;
  };
  std::vector<Entry> entries;  ///< ascending by key, each key once

  /// Entries whose name can't be an object's, ascending; never written, and found only in foreign files.
  std::vector<std::pair<std::string, PackRange>> others;

  /// The entry of a key; null when there is none.
  const PackRange* find(const ObjectKey& key) const noexcept;
  std::size_t count() const noexcept { return entries.size() + others.size(); }

  /// As a JSON object; `others` must be empty.
  void encode(platform::json::Writer& writer) const;
  /// Of a repeated name the last entry counts. Throws `platform::json::DecodingError`.
  static PackObjects decode(platform::json::View view);
  bool operator==(const PackObjects&) const = default;
};

/// "<name>.idx" beside "<name>.pack": where each object of the pack lies. One line of JSON with sorted keys,
/// never sealed:
///
///     {"formatVersion":1,"objects":{"<64 hex>":[offset,length],...},"pack":"<name>.pack"}
struct PackIndex {
  static constexpr int currentVersion = 1;

  int formatVersion = currentVersion;
  std::string pack;  ///< file name of the pack, in the same folder
  PackObjects objects;

  /// Whether `pack` is a plain visible file name: no path, no leading ".".
  bool namesPlainFile() const noexcept;

  /// Whether `text` decodes as this index. Takes no second copy of it.
  bool readsBackFrom(const platform::Bytes& text) const noexcept;

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("formatVersion", &PackIndex::formatVersion), field("pack", &PackIndex::pack),
                     field("objects", &PackIndex::objects));
  }
  bool operator==(const PackIndex&) const = default;
};

}  // namespace orvik
