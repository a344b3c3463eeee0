#include "OrvikCore/Security/InMemoryKeyProvider.h"

#include <utility>

#include "OrvikCore/Security/SecretEnvelope.h"
#include "OrvikCore/Security/SecretError.h"
#include "Platform/Files/SecretFile.h"
#include "Platform/Locale/Text.h"

namespace orvik {

InMemoryKeyProvider::InMemoryKeyProvider(std::vector<platform::P256PrivateKey> privateKeys) {
  for (auto& key : privateKeys) {
    auto id = SecretEnvelope::keyID(key.publicKey());
    keys_.insert_or_assign(std::move(id), std::move(key));
  }
}

InMemoryKeyProvider InMemoryKeyProvider::fromFile(const std::filesystem::path& path) {
  constexpr std::size_t longest = std::size_t{1} << 20;
  const auto text = platform::files::readSecretFile(path, longest, platform::files::Exposure::allowed, {});
  try {
    if (!platform::locale::isValidUTF8(text.reveal())) throw tuv::Error("It is no text.");
    return InMemoryKeyProvider({platform::P256PrivateKey::fromPEM(text.reveal())});
  } catch (const tuv::Error& error) {
    throw tuv::Error("Can't use the key file " + path.string() + ": " + error.description());
  }
}

platform::Secret256 InMemoryKeyProvider::sharedSecret(const std::string& keyID,
                                                      std::string_view ephemeralX963) const {
  const auto key = keys_.find(keyID);
  if (key == keys_.end()) throw SecretError::crypto("no private key for key id " + keyID);
  return key->second.sharedSecret(ephemeralX963);
}

PublicKeys InMemoryKeyProvider::publicKeys() const {
  PublicKeys table;
  for (const auto& [id, key] : keys_) table.emplace(id, key.publicKey());
  return table;
}

}  // namespace orvik
