#include "Platform/Keychain/Identity.h"

#include <algorithm>
#include <iterator>

#include "Platform/Keychain/PEMIdentities.h"

namespace platform::keychain {

std::vector<std::shared_ptr<const Identity>> identities(
    const std::vector<std::filesystem::path>& folders) noexcept try {
  std::vector<std::shared_ptr<const Identity>> all;
  for (const auto& folder : folders) std::ranges::move(pemIdentities(folder), std::back_inserter(all));
  return all;
} catch (...) {
  return {};
}

}  // namespace platform::keychain
