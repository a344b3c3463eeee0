#include "orvik/Server/Secrets.h"

#include <fmt/format.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <utility>

#include "Platform/Files/SecretFile.h"
#include "Platform/Process/ChildProcess.h"
#include "Platform/Terminal/StandardStreams.h"
#include "orvik/ExitStatus.h"
#include "orvik/Output/Question.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

namespace files = platform::files;
using platform::SecretString;

constexpr std::size_t longestSecret = 64 * 1024;  // bytes

constexpr const char* variable = "ORVIK_CLIENT_SECRET";
constexpr std::string_view credentialName = "orvik-client-secret";

SecretString withoutLineEnd(const SecretString& text) {
  std::string_view value = text.reveal();
  if (value.ends_with('\n')) value.remove_suffix(1);
  if (value.ends_with('\r') && text.reveal().ends_with('\n')) value.remove_suffix(1);
  return SecretString(std::string(value));
}

SecretString firstLine(const SecretString& text) {
  std::string_view value = text.reveal();
  value = value.substr(0, value.find('\n'));
  if (value.ends_with('\r') && value.size() < text.reveal().size()) value.remove_suffix(1);
  return SecretString(std::string(value));
}

SecretString fromFile(const std::string& path, files::Exposure exposure, const std::stop_token& stop) try {
  return withoutLineEnd(files::readSecretFile(path, longestSecret, exposure, stop));
} catch (const files::ExposedFileError&) {
  throw CredentialError("Others can read the secret file " + path + ". This mends it: chmod 600 " +
                        wording::shellWord(path));
}

/// The command itself may hold a password, so no message repeats it.
SecretString fromCommand(const std::string& command, const std::stop_token& stop) {
  const auto output = platform::runForSecret({"/bin/sh", "-c", command}, longestSecret, stop);
  if (output.status != 0)
    throw CredentialError("The command of --secret-command failed with status " +
                          std::to_string(output.status) + ".");
  return firstLine(output.text);
}

std::optional<std::string> systemdCredential() {
  const char* folder = std::getenv("CREDENTIALS_DIRECTORY");
  if (folder == nullptr || *folder == '\0') return std::nullopt;
  const auto path = std::filesystem::path(folder) / credentialName;
  std::error_code ignored;
  if (!std::filesystem::exists(path, ignored)) return std::nullopt;
  return path.string();
}

ClientSecret orRefuse(SecretString secret, std::string source, const std::string& subject) {
  if (secret.empty()) throw CredentialError(subject + " holds no client secret: it is empty.");
  return {std::move(secret), std::move(source)};
}

/// A path is told; a command is not, since it may hold a password.
ClientSecret read(SecretSources sources, const std::stop_token& stop) {
  if (sources.file == "-")
    return orRefuse(withoutLineEnd(files::readSecretly(platform::standardStreams::input(), longestSecret,
                                                       "the secret from standard input", stop)),
                    "standard input", "Standard input");
  if (sources.file)
    return orRefuse(fromFile(*sources.file, files::Exposure::refused, stop), "the file " + *sources.file,
                    "The file " + *sources.file);
  if (sources.command)
    return orRefuse(fromCommand(*sources.command, stop), "the output of a command",
                    "The first line of --secret-command's output");
  if (!sources.environment.empty())
    return orRefuse(withoutLineEnd(sources.environment), std::string("the environment variable ") + variable,
                    variable);
  if (const auto path = systemdCredential())
    return orRefuse(fromFile(*path, files::Exposure::allowed, stop),
                    fmt::format("the systemd credential {}", credentialName), "The credential " + *path);
  throw CredentialError(
      "There is no client secret. Give it with --secret-file FILE, --secret-command CMD, the environment "
      "variable ORVIK_CLIENT_SECRET or the systemd credential orvik-client-secret.");
}

}  // namespace

SecretString takeEnvironmentSecret() {
  char* value = std::getenv(variable);
  if (value == nullptr) return SecretString();
  SecretString secret{std::string(value)};
  explicit_bzero(value, std::strlen(value));
  ::unsetenv(variable);
  return secret;
}

bool isAtHand(const SecretSources& sources) {
  return sources.file || sources.command || !sources.environment.empty() || systemdCredential();
}

ClientSecret readSecret(SecretSources sources, const std::stop_token& stop) try {
  return read(std::move(sources), stop);
} catch (const CredentialError&) {
  throw;
} catch (const tuv::Error& error) {
  throw CredentialError(error.description());
}

ClientSecret readOrAskSecret(SecretSources sources, const std::stop_token& stop) {
  if (isAtHand(sources) || !question::canAsk()) return readSecret(std::move(sources), stop);
  auto typed = question::askForSecret("Client secret (it is not shown):", stop);
  if (typed.empty()) throw CredentialError("No client secret was typed.");
  return {std::move(typed), "the terminal"};
}

}  // namespace orvik::host
