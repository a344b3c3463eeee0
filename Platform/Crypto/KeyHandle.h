#pragma once

#include <memory>
#include <optional>

#include "Platform/Bytes.h"

struct evp_pkey_st;
struct evp_pkey_ctx_st;

namespace platform {

/// A key of the cryptographic library; for the rooms of this folder alone. It wipes what is secret.
struct FreeKey {
  void operator()(evp_pkey_st* key) const;
};
using KeyHandle = std::unique_ptr<evp_pkey_st, FreeKey>;

struct FreeKeyContext {
  void operator()(evp_pkey_ctx_st* context) const;
};
using KeyContext = std::unique_ptr<evp_pkey_ctx_st, FreeKeyContext>;

/// The public key of a key on P-192, P-256, P-384 or P-521 as an uncompressed point; nothing for other keys.
std::optional<Bytes> uncompressedPoint(const evp_pkey_st* key);

}  // namespace platform
