#include "Platform/Keychain/TokenIdentities.h"

#include <fmt/format.h>

#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "Platform/Crypto/KeyedHash.h"
#include "Platform/Crypto/P256.h"
#include "Platform/Keychain/TokenModules.h"
#include "Platform/Keychain/TokenPIN.h"
#include "Platform/Keychain/TokenSession.h"

namespace platform::keychain {

namespace {

constexpr std::size_t longestID = 1024;             // bytes
constexpr std::size_t longestCertificate = 32'768;  // bytes

class TokenKey final : public AgreementKey {
 public:
  TokenKey(std::unique_ptr<TokenSession> session, TokenObject key)
      : session_(std::move(session)), key_(key) {}

  Secret256 sharedSecret(std::string_view peerX963) const override {
    std::optional<Secret256> secret;
    try {
      requireP256PublicKey(peerX963);
      secret = session_->sharedSecret(key_, peerX963);
    } catch (const Error& error) {
      throw AgreementError(error.description());
    }
    if (!secret) throw AgreementError("The token's result has another length than 32 bytes");
    return *secret;
  }

 private:
  std::unique_ptr<TokenSession> session_;
  TokenObject key_;
};

/// Guards the look at how many tries a token still allows together with the try itself, so that two threads
/// with a wrong PIN can't use up the last two.
std::mutex& loginDoor() {
  static std::mutex mutex;
  return mutex;
}

std::string withoutPIN(const TokenState& token) {
  if (token.hasKeypad)
    return fmt::format(
        "The token \"{}\" takes its PIN on a keypad, where nobody may be to type it. If it takes "
        "one from a program too, put it in {} or its file's path in {}.",
        token.label, pinVariable, pinSourceVariable);
  return fmt::format("The token \"{}\" asks for a PIN. Put it in {} or its file's path in {}.", token.label,
                     pinVariable, pinSourceVariable);
}

std::string lockedPIN(const TokenState& token) {
  return fmt::format(
      "The PIN of the token \"{}\" is locked after too many wrong ones; the token's own tool "
      "unlocks it.",
      token.label);
}

std::string wrongPIN(const TokenState& token, const TokenPIN& pin) {
  return fmt::format("The PIN {} is not that of the token \"{}\".", pin.origin, token.label);
}

/// A token and a PIN, as a keyed hash: nothing of the PIN is kept.
Bytes attemptOf(const TokenState& token, const TokenPIN& pin) {
  static const HMACSHA256 hash(Secret256::random());
  return hash(token.serialNumber) + hash(pin.text.reveal());
}

/// The attempts that failed in this process: a wrong PIN is tried once, however often a command wants the
/// key. `loginDoor` guards it.
std::set<Bytes>& refusedAttempts() {
  static std::set<Bytes> refused;
  return refused;
}

void logIn(const TokenSession& session, const TokenState& token) {
  if (token.isPINLocked) throw Error(lockedPIN(token));
  if (token.hasOneTryLeft)
    throw Error(
        fmt::format("The token \"{}\" allows one more try before its PIN is locked, and that is left to "
                    "you: log in once with the token's own tool.",
                    token.label));
  const auto pin = tokenPIN();
  if (!pin) throw Error(withoutPIN(token));
  auto attempt = attemptOf(token, *pin);
  if (refusedAttempts().contains(attempt)) throw Error(wrongPIN(token, *pin));
  try {
    session.logIn(pin->text);
  } catch (const TokenError& error) {
    if (error.isLockedPIN()) throw Error(lockedPIN(token));
    if (error.isWrongPIN()) {
      refusedAttempts().insert(std::move(attempt));
      throw Error(wrongPIN(token, *pin));
    }
    throw Error(fmt::format("The token \"{}\" refuses the login: {}", token.label, error.description()));
  }
}

void logInWhenNeeded(const TokenSession& session) {
  const std::lock_guard lock(loginDoor());
  const auto token = session.state();
  if (token.needsLogin && !session.isLoggedIn()) logIn(session, token);
}

class TokenIdentity final : public Identity {
 public:
  TokenIdentity(TokenSlot slot, TokenState token, Bytes id, Certificate certificate)
      : slot_(std::move(slot)),
        token_(std::move(token)),
        id_(std::move(id)),
        certificate_(std::move(certificate)) {}

  const Certificate& certificate() const noexcept override { return certificate_; }

  std::unique_ptr<AgreementKey> privateKey() const override try {
    auto session = std::make_unique<TokenSession>(slot_);
    requireSameToken(*session);
    logInWhenNeeded(*session);
    const auto keys = session->find(TokenObjectKind::privateKey, id_);
    if (keys.empty())
      throw Error(
          fmt::format("The token \"{}\" holds the certificate, but not its private key.", token_.label));
    return std::make_unique<TokenKey>(std::move(session), keys.front());
  } catch (const TokenError& error) {
    throw Error(fmt::format("The token \"{}\" can't be used: {}", token_.label, error.description()));
  }

 private:
  /// The slot may hold another one by now, whose tries are not ours to use up.
  void requireSameToken(const TokenSession& session) const {
    const auto present = session.state();
    if (present.label != token_.label || present.serialNumber != token_.serialNumber)
      throw Error(fmt::format("The token \"{}\" is no longer in its slot.", token_.label));
  }

  TokenSlot slot_;
  TokenState token_;  // as it was when it was found
  Bytes id_;
  Certificate certificate_;
};

std::set<Bytes> idsOfKeys(const TokenSession& session) {
  std::set<Bytes> ids;
  for (const auto kind : {TokenObjectKind::privateKey, TokenObjectKind::publicKey})
    for (const auto object : session.find(kind))
      if (auto id = session.id(object, longestID); id && !id->empty()) ids.insert(std::move(*id));
  return ids;
}

std::optional<Certificate> p256Certificate(const TokenSession& session, TokenObject object) try {
  const auto der = session.value(object, longestCertificate);
  auto certificate = der ? Certificate::fromDER(*der) : std::nullopt;
  const auto point = certificate ? certificate->ellipticCurvePoint() : std::nullopt;
  if (!point) return std::nullopt;
  requireP256PublicKey(*point);
  return certificate;
} catch (const CryptoError&) {
  return std::nullopt;
}

void addIdentitiesOf(const TokenSlot& slot, std::vector<std::shared_ptr<const Identity>>& identities) try {
  const TokenSession session(slot);
  const auto token = session.state();
  const auto keys = idsOfKeys(session);
  if (keys.empty()) return;
  for (const auto object : session.find(TokenObjectKind::certificate)) {
    auto id = session.id(object, longestID);
    if (!id || !keys.contains(*id)) continue;
    if (auto certificate = p256Certificate(session, object))
      identities.push_back(
          std::make_shared<TokenIdentity>(slot, token, std::move(*id), std::move(*certificate)));
  }
} catch (const TokenError&) {
  // A token that refuses to be looked at shows nothing.
}

}  // namespace

std::vector<std::shared_ptr<const Identity>> tokenIdentities() {
  std::vector<std::shared_ptr<const Identity>> identities;
  for (const auto& slot : tokenSlots(std::make_shared<const TokenModules>()))
    addIdentitiesOf(slot, identities);
  return identities;
}

}  // namespace platform::keychain
