#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Platform/SecretString.h"

namespace platform {

/// One block of a PEM text (RFC 7468); for the rooms of this folder alone. Its bytes may be a private key.
struct PEMBlock {
  std::string label;         ///< "PRIVATE KEY", "CERTIFICATE", ...
  bool isEncrypted = false;  ///< with a password, in one of the two ways that there are
  SecretString der;
};

/// The blocks of a text in its order. Damaged ones and text around them are left out.
std::vector<PEMBlock> pemBlocks(std::string_view text);

}  // namespace platform
