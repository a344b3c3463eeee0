#include "Platform/Crypto/KeyHandle.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/evp.h>

namespace platform {

void FreeKey::operator()(evp_pkey_st* key) const { EVP_PKEY_free(key); }
void FreeKeyContext::operator()(evp_pkey_ctx_st* context) const { EVP_PKEY_CTX_free(context); }

std::optional<Bytes> uncompressedPoint(const evp_pkey_st* key) {
  // Asked for by coordinate: the encoded form is compressed when the key came in that form.
  BIGNUM* x = nullptr;
  BIGNUM* y = nullptr;
  const bool isPoint = EVP_PKEY_is_a(key, "EC") == 1 &&
                       EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_EC_PUB_X, &x) == 1 &&
                       EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_EC_PUB_Y, &y) == 1;
  const int width = (EVP_PKEY_get_bits(key) + 7) / 8;
  std::optional<Bytes> point;
  if (isPoint && width > 0) {
    Bytes bytes(1 + 2 * static_cast<std::size_t>(width), '\x04');
    auto* out = reinterpret_cast<unsigned char*>(bytes.data());
    if (BN_bn2binpad(x, out + 1, width) == width && BN_bn2binpad(y, out + 1 + width, width) == width)
      point = std::move(bytes);
  }
  BN_free(x);
  BN_free(y);
  ERR_clear_error();
  return point;
}

}  // namespace platform
