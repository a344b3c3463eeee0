#pragma once

#include <filesystem>
#include <memory>
#include <vector>

#include "Platform/Crypto/Certificate.h"
#include "Platform/Crypto/Secret256.h"
#include "Platform/Error.h"

/// The certificates with a private key that this user can reach. A private key need not be extractable: the
/// key agreement runs where it lives.
namespace platform::keychain {

/// A key agreement with a peer was refused or went wrong; `description()` is the reason alone, as a phrase.
class AgreementError : public Error {
 public:
  using Error::Error;
};

/// A private key that is ready to be used. Any thread may call, one at a time.
class AgreementKey {
 public:
  virtual ~AgreementKey() = default;
  /// The raw 32-byte result of ECDH with a point of P-256 in X9.63 form. Throws `AgreementError`.
  virtual Secret256 sharedSecret(std::string_view peerX963) const = 0;
};

/// A certificate whose private key is somewhere. Any thread may call.
class Identity {
 public:
  virtual ~Identity() = default;
  virtual const Certificate& certificate() const noexcept = 0;
  /// Takes hold of the private key; this is where a token is logged into. Nothing ever prompts. Throws
  /// `Error` with a sentence that says why it can't be had, and what would help.
  virtual std::unique_ptr<AgreementKey> privateKey() const = 0;
};

/// All identities with a P-256 key: first those of the PKCS #11 tokens, in the order of modules, slots and
/// objects, then those of the `*.pem` files of each of the folders, in the order of folders and file names.
///
/// The tokens and folders are asked afresh at each call. What can't be reached or read is left out. The
/// result keeps the modules that it uses initialised; drop it before the process ends. After a fork, ask
/// again.
std::vector<std::shared_ptr<const Identity>> identities(
    const std::vector<std::filesystem::path>& folders) noexcept;

}  // namespace platform::keychain
