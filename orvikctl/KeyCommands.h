#pragma once

#include <optional>
#include <ostream>
#include <string>

#include "Platform/SecretString.h"
#include "orvikctl/Arguments.h"

namespace orvik::ctl {

/// Seals a text for the holder of a certificate's key and prints the value. Returns the exit status.
int encrypt(const Arguments& arguments, std::ostream& out);

/// The key ID and the public key of a certificate. Returns the exit status.
int keyInfo(const Arguments& arguments, std::ostream& out);

/// The key IDs of this machine's identities. Returns the exit status: none is no failure.
int keys(std::ostream& out);

/// Opens a sealed value with a private key of a file and prints the text. Returns the exit status.
int decrypt(const Arguments& arguments, std::ostream& out);

/// `given`, or without one a line of standard input. Fails when that is empty.
platform::SecretString readSecret(const std::optional<std::string>& given);

/// Opens a sealed instance folder with a private key of a file. Does nothing without a path, and for a plain
/// folder, whose key file is not even opened.
void unlockIfRequested(const std::string& folder, const std::optional<std::string>& keyPath);

}  // namespace orvik::ctl
