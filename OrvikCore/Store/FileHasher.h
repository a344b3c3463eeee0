#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <stop_token>
#include <string>
#include <string_view>

#include "Platform/Crypto/Digest.h"

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

  /// All three digests of bytes that come by, on the calling thread.
  class Running {
   public:
    void update(std::string_view bytes);
    Digests finish();

   private:
    platform::Digest sha256_{platform::DigestAlgorithm::sha256};
    platform::Digest md5_{platform::DigestAlgorithm::md5};
    platform::Digest sha512_{platform::DigestAlgorithm::sha512};
    std::int64_t size_ = 0;
  };

  /// All three digests from one pass: a thread for each, for a file that is worth it, which share the pieces
  /// read. A piece is a mebibyte at the most. Throws `platform::files::FileError`, and
  /// `platform::CancellationError` on a stop, which is noticed within a piece.
  static Digests digests(const std::filesystem::path& path, std::size_t chunkSize = defaultChunkSize,
                         const std::stop_token& stop = {});

  /// The SHA-256 alone, three times as fast. Throws the same.
  static std::string sha256(const std::filesystem::path& path, std::size_t chunkSize = defaultChunkSize,
                            const std::stop_token& stop = {});
};

}  // namespace orvik
