#pragma once

#include <optional>
#include <stop_token>
#include <string>

#include "Platform/SecretString.h"

namespace orvik::host {

/// Where a client secret may come from. It never stands on the command line.
struct SecretSources {
  std::optional<std::string> file;     ///< `-` is standard input
  std::optional<std::string> command;  ///< for /bin/sh; the first line of its output is the secret
  platform::SecretString environment;  ///< what `takeEnvironmentSecret` found; empty for none
};

/// Takes ORVIK_CLIENT_SECRET out of this process's environment, so that no child and no look into the process
/// finds it there. Empty when it isn't set. Call it before there are threads.
platform::SecretString takeEnvironmentSecret();

struct ClientSecret {
  platform::SecretString value;
  std::string source;  ///< where it came from, for people; never a part of it
};

/// Whether one of these, or the systemd credential "orvik-client-secret", is there.
bool isAtHand(const SecretSources& sources);

/// The secret of the first source that there is: file or command, the environment, the systemd credential
/// "orvik-client-secret". One line end behind it is dropped.
///
/// Throws `CredentialError` when there is none, it is empty or a source fails, and for a file that others can
/// read; `platform::CancellationError` on a stop.
ClientSecret readSecret(SecretSources sources, const std::stop_token& stop);

/// The same; where there is none and a person sits at the terminal, what they type unseen.
ClientSecret readOrAskSecret(SecretSources sources, const std::stop_token& stop);

}  // namespace orvik::host
