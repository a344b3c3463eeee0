#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

namespace orvik {

/// Streaming digests of package files: a file of many gigabytes never stands in memory.
struct FileHasher {
  /// The pieces that are read at a time unless told otherwise: 8 MiB.
  static constexpr std::size_t defaultChunkSize = 8'388'608;

  struct Digests {
    std::string sha256;  ///< lower-case hexadecimal, like the others
    std::string md5;
    std::string sha512;
    std::int64_t size = 0;  ///< bytes

    bool operator==(const Digests&) const = default;
  };

  /// All three digests from one pass. Throws `platform::files::FileError`.
  static Digests digests(const std::filesystem::path& path, std::size_t chunkSize = defaultChunkSize);

  /// The SHA-256 alone, three times as fast. Throws `platform::files::FileError`.
  static std::string sha256(const std::filesystem::path& path, std::size_t chunkSize = defaultChunkSize);
};

}  // namespace orvik
