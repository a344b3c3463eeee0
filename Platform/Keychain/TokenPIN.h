#pragma once

#include <optional>
#include <string>

#include "Platform/SecretString.h"

namespace platform::keychain {

/// The variable that holds the PIN of the tokens.
inline constexpr const char* pinVariable = "ORVIK_PKCS11_PIN";
/// The one that names a file whose first line is the PIN: a path, alone or behind "file:".
inline constexpr const char* pinSourceVariable = "ORVIK_PKCS11_PIN_SOURCE";

struct TokenPIN {
  SecretString text;
  std::string origin;  ///< for sentences: "in ORVIK_PKCS11_PIN", "in the file /etc/pin"
};

/// The PIN of this process's environment, read afresh; the first variable goes before the second, and an
/// empty one counts as not set. Nothing when there is none. Throws `Error` when the file can't be read, is
/// no regular one, or others have a right to it. Nothing is ever waited for.
std::optional<TokenPIN> tokenPIN();

}  // namespace platform::keychain
