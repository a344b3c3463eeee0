#include "JamfCore/Networking/ResponseText.h"

#include <utility>

#include "Platform/HTTP/URL.h"
#include "Platform/Locale/Text.h"
#include "Platform/SecretString.h"

namespace jamf {

namespace {

constexpr std::size_t shortestHidden = 8;
constexpr std::string_view placeholder = "[secret]";

void hide(std::string& text, std::string_view secret) {
  for (auto at = text.find(secret); at != std::string::npos; at = text.find(secret, at + placeholder.size()))
    text.replace(at, secret.size(), placeholder);
}

}  // namespace

std::optional<std::string> responseText(platform::Bytes body, std::string_view secret) {
  if (!platform::locale::isValidUTF8(body)) return std::nullopt;
  if (secret.size() < shortestHidden) return body;
  hide(body, secret);
  std::string encoded = platform::percentEncodeQueryItem(secret);
  hide(body, encoded);
  platform::wipe(encoded);
  return body;
}

}  // namespace jamf
