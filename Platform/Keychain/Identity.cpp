#include "Platform/Keychain/Identity.h"

#include <algorithm>
#include <iterator>

#include "Platform/Keychain/PEMIdentities.h"
#include "Platform/Keychain/TokenIdentities.h"

namespace platform::keychain {

std::vector<std::shared_ptr<const Identity>> identities(
    const std::vector<std::filesystem::path>& folders) noexcept try {
  std::vector<std::shared_ptr<const Identity>> all;
  const auto add = [&](const auto& identitiesOfSource) {
    try {
      std::ranges::move(identitiesOfSource(), std::back_inserter(all));
    } catch (const std::exception&) {
      // A source that fails leaves the others as they are.
    }
  };
  add(tokenIdentities);
  for (const auto& folder : folders) add([&] { return pemIdentities(folder); });
  return all;
} catch (...) {
  return {};
}

}  // namespace platform::keychain
