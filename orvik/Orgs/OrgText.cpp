#include "orvik/Orgs/OrgText.h"

#include <fmt/format.h>

#include <string_view>

#include "Platform/Locale/Text.h"
#include "orvik/Output/VisibleText.h"

namespace orvik::host::orgText {

using platform::json::Value;

std::string page(const jamf::JamfOrganization& organization, bool hasSecret, const Paint& paint) {
  auto text = paint(Paint::Ink::strong, visibleLine(organization.name));
  const auto add = [&](std::string_view name, std::string_view value) {
    text += fmt::format("\n  {:<14}{}", name, visibleLine(value));
  };
  add("ID", organization.id.text());
  add("URL", organization.baseURLString);
  add("client ID", organization.clientID);
  if (organization.clientName) add("client", *organization.clientName);
  add("added", platform::locale::dateText(organization.createdAt));
  if (organization.lastUsedAt) add("last used", platform::locale::dateText(*organization.lastUsedAt));
  add("client secret", hasSecret ? "in the keychain" : "none, or the keychain can't be read");
  return text;
}

Value json(const jamf::JamfOrganization& organization, bool hasSecret) {
  auto line = Value::object({{"name", organization.name},
                             {"baseURL", organization.baseURLString},
                             {"id", organization.id.text()},
                             {"clientID", organization.clientID},
                             {"createdAt", platform::iso8601(organization.createdAt)},
                             {"hasSecret", hasSecret}});
  if (organization.lastUsedAt) line.set("lastUsedAt", platform::iso8601(*organization.lastUsedAt));
  if (organization.clientName) line.set("clientName", *organization.clientName);
  return line;
}

}  // namespace orvik::host::orgText
