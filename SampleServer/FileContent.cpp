#include "SampleServer/FileContent.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string_view>

#include "Platform/Files/Files.h"
#include "Platform/Hex.h"

namespace sample {
namespace {

constexpr std::int64_t wordSize = sizeof(std::uint64_t);
constexpr std::size_t blockSize = 65536;

/// Hands the content to `take` block by block.
template <class Take>
void forEachBlock(const FileContent& content, Take take) {
  const auto block = std::make_unique<std::array<char, blockSize>>();
  for (std::int64_t offset = 0; offset < content.size;) {
    const auto length = std::min<std::int64_t>(blockSize, content.size - offset);
    const std::span<char> part(block->data(), static_cast<std::size_t>(length));
    content.fill(offset, part);
    take(std::string_view(part.data(), part.size()));
    offset += length;
  }
}

}  // namespace

// A row of words that grow by a constant: it takes no longer than sending the bytes, and no two places of a
// file look alike.
void FileContent::fill(std::int64_t offset, std::span<char> out) const {
  if (stored) {
    const std::string_view rest =
        std::string_view(*stored).substr(std::min(stored->size(), static_cast<std::size_t>(offset)));
    const std::size_t length = rest.copy(out.data(), out.size());
    std::ranges::fill(out.subspan(length), '\0');
    return;
  }
  constexpr std::uint64_t step = 0x9e3779b97f4a7c15;
  std::uint64_t word = key + static_cast<std::uint64_t>(offset / wordSize) * step;
  for (auto skip = static_cast<std::size_t>(offset % wordSize); !out.empty(); skip = 0, word += step) {
    if (skip == 0) {
      for (; out.size() >= sizeof word; out = out.subspan(sizeof word), word += step)
        std::memcpy(out.data(), &word, sizeof word);
    }
    const std::size_t length = std::min(sizeof word - skip, out.size());
    std::memcpy(out.data(), reinterpret_cast<const char*>(&word) + skip, length);
    out = out.subspan(length);
  }
}

std::string FileContent::digest(platform::DigestAlgorithm algorithm) const {
  platform::Digest digest(algorithm);
  forEachBlock(*this, [&](std::string_view block) { digest.update(block); });
  return platform::hexEncode(digest.finish());
}

void FileContent::write(const std::filesystem::path& to) const {
  platform::files::tryRemove(to);
  platform::files::AppendFile file(to);
  forEachBlock(*this, [&](std::string_view block) { file.append(block); });
}

}  // namespace sample
