#include "OrvikCore/Config/InstanceConfig.h"

#include "Platform/Locale/Text.h"

namespace orvik {

namespace {

constexpr std::string_view whiteSpace = " \t\n\v\f\r";

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(whiteSpace);
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(whiteSpace) - first + 1);
}

}  // namespace

std::optional<platform::URL> InstanceConfig::normalizedURL(std::string_view url) {
  std::string_view text = trimmed(url);
  while (text.ends_with('/')) text.remove_suffix(1);
  const bool hasScheme = platform::locale::lowercased(text).starts_with("http");
  auto parsed = platform::URL::parse(hasScheme ? std::string(text) : "https://" + std::string(text));
  if (parsed && parsed->host.empty()) return std::nullopt;
  return parsed;
}

InstanceDescriptor InstanceConfig::descriptor() const {
  const auto normalized = normalizedURL();
  std::string text = normalized ? normalized->text() : url;
  std::string slug = InstanceDescriptor::slugFor(text, id.text());
  return {id, name, std::move(text), std::move(slug), clientID};
}

}  // namespace orvik
