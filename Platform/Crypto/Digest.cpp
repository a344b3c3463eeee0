#include "Platform/Crypto/Digest.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <sys/random.h>

#include <array>
#include <cerrno>
#include <new>

#include "Platform/Error.h"
#include "Platform/Hex.h"

namespace platform {

namespace {

[[noreturn]] void fail(const char* name) {
  ERR_clear_error();  // the queue belongs to the thread: a stale entry would be read as the next caller's
  throw Error(std::string("The digest ") + name + " can't be computed on this system.");
}

struct Algorithm {
  const char* name;
  EVP_MD* implementation;  // null where the library's configuration forbids it
};

Algorithm fetch(const char* name) {
  // Without memory for its own state the library would crash at the first use.
  if (OSSL_LIB_CTX_get0_global_default() == nullptr) throw std::bad_alloc();
  EVP_MD* implementation = EVP_MD_fetch(nullptr, name, nullptr);
  if (implementation == nullptr) ERR_clear_error();
  return {name, implementation};
}

// A fetch costs more than the digest of a small object, so each one happens once and is kept until the end.
const Algorithm& fetched(DigestAlgorithm algorithm) {
  switch (algorithm) {
    case DigestAlgorithm::sha256: {
      static const Algorithm sha256 = fetch("SHA256");
      return sha256;
    }
    case DigestAlgorithm::sha512: {
      static const Algorithm sha512 = fetch("SHA512");
      return sha512;
    }
    case DigestAlgorithm::sha1: {
      static const Algorithm sha1 = fetch("SHA1");
      return sha1;
    }
    case DigestAlgorithm::md5:
      break;
  }
  static const Algorithm md5 = fetch("MD5");
  return md5;
}

Digest& ofThisThread(DigestAlgorithm algorithm) {
  switch (algorithm) {
    case DigestAlgorithm::sha256: {
      thread_local Digest sha256(DigestAlgorithm::sha256);
      return sha256;
    }
    case DigestAlgorithm::sha512: {
      thread_local Digest sha512(DigestAlgorithm::sha512);
      return sha512;
    }
    case DigestAlgorithm::sha1: {
      thread_local Digest sha1(DigestAlgorithm::sha1);
      return sha1;
    }
    case DigestAlgorithm::md5:
      break;
  }
  thread_local Digest md5(DigestAlgorithm::md5);
  return md5;
}

}  // namespace

struct Digest::Context {
  explicit Context(const Algorithm& which) : algorithm(which), state(EVP_MD_CTX_new()) {
    if (algorithm.implementation == nullptr || state == nullptr) {
      EVP_MD_CTX_free(state);
      fail(algorithm.name);
    }
  }
  ~Context() { EVP_MD_CTX_free(state); }
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;

  void start() {
    if (EVP_DigestInit_ex2(state, algorithm.implementation, nullptr) != 1) fail(algorithm.name);
    started = true;
  }

  const Algorithm& algorithm;
  EVP_MD_CTX* state;
  bool started = false;
};

Digest::Digest(DigestAlgorithm algorithm) : context_(std::make_unique<Context>(fetched(algorithm))) {}
Digest::~Digest() = default;
Digest::Digest(Digest&&) noexcept = default;
Digest& Digest::operator=(Digest&&) noexcept = default;

void Digest::update(std::string_view bytes) {
  if (!context_->started) context_->start();
  if (EVP_DigestUpdate(context_->state, bytes.data(), bytes.size()) != 1) {
    context_->started = false;
    fail(context_->algorithm.name);
  }
}

Bytes Digest::finish() {
  if (!context_->started) context_->start();
  context_->started = false;
  std::array<unsigned char, EVP_MAX_MD_SIZE> raw;
  unsigned length = 0;
  if (EVP_DigestFinal_ex(context_->state, raw.data(), &length) != 1) fail(context_->algorithm.name);
  return {raw.begin(), raw.begin() + length};
}

Bytes digest(DigestAlgorithm algorithm, std::string_view bytes) {
  Digest& digest = ofThisThread(algorithm);
  digest.update(bytes);
  return digest.finish();
}

std::string sha256Hex(std::string_view bytes) { return hexEncode(digest(DigestAlgorithm::sha256, bytes)); }

void fillRandomly(std::span<char> bytes) {
  while (!bytes.empty()) {
    const ssize_t got = getrandom(bytes.data(), bytes.size(), 0);
    if (got >= 0)
      bytes = bytes.subspan(static_cast<std::size_t>(got));
    else if (errno != EINTR)
      throw Error("The system's random source can't be read.");
  }
}

Bytes randomBytes(std::size_t count) {
  Bytes bytes(count, '\0');
  fillRandomly(bytes);
  return bytes;
}

}  // namespace platform
