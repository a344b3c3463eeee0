#include "Platform/Keychain/TokenPIN.h"

#include <cstdlib>
#include <string_view>

#include "Platform/Error.h"
#include "Platform/Files/SecretFile.h"

namespace platform::keychain {

namespace {

constexpr std::size_t longestFile = 4096;  // bytes

std::string_view variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string_view() : value;
}

SecretString firstLineOf(const files::Path& path) {
  // A pipe or a terminal would be waited for.
  if (files::exists(path) && !files::isFile(path))
    throw Error("The PIN file " + path.string() + " is no regular file.");
  SecretString content;
  try {
    content = files::readSecretFile(path, longestFile, files::Exposure::refused, {});
  } catch (const files::ExposedFileError&) {
    throw Error("Others have a right to the PIN file " + path.string() + ". This mends it: chmod 600 " +
                path.string());
  }
  auto line = content.reveal();
  line = line.substr(0, line.find('\n'));
  if (line.ends_with('\r')) line.remove_suffix(1);
  if (line.empty()) throw Error("The PIN file " + path.string() + " begins with an empty line.");
  return SecretString(std::string(line));
}

}  // namespace

std::optional<TokenPIN> tokenPIN() {
  if (const auto pin = variable(pinVariable); !pin.empty())
    return TokenPIN{SecretString(std::string(pin)), std::string("in ") + pinVariable};
  auto source = variable(pinSourceVariable);
  if (source.empty()) return std::nullopt;
  constexpr std::string_view scheme = "file:";
  if (source.starts_with(scheme)) source.remove_prefix(scheme.size());
  const files::Path path(source);
  return TokenPIN{firstLineOf(path), "in the file " + path.string()};
}

}  // namespace platform::keychain
