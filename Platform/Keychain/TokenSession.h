#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Bytes.h"
#include "Platform/Crypto/Secret256.h"
#include "Platform/Error.h"
#include "Platform/Keychain/TokenModules.h"
#include "Platform/SecretString.h"

namespace platform::keychain {

/// A call that a token refused. `description()` is the reason alone, as a phrase.
class TokenError : public Error {
 public:
  explicit TokenError(unsigned long code);
  bool isWrongPIN() const noexcept;
  /// The PIN has been entered wrongly too often.
  bool isLockedPIN() const noexcept;

 private:
  unsigned long code_;
};

/// What a token says of itself at this moment.
struct TokenState {
  std::string label;         ///< trimmed, one line of printable ASCII or UTF-8
  std::string serialNumber;  ///< as it stands
  bool needsLogin = false;
  bool hasKeypad = false;
  bool isPINLocked = false;
  bool hasOneTryLeft = false;
};

/// Objects to look for. Only keys on elliptic curves count as keys.
enum class TokenObjectKind { certificate, publicKey, privateKey };

using TokenObject = unsigned long;
constexpr std::size_t mostTokenObjects = 2048;

/// A read-only session with a token; nothing in the token is ever changed. Closed when it goes; the login
/// ends with the last session of this process. One thread at a time. What throws throws `TokenError`.
class TokenSession {
 public:
  explicit TokenSession(TokenSlot slot);
  ~TokenSession();
  TokenSession(const TokenSession&) = delete;
  TokenSession& operator=(const TokenSession&) = delete;

  TokenState state() const;

  /// Whether this process is logged in as the token's user; that holds for all its sessions.
  bool isLoggedIn() const;
  /// Somebody else's login in between is no error.
  void logIn(const SecretString& pin) const;

  /// The objects of a kind, with this id if one is given, in the token's order, `mostTokenObjects` at most.
  std::vector<TokenObject> find(TokenObjectKind kind, const std::optional<Bytes>& id = {}) const;
  /// Nothing when there is none, or when it has over `limit` bytes.
  std::optional<Bytes> id(TokenObject object, std::size_t limit) const;
  std::optional<Bytes> value(TokenObject object, std::size_t limit) const;

  /// The raw result of ECDH of a private key in the token with a point in X9.63 form; nothing when it hasn't
  /// 32 bytes.
  std::optional<Secret256> sharedSecret(TokenObject privateKey, std::string_view peerX963) const;

 private:
  std::optional<Bytes> attribute(TokenObject object, unsigned long type, std::size_t limit) const;
  std::optional<Secret256> secretValue(TokenObject object) const;

  TokenSlot slot_;
  unsigned long session_ = 0;
};

}  // namespace platform::keychain
