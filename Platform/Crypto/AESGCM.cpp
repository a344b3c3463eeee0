#include "Platform/Crypto/AESGCM.h"

#include <openssl/err.h>
#include <openssl/evp.h>

#include <algorithm>

#include "Platform/Crypto/ContextPool.h"
#include "Platform/Crypto/CryptoError.h"
#include "Platform/Crypto/Digest.h"
#include "Platform/SecretString.h"

namespace platform {

namespace {

[[noreturn]] void fail() {
  ERR_clear_error();
  throw CryptoError("AES-256-GCM can't be used on this system.");
}

const EVP_CIPHER* algorithm() {
  // Kept until the end: a fetch costs more than sealing a small object.
  static const EVP_CIPHER* const fetched = EVP_CIPHER_fetch(nullptr, "AES-256-GCM", nullptr);
  if (fetched == nullptr) fail();
  return fetched;
}

unsigned char* asUnsigned(char* bytes) { return reinterpret_cast<unsigned char*>(bytes); }
const unsigned char* asUnsigned(const char* bytes) { return reinterpret_cast<const unsigned char*>(bytes); }

enum class Direction { open = 0, seal = 1 };

/// A context with the key schedule of one key for one direction.
class Context {
 public:
  Context(const Secret256& key, Direction direction) : context_(EVP_CIPHER_CTX_new()) {
    if (!context_ || EVP_CipherInit_ex2(context_.get(), algorithm(), asUnsigned(key.reveal().data()), nullptr,
                                        static_cast<int>(direction), nullptr) != 1)
      fail();
  }

  void begin(const char* nonce, std::string_view additional) {
    if (EVP_CipherInit_ex2(context_.get(), nullptr, nullptr, asUnsigned(nonce), -1, nullptr) != 1) fail();
    update(additional, nullptr);
  }
  /// Null for `out`: additional data. The library counts in `int`.
  void update(std::string_view bytes, char* out) {
    constexpr std::size_t longest = std::size_t{1} << 30;
    while (!bytes.empty()) {
      const auto piece = bytes.substr(0, longest);
      int written = 0;
      if (EVP_CipherUpdate(context_.get(), out ? asUnsigned(out) : nullptr, &written,
                           asUnsigned(piece.data()), static_cast<int>(piece.size())) != 1)
        fail();
      if (out != nullptr) out += piece.size();
      bytes.remove_prefix(piece.size());
    }
  }
  void tag(int operation, char* bytes) {
    if (EVP_CIPHER_CTX_ctrl(context_.get(), operation, AESGCM::tagSize, bytes) != 1) fail();
  }
  /// False when the tag that was set is wrong.
  bool finish() {
    unsigned char none[AESGCM::tagSize];
    int written = 0;
    const bool isGood = EVP_CipherFinal_ex(context_.get(), none, &written) == 1;
    if (!isGood) ERR_clear_error();
    return isGood;
  }

 private:
  struct Free {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
  };
  std::unique_ptr<EVP_CIPHER_CTX, Free> context_;
};

}  // namespace

struct AESGCM::State {
  explicit State(const Secret256& theKey) : key(theKey) {}
  const Secret256 key;
  ContextPool<Context> sealing;
  ContextPool<Context> opening;
};

AESGCM::AESGCM(const Secret256& key) : state_(std::make_unique<State>(key)) {}
AESGCM::~AESGCM() = default;

void AESGCM::seal(std::string_view plain, std::string_view additional, Bytes& out) const {
  auto context = state_->sealing.take([&] { return Context(state_->key, Direction::seal); });
  const std::size_t start = out.size();
  out.resize(start + nonceSize + plain.size() + tagSize);
  char* box = out.data() + start;
  fillRandomly({box, nonceSize});
  context->begin(box, additional);
  context->update(plain, box + nonceSize);
  if (!context->finish()) fail();
  context->tag(EVP_CTRL_AEAD_GET_TAG, box + nonceSize + plain.size());
  context.giveBack();
}

bool AESGCM::open(std::string_view box, std::string_view additional, Bytes& plain) const {
  plain.clear();
  if (box.size() < nonceSize + tagSize) return false;
  auto context = state_->opening.take([&] { return Context(state_->key, Direction::open); });
  const auto sealed = box.substr(nonceSize, box.size() - nonceSize - tagSize);
  char tag[tagSize];
  std::ranges::copy(box.substr(box.size() - tagSize), tag);
  plain.resize(sealed.size());
  context->begin(box.data(), additional);
  context->update(sealed, plain.data());
  context->tag(EVP_CTRL_AEAD_SET_TAG, tag);
  const bool isGood = context->finish();
  if (!isGood) wipe(plain);
  context.giveBack();
  return isGood;
}

}  // namespace platform
