#include "Platform/Crypto/KeyedHash.h"

#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/params.h>

#include <array>
#include <vector>

#include "Platform/Crypto/ContextPool.h"
#include "Platform/Crypto/CryptoError.h"

namespace platform {

namespace {

[[noreturn]] void fail(const char* algorithm) {
  ERR_clear_error();
  throw CryptoError(std::string(algorithm) + " can't be used on this system.");
}

const unsigned char* asUnsigned(std::string_view bytes) {
  return reinterpret_cast<const unsigned char*>(bytes.data());
}

char digestName[] = "SHA256";

class Context {
 public:
  explicit Context(std::string_view key) {
    static EVP_MAC* const algorithm = EVP_MAC_fetch(nullptr, "HMAC", nullptr);
    if (algorithm == nullptr) fail("HMAC-SHA256");
    context_.reset(EVP_MAC_CTX_new(algorithm));
    const std::array parameters{OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digestName, 0),
                                OSSL_PARAM_construct_end()};
    if (!context_ || EVP_MAC_init(context_.get(), asUnsigned(key), key.size(), parameters.data()) != 1)
      fail("HMAC-SHA256");
  }

  Bytes hash(std::string_view bytes) {
    Bytes result(EVP_MAX_MD_SIZE, '\0');
    std::size_t length = 0;
    // Without a key: the one that the context has.
    if (EVP_MAC_init(context_.get(), nullptr, 0, nullptr) != 1 ||
        EVP_MAC_update(context_.get(), asUnsigned(bytes), bytes.size()) != 1 ||
        EVP_MAC_final(context_.get(), reinterpret_cast<unsigned char*>(result.data()), &length,
                      result.size()) != 1)
      fail("HMAC-SHA256");
    result.resize(length);
    return result;
  }

 private:
  struct Free {
    void operator()(EVP_MAC_CTX* context) const { EVP_MAC_CTX_free(context); }
  };
  std::unique_ptr<EVP_MAC_CTX, Free> context_;
};

}  // namespace

struct HMACSHA256::State {
  explicit State(std::string_view theKey) : key(std::string(theKey)) {}
  const SecretString key;
  ContextPool<Context> contexts;
};

HMACSHA256::HMACSHA256(const Secret256& key) : HMACSHA256(key.reveal()) {}
HMACSHA256::HMACSHA256(std::string_view key) : state_(std::make_unique<State>(key)) {}
HMACSHA256::~HMACSHA256() = default;

Bytes HMACSHA256::operator()(std::string_view bytes) const {
  auto context = state_->contexts.take([&] { return Context(state_->key.reveal()); });
  auto result = context->hash(bytes);
  context.giveBack();
  return result;
}

SecretString hkdfSHA256(std::string_view keyMaterial, std::string_view salt, std::string_view info,
                        std::size_t length) {
  static EVP_KDF* const algorithm = EVP_KDF_fetch(nullptr, "HKDF", nullptr);
  if (algorithm == nullptr) fail("HKDF-SHA256");
  const std::unique_ptr<EVP_KDF_CTX, decltype(&EVP_KDF_CTX_free)> context(EVP_KDF_CTX_new(algorithm),
                                                                          &EVP_KDF_CTX_free);
  const auto octets = [](const char* name, std::string_view bytes) {
    return OSSL_PARAM_construct_octet_string(name, const_cast<char*>(bytes.data()), bytes.size());
  };
  std::vector<OSSL_PARAM> parameters{OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digestName, 0),
                                     octets(OSSL_KDF_PARAM_KEY, keyMaterial),
                                     octets(OSSL_KDF_PARAM_INFO, info)};
  if (!salt.empty()) parameters.push_back(octets(OSSL_KDF_PARAM_SALT, salt));
  parameters.push_back(OSSL_PARAM_construct_end());
  std::string derived(length, '\0');
  const bool isDone =
      context && EVP_KDF_derive(context.get(), reinterpret_cast<unsigned char*>(derived.data()),
                                derived.size(), parameters.data()) == 1;
  SecretString result(std::move(derived));
  if (!isDone) fail("HKDF-SHA256");
  return result;
}

Secret256 deriveKey(const Secret256& keyMaterial, std::string_view salt, std::string_view info) {
  return Secret256::copyOf(hkdfSHA256(keyMaterial.reveal(), salt, info, Secret256::size).reveal()).value();
}

}  // namespace platform
