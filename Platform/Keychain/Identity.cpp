#include "Platform/Keychain/Identity.h"

#include <algorithm>
#include <iterator>

#include "Platform/Keychain/PEMIdentities.h"
#include "Platform/Keychain/TokenIdentities.h"

namespace platform::keychain {

std::vector<std::shared_ptr<const Identity>> identities(
    const std::vector<std::filesystem::path>& folders) noexcept try {
  auto all = tokenIdentities();
  for (const auto& folder : folders) std::ranges::move(pemIdentities(folder), std::back_inserter(all));
  return all;
} catch (...) {
  return {};
}

}  // namespace platform::keychain
