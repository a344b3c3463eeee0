#include "OrvikCore/Security/KeychainIdentityKeyProvider.h"

#include <algorithm>

#include "OrvikCore/Security/CertificateKey.h"
#include "OrvikCore/Security/SecretEnvelope.h"
#include "OrvikCore/Security/SecretError.h"
#include "Platform/Crypto/P256.h"
#include "TuvCore/AppIdentity.h"
#include "TuvCore/Log.h"

namespace orvik {

namespace {

constexpr const char* identitiesFolder = "identities";

std::unique_ptr<platform::keychain::AgreementKey> privateKeyOf(const platform::keychain::Identity& identity,
                                                               const std::string& keyID) try {
  return identity.privateKey();
} catch (const tuv::Error& error) {
  tuv::CategoryLogger{"encryption"}.notice("organisation key " + keyID + ": " + error.description());
  throw SecretError::crypto("no access to the private key " + keyID +
                            " (enable \"Allow all apps access\" in the certificate payload)");
}

void requirePoint(std::string_view ephemeralX963) try {
  platform::requireP256PublicKey(ephemeralX963);
} catch (const platform::CryptoError&) {
  throw SecretError::crypto("invalid ephemeral key");
}

}  // namespace

platform::Secret256 KeychainIdentityKeyProvider::sharedSecret(const std::string& keyID,
                                                              std::string_view ephemeralX963) const {
  const auto all = identities();
  const auto found = std::ranges::find(all, keyID, &KeyIDAndIdentity::first);
  if (found == all.end())
    throw SecretError::crypto("the organisation key " + keyID +
                              " is not installed on this Mac (deploy the Orvik key profile)");
  const auto key = privateKeyOf(*found->second, keyID);
  requirePoint(ephemeralX963);
  try {
    return key->sharedSecret(ephemeralX963);
  } catch (const platform::keychain::AgreementError& error) {
    throw SecretError::crypto("key exchange failed: " +
                              (error.description().empty() ? "unknown" : error.description()));
  }
}

PublicKeys KeychainIdentityKeyProvider::publicKeys() const {
  PublicKeys table;
  for (const auto& [keyID, identity] : identities())
    if (auto x963 = CertificateKey::x963PublicKey(identity->certificate()))
      table.insert_or_assign(keyID, std::move(*x963));
  return table;
}

std::vector<std::string> KeychainIdentityKeyProvider::availableKeyIDs() const {
  std::vector<std::string> ids;
  for (auto& [keyID, identity] : identities()) ids.push_back(keyID);
  return ids;
}

std::vector<KeychainIdentityKeyProvider::KeyIDAndIdentity> KeychainIdentityKeyProvider::identities() {
  std::vector<KeyIDAndIdentity> pairs;
  for (auto& identity :
       platform::keychain::identities({tuv::AppIdentity::own().userSupportDirectory() / identitiesFolder,
                                       tuv::AppIdentity::own().systemSupportDirectory() / identitiesFolder}))
    if (const auto x963 = CertificateKey::x963PublicKey(identity->certificate()))
      pairs.emplace_back(SecretEnvelope::keyID(*x963), std::move(identity));
  return pairs;
}

}  // namespace orvik
