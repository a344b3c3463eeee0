#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "Platform/Bytes.h"

namespace platform {

/// The digests of this system (FIPS 180-4; RFC 1321 for MD5). MD5 only compares with what servers publish,
/// and SHA-1 with the names that git gives.
enum class DigestAlgorithm { sha256, sha512, md5, sha1 };

/// One streaming digest. Not for more than one thread.
class Digest {
 public:
  explicit Digest(DigestAlgorithm algorithm);
  ~Digest();
  Digest(Digest&&) noexcept;
  Digest& operator=(Digest&&) noexcept;

  void update(std::string_view bytes);
  /// The raw digest; the object starts afresh afterwards.
  Bytes finish();

 private:
  struct Context;
  std::unique_ptr<Context> context_;
};

/// The raw digest of bytes in memory.
Bytes digest(DigestAlgorithm algorithm, std::string_view bytes);

/// Lower-case hexadecimal SHA-256 of bytes in memory. Reuses one context per thread.
std::string sha256Hex(std::string_view bytes);

/// Fills `bytes` from the system's random source. Throws `Error`.
void fillRandomly(std::span<char> bytes);
/// So many bytes of it.
Bytes randomBytes(std::size_t count);

}  // namespace platform
