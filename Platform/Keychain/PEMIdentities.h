#pragma once

#include <filesystem>
#include <memory>
#include <vector>

#include "Platform/Keychain/Identity.h"

namespace platform::keychain {

/// The identities of the `*.pem` files of one folder: each certificate whose private key stands in any of the
/// files, in the order of file names and blocks. A file may hold a certificate, a key or both. A key that
/// others can read is found but refuses to be used. Files that can't be read are left out.
std::vector<std::shared_ptr<const Identity>> pemIdentities(const std::filesystem::path& folder);

}  // namespace platform::keychain
