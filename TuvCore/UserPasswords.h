#pragma once

#include <memory>

#include "Platform/Keychain/Passwords.h"

namespace tuv {

/// Where this user's short secrets are kept: the Secret Service of the session where there is one, else files
/// of the folder "secrets" below the user's data folder. Throws `platform::keychain::PasswordError`.
std::unique_ptr<platform::keychain::PasswordStore> userPasswords();

}  // namespace tuv
