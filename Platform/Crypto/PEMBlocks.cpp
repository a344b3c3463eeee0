#include "Platform/Crypto/PEMBlocks.h"

#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/pem.h>

#include <limits>
#include <memory>
#include <optional>

namespace platform {

namespace {

/// What the library's reader hands out, given back wiped.
struct RawBlock {
  char* name = nullptr;
  char* header = nullptr;
  unsigned char* data = nullptr;
  long length = 0;

  RawBlock() = default;
  ~RawBlock() {
    OPENSSL_secure_free(name);
    OPENSSL_secure_free(header);
    OPENSSL_secure_clear_free(data, static_cast<std::size_t>(length));
  }
  RawBlock(const RawBlock&) = delete;
  RawBlock& operator=(const RawBlock&) = delete;
};

/// Nothing for a damaged block; the text is read on behind it.
std::optional<PEMBlock> nextBlock(BIO* text) {
  RawBlock raw;
  // With the flag the reader wipes its own buffers too.
  const bool isRead = PEM_read_bio_ex(text, &raw.name, &raw.header, &raw.data, &raw.length,
                                      PEM_FLAG_SECURE | PEM_FLAG_EAY_COMPATIBLE) == 1;
  ERR_clear_error();
  if (!isRead) return std::nullopt;
  PEMBlock block;
  block.label = raw.name;
  block.isEncrypted = block.label == "ENCRYPTED PRIVATE KEY" ||
                      std::string_view(raw.header).find("ENCRYPTED") != std::string_view::npos;
  block.der = SecretString(
      std::string(reinterpret_cast<const char*>(raw.data), static_cast<std::size_t>(raw.length)));
  return block;
}

}  // namespace

std::vector<PEMBlock> pemBlocks(std::string_view text) {
  std::vector<PEMBlock> blocks;
  if (text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) return blocks;
  const std::unique_ptr<BIO, decltype(&BIO_free)> reader(
      BIO_new_mem_buf(text.data(), static_cast<int>(text.size())), &BIO_free);
  if (!reader) return blocks;
  for (auto left = BIO_ctrl_pending(reader.get()); left > 0;) {
    if (auto block = nextBlock(reader.get())) blocks.push_back(std::move(*block));
    const auto now = BIO_ctrl_pending(reader.get());
    if (now >= left) break;
    left = now;
  }
  return blocks;
}

}  // namespace platform
