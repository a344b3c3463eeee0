#include "TuvCore/UserPasswords.h"

#include "TuvCore/AppIdentity.h"

namespace tuv {

std::unique_ptr<platform::keychain::PasswordStore> userPasswords() {
  return platform::keychain::passwords(AppIdentity::own().userSupportDirectory() / "secrets");
}

}  // namespace tuv
