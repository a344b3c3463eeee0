#include "orvikctl/KeyCommands.h"

#include <utility>

#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Security/CertificateKey.h"
#include "OrvikCore/Security/InMemoryKeyProvider.h"
#include "OrvikCore/Security/KeychainIdentityKeyProvider.h"
#include "OrvikCore/Security/SecretEnvelope.h"
#include "Platform/Base64.h"
#include "Platform/Files/Files.h"
#include "Platform/Files/SecretFile.h"
#include "Platform/Locale/Text.h"
#include "Platform/Terminal/StandardStreams.h"
#include "orvikctl/Driver.h"

namespace orvik::ctl {

namespace {

constexpr std::size_t longestCertificate = std::size_t{16} << 20;  // bytes
constexpr std::size_t longestSecret = std::size_t{1} << 20;        // bytes

std::optional<std::string> firstPositional(const Arguments& arguments) {
  auto all = positional(arguments);
  if (all.empty()) return std::nullopt;
  return std::move(all.front());
}

/// The public key of the certificate that `--cert` names.
platform::Bytes recipientOf(const Arguments& arguments) {
  const auto path = option("--cert", arguments);
  if (!path) fail("--cert <certificate.pem> is required");
  platform::Bytes data;
  platform::files::read(*path, data, longestCertificate);
  return CertificateKey::x963PublicKey(data);
}

}  // namespace

platform::SecretString readSecret(const std::optional<std::string>& given) {
  if (given && !given->empty()) return platform::SecretString(*given);
  auto line = platform::files::readLineSecretly(platform::standardStreams::input(), longestSecret,
                                                "the secret from standard input", {});
  if (line.empty()) fail("empty secret");
  return line;
}

void unlockIfRequested(const std::string& folder, const std::optional<std::string>& keyPath) {
  if (!BackupEncryption::isEncrypted(folder) || !keyPath) return;
  try {
    BackupEncryption::unlock(folder, InMemoryKeyProvider::fromFile(*keyPath));
  } catch (const std::exception& error) {
    fail(error.what() + std::string("\nPass the organisation key with --key <org.key.pem>."));
  }
}

int encrypt(const Arguments& arguments, std::ostream& out) {
  const auto recipient = recipientOf(arguments);
  const auto secret = readSecret(firstPositional(arguments));
  if (!platform::locale::isValidUTF8(secret.reveal())) fail("the secret is no UTF-8 text");
  out << SecretEnvelope::encrypt(secret.reveal(), recipient) << '\n';
  return 0;
}

int keyInfo(const Arguments& arguments, std::ostream& out) {
  const auto key = recipientOf(arguments);
  out << "key id:     " << SecretEnvelope::keyID(key) << '\n';
  out << "public key: " << platform::base64Encode(key) << '\n';
  return 0;
}

int keys(std::ostream& out) {
  const auto ids = KeychainIdentityKeyProvider().availableKeyIDs();
  for (const auto& id : ids) out << id << '\n';
  if (ids.empty()) out << "No P-256 identity found. Deploy the Orvik organisation key profile.\n";
  return 0;
}

int decrypt(const Arguments& arguments, std::ostream& out) {
  const auto path = option("--key", arguments);
  if (!path) fail("--key <org.key.pem> is required");
  const auto keyOfFile = InMemoryKeyProvider::fromFile(*path);
  const auto value = readSecret(firstPositional(arguments));
  out << SecretEnvelope::decrypt(value.reveal(), keyOfFile).reveal() << '\n';
  return 0;
}

}  // namespace orvik::ctl
