#include "OrvikCore/Security/SecretEnvelope.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <utility>

#include "OrvikCore/Security/SecretError.h"
#include "Platform/Base64.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Crypto/AESGCM.h"
#include "Platform/Crypto/Digest.h"
#include "Platform/Crypto/KeyedHash.h"
#include "Platform/Crypto/P256.h"
#include "Platform/Hex.h"
#include "Platform/Locale/Text.h"

namespace orvik::SecretEnvelope {

namespace {

constexpr std::size_t keyIDBytes = 8;
constexpr std::size_t shortestPayload =
    platform::x963Size + platform::AESGCM::nonceSize + platform::AESGCM::tagSize;

std::string additionalData(std::string_view keyID) { return std::string(prefix).append(keyID); }

platform::AESGCM boxFor(const platform::Secret256& shared, std::string_view ephemeral) {
  return platform::AESGCM(platform::deriveKey(shared, ephemeral, info));
}

std::string urlSafe(std::string base64) {
  base64.erase(std::ranges::find(base64, '='), base64.end());
  std::ranges::replace(base64, '+', '-');
  std::ranges::replace(base64, '/', '_');
  return base64;
}

std::optional<platform::Bytes> decodedPayload(std::string_view text) {
  std::string base64(text);
  std::ranges::replace(base64, '-', '+');
  std::ranges::replace(base64, '_', '/');
  base64.append((4 - base64.size() % 4) % 4, '=');
  return platform::base64Decode(base64);
}

struct Pieces {
  std::string keyID;
  std::string_view payload;
};

/// Cut at the first colon behind the key ID; colons before it are passed over.
std::optional<Pieces> piecesOf(std::string_view value) {
  if (!value.starts_with(prefix)) return std::nullopt;
  value.remove_prefix(prefix.size());
  value.remove_prefix(std::min(value.find_first_not_of(':'), value.size()));
  const auto colon = value.find(':');
  if (colon == std::string_view::npos || colon + 1 == value.size()) return std::nullopt;
  return Pieces{std::string(value.substr(0, colon)), value.substr(colon + 1)};
}

}  // namespace

bool isEnvelope(std::string_view text) noexcept { return text.starts_with(prefix); }

std::string keyID(std::string_view publicKeyX963) {
  return platform::sha256Hex(publicKeyX963).substr(0, 2 * keyIDBytes);
}

std::string encrypt(std::string_view plaintext, std::string_view recipientX963) {
  platform::requireP256PublicKey(recipientX963);
  const auto ephemeralKey = platform::P256PrivateKey::generate();
  const auto& ephemeral = ephemeralKey.publicKey();
  const auto shared = ephemeralKey.sharedSecret(recipientX963);
  const auto id = keyID(recipientX963);
  platform::Bytes payload = ephemeral;
  boxFor(shared, ephemeral).seal(plaintext, additionalData(id), payload);
  return std::string(prefix) + id + ":" + urlSafe(platform::base64Encode(payload));
}

std::optional<std::string> recipient(std::string_view value) {
  auto pieces = piecesOf(platform::locale::trimmed(value));
  if (!pieces) return std::nullopt;
  return std::move(pieces->keyID);
}

platform::SecretString decrypt(std::string_view value, const DecryptionKeyProvider& keys) {
  const auto pieces = piecesOf(platform::locale::trimmed(value));
  if (!pieces) throw SecretError::crypto("not a ORVIK-ENC value");
  const auto payload = decodedPayload(pieces->payload);
  if (!payload || payload->size() < shortestPayload) throw SecretError::crypto("malformed value");

  const auto ephemeral = std::string_view(*payload).substr(0, platform::x963Size);
  const auto box = std::string_view(*payload).substr(platform::x963Size);
  platform::Bytes plain;
  bool isAuthentic = false;
  try {
    const auto shared = keys.sharedSecret(pieces->keyID, ephemeral);
    isAuthentic = boxFor(shared, ephemeral).open(box, additionalData(pieces->keyID), plain);
  } catch (const SecretError&) {
    throw;
  } catch (const platform::CancellationError&) {
    throw;
  } catch (const std::exception&) {  // of whatever kind a provider's is
    isAuthentic = false;
  }
  platform::SecretString text(std::move(plain));
  if (!isAuthentic) throw SecretError::crypto("authentication failed for key " + pieces->keyID);
  if (!platform::locale::isValidUTF8(text.reveal())) throw SecretError::crypto("plaintext is not UTF-8");
  return text;
}

}  // namespace orvik::SecretEnvelope
