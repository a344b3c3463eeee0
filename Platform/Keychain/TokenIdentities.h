#pragma once

#include <memory>
#include <vector>

#include "Platform/Keychain/Identity.h"

namespace platform::keychain {

/// The identities of the PKCS #11 tokens that p11-kit's modules show, in the order of modules, slots and
/// certificates: each P-256 certificate whose id (CKA_ID) a private or a public key in the same token has
/// too. Private keys are invisible before login, and nothing here logs in. What can't be read, or is out of
/// all proportion, is left out.
///
/// A private key is reached with the PIN that `tokenPIN()` finds, and not with the last try that a token
/// allows: a wrong PIN must not lock it.
std::vector<std::shared_ptr<const Identity>> tokenIdentities();

}  // namespace platform::keychain
