#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

#include "Platform/Bytes.h"

namespace orvik {

/// Where `ObjectStore` looks for objects that lie in pack files. Any thread may call.
class PackLookup {
 public:
  virtual ~PackLookup() = default;

  /// Whether a pack of that folder holds the object. Sees packs that appeared since the last call.
  virtual bool contains(std::string_view hash, const std::filesystem::path& packs) noexcept = 0;
  /// The bytes as stored; nothing when no pack of that folder holds the object.
  virtual std::optional<platform::Bytes> data(std::string_view hash,
                                              const std::filesystem::path& packs) noexcept = 0;
};

}  // namespace orvik
