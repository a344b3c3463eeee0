#include "OrvikCore/Config/ManagedInstances.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>

#include "OrvikCore/Security/SecretEnvelope.h"
#include "Platform/Crypto/Digest.h"
#include "Platform/HTTP/URL.h"
#include "Platform/Locale/Text.h"

namespace orvik::ManagedInstances {

namespace {

using platform::plist::Value;

/// A text of a dictionary that isn't empty.
std::optional<std::string> textIn(const Value& dictionary, std::string_view key) {
  const auto* value = dictionary.find(key);
  const auto* text = value ? value->string() : nullptr;
  return text && !text->empty() ? std::optional(*text) : std::nullopt;
}

std::string nameOf(const Value& element, const std::string& url) {
  if (auto name = textIn(element, "Name")) return *name;
  const auto parsed = platform::URL::parse(url);
  return parsed && !parsed->host.empty() ? parsed->host : url;
}

}  // namespace

Result parse(const Value& value) {
  Result result;
  const auto* elements = value.array();
  const auto isDictionary = [](const Value& element) { return element.dictionary() != nullptr; };
  if (!elements || !std::ranges::all_of(*elements, isDictionary)) return result;
  for (std::size_t i = 0; i < elements->size(); ++i) {
    const auto& element = (*elements)[i];
    const auto url = textIn(element, "URL");
    const auto clientID = textIn(element, "ClientID");
    auto secret = textIn(element, "ClientSecret");
    if (!url || !clientID || !secret) {
      result.warnings.push_back(
          fmt::format("ManagedInstances[{}] needs URL, ClientID and ClientSecret; ignored.", i));
      continue;
    }
    const std::string name = nameOf(element, *url);
    if (!SecretEnvelope::isEnvelope(*secret))
      result.warnings.push_back(fmt::format(
          "ManagedInstances[{}] ({}) has an unencrypted ClientSecret. Anyone on this Mac can read "
          "Managed Preferences; encrypt it with `orvikctl encrypt`.",
          i, name));
    InstanceConfig instance;
    instance.id = stableID(*url, *clientID);
    instance.name = name;
    instance.url = *url;
    instance.clientID = *clientID;
    instance.fileShareMountPath = textIn(element, "FileShareMountPath");
    instance.managedSecret = std::make_shared<const platform::SecretString>(std::move(*secret));
    result.instances.push_back(std::move(instance));
  }
  return result;
}

platform::UUID stableID(std::string_view url, std::string_view clientID) {
  const std::string text = platform::locale::lowercased(url) + "|" + std::string(clientID);
  const auto digest = platform::digest(platform::DigestAlgorithm::sha256, text);
  platform::UUID id;
  std::copy_n(digest.begin(), id.bytes.size(), id.bytes.begin());
  id.bytes[6] = static_cast<std::uint8_t>((id.bytes[6] & 0x0F) | 0x50);
  id.bytes[8] = static_cast<std::uint8_t>((id.bytes[8] & 0x3F) | 0x80);
  return id;
}

}  // namespace orvik::ManagedInstances
