#include "orvik/Instances/ServerChoice.h"

#include <utility>

#include "orvik/Backup/InstanceBackup.h"
#include "orvik/Instances/KnownInstances.h"
#include "orvik/Server/ServerURL.h"

namespace orvik::host {

ChosenServer chosenServer(const ServerArguments& arguments, const HostPlaces& places) {
  if (!arguments.instance) return serverAt(serverURL(arguments.url), arguments.clientID, arguments.name);
  return registered(KnownInstances(places).named(*arguments.instance));
}

SecretSupply chosenSecret(const ChosenServer& server, const ServerArguments& arguments,
                          platform::SecretString environmentSecret, const std::stop_token& stop) {
  SecretSources sources{arguments.secretFile, arguments.secretCommand, std::move(environmentSecret)};
  if (arguments.instance && !isAtHand(sources)) return instanceSecret(server.config);
  return supplyOf(readSecret(std::move(sources), stop));
}

}  // namespace orvik::host
