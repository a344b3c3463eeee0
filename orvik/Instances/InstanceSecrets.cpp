#include "orvik/Instances/InstanceSecrets.h"

#include <fmt/format.h>

#include <memory>
#include <utility>

#include "JamfCore/Networking/APIError.h"
#include "OrvikCore/Security/SecretError.h"
#include "TuvCore/AppIdentity.h"
#include "orvik/Backup/Sealing.h"
#include "orvik/ExitStatus.h"
#include "orvik/Instances/KnownInstances.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

using platform::SecretString;

CredentialStore credentialStore() {
  return CredentialStore(tuv::AppIdentity::own().bundleID, organisationKeys(std::nullopt));
}

SecretSupply supplyOf(ClientSecret secret) {
  // The provider is copied around and asked again and again, so it shares the one secret.
  const auto kept = std::make_shared<const SecretString>(std::move(secret.value));
  return {[kept] { return SecretString(std::string(kept->reveal())); }, std::move(secret.source)};
}

SecretSupply instanceSecret(const InstanceConfig& instance) {
  const bool isManaged = KnownInstances::isManaged(instance);
  auto provider = credentialStore().secretProvider(instance);
  try {
    if (provider().empty())
      throw CredentialError(fmt::format("The client secret of {} is empty.", instance.name));
  } catch (const jamf::APIError&) {
    throw CredentialError(fmt::format(
        "The keychain holds no client secret of {0}. Put it there with orvik instances add --name {1} "
        "--url {2} --client-id {3} --secret-file FILE.",
        instance.name, wording::shellWord(instance.name), wording::shellWord(instance.url),
        wording::shellWord(instance.clientID)));
  } catch (const SecretError& error) {
    throw CredentialError(fmt::format("The managed client secret of {} can't be opened: {}", instance.name,
                                      error.description()));
  } catch (const tuv::KeychainError& error) {
    throw CredentialError(fmt::format("The keychain does not give the client secret of {}: {}", instance.name,
                                      error.description()));
  }
  return {std::move(provider), isManaged ? "a managed setting" : "the keychain"};
}

}  // namespace orvik::host
