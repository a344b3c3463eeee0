#include "Platform/Crypto/KeyHandle.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace platform {

void FreeKey::operator()(evp_pkey_st* key) const { EVP_PKEY_free(key); }
void FreeKeyContext::operator()(evp_pkey_ctx_st* context) const { EVP_PKEY_CTX_free(context); }

namespace {

/// Bytes of a coordinate on one of the curves over prime fields that certificates use (FIPS 186-4, D.1.2);
/// nothing for any other curve.
std::optional<int> coordinateSize(const evp_pkey_st* key) {
  struct Curve {
    std::string_view name;
    int size;
  };
  static constexpr std::array<Curve, 4> curves{
      {{"prime192v1", 24}, {"prime256v1", 32}, {"secp384r1", 48}, {"secp521r1", 66}}};
  std::array<char, 64> name{};
  std::size_t length = 0;
  if (EVP_PKEY_get_group_name(key, name.data(), name.size(), &length) != 1) return std::nullopt;
  const auto* curve = std::ranges::find(curves, std::string_view(name.data(), length), &Curve::name);
  if (curve == curves.end()) return std::nullopt;
  return curve->size;
}

}  // namespace

std::optional<Bytes> uncompressedPoint(const evp_pkey_st* key) {
  // Asked for by coordinate: the encoded form is compressed when the key came in that form.
  BIGNUM* x = nullptr;
  BIGNUM* y = nullptr;
  const auto size = coordinateSize(key);
  std::optional<Bytes> point;
  if (size && EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_EC_PUB_X, &x) == 1 &&
      EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_EC_PUB_Y, &y) == 1) {
    Bytes bytes(1 + 2 * static_cast<std::size_t>(*size), '\x04');
    auto* out = reinterpret_cast<unsigned char*>(bytes.data());
    if (BN_bn2binpad(x, out + 1, *size) == *size && BN_bn2binpad(y, out + 1 + *size, *size) == *size)
      point = std::move(bytes);
  }
  BN_free(x);
  BN_free(y);
  ERR_clear_error();
  return point;
}

}  // namespace platform
