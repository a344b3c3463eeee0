#include "OrvikCore/Store/FileHasher.h"

#include "Platform/Crypto/Digest.h"
#include "Platform/Files/Files.h"
#include "Platform/Hex.h"

namespace orvik {

using platform::Digest;
using platform::DigestAlgorithm;

FileHasher::Digests FileHasher::digests(const std::filesystem::path& path, std::size_t chunkSize) {
  platform::files::FileReader reader(path);
  Digest sha256(DigestAlgorithm::sha256);
  Digest sha512(DigestAlgorithm::sha512);
  Digest md5(DigestAlgorithm::md5);
  Digests result;
  for (platform::Bytes chunk; reader.read(chunk, chunkSize);) {
    sha256.update(chunk);
    sha512.update(chunk);
    md5.update(chunk);
    result.size += static_cast<std::int64_t>(chunk.size());
  }
  result.sha256 = platform::hexEncode(sha256.finish());
  result.sha512 = platform::hexEncode(sha512.finish());
  result.md5 = platform::hexEncode(md5.finish());
  return result;
}

std::string FileHasher::sha256(const std::filesystem::path& path, std::size_t chunkSize) {
  platform::files::FileReader reader(path);
  Digest digest(DigestAlgorithm::sha256);
  for (platform::Bytes chunk; reader.read(chunk, chunkSize);) digest.update(chunk);
  return platform::hexEncode(digest.finish());
}

}  // namespace orvik
