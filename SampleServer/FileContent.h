#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>

#include "Platform/Bytes.h"
#include "Platform/Crypto/Digest.h"

namespace sample {

/// The bytes of a file. Those of a made-up one follow from `key` alone, any range of them can be had at once,
/// and none are ever held: a file of gigabytes costs as much as an empty one. Any thread may call.
struct FileContent {
  std::uint64_t key = 0;
  std::int64_t size = 0;  ///< bytes
  /// What a client sent, `size` bytes; null for a made-up file.
  std::shared_ptr<const platform::Bytes> stored = {};

  /// The bytes from `offset` on. Past the end a made-up file goes on in the same way, any other with zeros.
  void fill(std::int64_t offset, std::span<char> out) const;
  /// The digest of the whole as lower-case hexadecimal text. Takes the time of reading the file once.
  std::string digest(platform::DigestAlgorithm algorithm) const;
  /// Writes all of it to a file, in place of one that is there. Throws `FileError`.
  void write(const std::filesystem::path& to) const;
};

}  // namespace sample
