#include "orvik/MCP/MCPToken.h"

#include <fmt/format.h>

#include <cstddef>
#include <string>

#include "Platform/Crypto/Digest.h"
#include "Platform/Files/Files.h"
#include "Platform/Files/SecretFile.h"
#include "Platform/Hex.h"
#include "Platform/Locale/Text.h"
#include "orvik/ExitStatus.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace files = platform::files;
using platform::SecretString;

namespace {

constexpr std::size_t tokenBytes = 32;
constexpr std::size_t limit = 4096;
constexpr std::size_t shortest = 16;  ///< characters: nobody guesses that many

void make(const std::filesystem::path& file) {
  files::createDirectories(file.parent_path());
  try {
    files::writeSecretFile(file, SecretString(platform::hexEncode(platform::randomBytes(tokenBytes)) + "\n"));
  } catch (const files::FileError&) {
    if (!files::exists(file)) throw;  // else another process has just made it
  }
}

}  // namespace

SecretString mcpToken(const std::filesystem::path& file, const std::stop_token& stop) {
  if (!files::exists(file)) make(file);
  const auto word = wording::shellWord(file.string());
  try {
    const auto text = files::readSecretFile(file, limit, files::Exposure::refused, stop);
    SecretString token{std::string(platform::locale::trimmed(text.reveal()))};
    if (token.reveal().size() >= shortest) return token;
  } catch (const files::ExposedFileError& error) {
    throw CredentialError(fmt::format("{}. Run: chmod 600 {}", error.description(), word));
  }
  throw CredentialError(fmt::format("The file {} holds no token. Delete it, and a new one is made: rm {}",
                                    file.string(), word));
}

}  // namespace orvik::host
