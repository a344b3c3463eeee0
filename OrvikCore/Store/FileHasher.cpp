#include "OrvikCore/Store/FileHasher.h"

#include <algorithm>
#include <future>
#include <memory>
#include <system_error>
#include <utility>

#include "Platform/Concurrency/BoundedStream.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Crypto/Digest.h"
#include "Platform/Files/Files.h"
#include "Platform/Hex.h"

namespace orvik {

using platform::Bytes;
using platform::Digest;
using platform::DigestAlgorithm;

namespace {

/// Shorter files are hashed before a thread has started.
constexpr std::int64_t worthThreads = 256 << 10;
/// Small enough that the second and third digest find the bytes in the processor's cache.
constexpr std::size_t mostPerPiece = 1 << 20;
/// Pieces that may wait for a digest.
constexpr std::size_t mostAhead = 2;

using Piece = std::shared_ptr<const Bytes>;

/// A digest on a thread of its own.
class DigestThread {
 public:
  explicit DigestThread(DigestAlgorithm algorithm)
      : DigestThread(algorithm, platform::BoundedStream<Piece>(mostAhead)) {}

  void update(Piece piece) { pieces_.push(std::move(piece), 1); }
  Bytes finish() {
    pieces_.finish();
    return digest_.get();
  }

 private:
  DigestThread(DigestAlgorithm algorithm, platform::BoundedStream<Piece> stream)
      : digest_(std::async(std::launch::async,
                           [algorithm, pieces = std::move(stream.reader)]() mutable {
                             Digest digest(algorithm);
                             while (const auto piece = pieces.next({})) digest.update(**piece);
                             return digest.finish();
                           })),
        pieces_(std::move(stream.writer)) {}

  std::future<Bytes> digest_;  // waits for the thread when it goes, so it goes after the stream
  platform::StreamWriter<Piece> pieces_;
};

FileHasher::Digests hexOf(Bytes sha256, Bytes md5, Bytes sha512, std::int64_t size) {
  return {platform::hexEncode(sha256), platform::hexEncode(md5), platform::hexEncode(sha512), size};
}

FileHasher::Digests digestsOnOneThread(const std::filesystem::path& path, std::size_t pieceSize,
                                       const std::stop_token& stop) {
  platform::files::FileReader reader(path);
  FileHasher::Running running;
  for (Bytes piece; reader.read(piece, pieceSize);) {
    platform::throwIfCancelled(stop);
    running.update(piece);
  }
  return running.finish();
}

FileHasher::Digests digestsOnThreeThreads(const std::filesystem::path& path, std::size_t pieceSize,
                                          const std::stop_token& stop) {
  platform::files::FileReader reader(path);
  DigestThread sha512(DigestAlgorithm::sha512);
  DigestThread md5(DigestAlgorithm::md5);
  Digest sha256(DigestAlgorithm::sha256);
  std::int64_t size = 0;
  while (true) {
    platform::throwIfCancelled(stop);
    const auto piece = std::make_shared<Bytes>();
    if (!reader.read(*piece, pieceSize)) break;
    sha512.update(piece);
    md5.update(piece);
    sha256.update(*piece);
    size += static_cast<std::int64_t>(piece->size());
  }
  return hexOf(sha256.finish(), md5.finish(), sha512.finish(), size);
}

}  // namespace

void FileHasher::Running::update(std::string_view bytes) {
  sha256_.update(bytes);
  sha512_.update(bytes);
  md5_.update(bytes);
  size_ += static_cast<std::int64_t>(bytes.size());
}

FileHasher::Digests FileHasher::Running::finish() {
  return hexOf(sha256_.finish(), md5_.finish(), sha512_.finish(), size_);
}

FileHasher::Digests FileHasher::digests(const std::filesystem::path& path, std::size_t chunkSize,
                                        const std::stop_token& stop) {
  const auto pieceSize = std::min(chunkSize, mostPerPiece);
  if (platform::files::size(path).value_or(0) < worthThreads)
    return digestsOnOneThread(path, pieceSize, stop);
  try {
    return digestsOnThreeThreads(path, pieceSize, stop);
  } catch (const std::system_error&) {  // the system refuses a thread
    return digestsOnOneThread(path, pieceSize, stop);
  }
}

std::string FileHasher::sha256(const std::filesystem::path& path, std::size_t chunkSize,
                               const std::stop_token& stop) {
  platform::files::FileReader reader(path);
  Digest digest(DigestAlgorithm::sha256);
  for (Bytes chunk; reader.read(chunk, chunkSize);) {
    platform::throwIfCancelled(stop);
    digest.update(chunk);
  }
  return platform::hexEncode(digest.finish());
}

}  // namespace orvik
