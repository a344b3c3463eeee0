#include "orvik/Instances/InstanceText.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <functional>
#include <iterator>

#include "OrvikCore/Jamf/ServerFacts.h"
#include "orvik/Instances/KnownInstances.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"

namespace orvik::host::instanceText {

using platform::json::Value;

namespace {

std::string_view secretText(const InstanceConfig& instance, bool hasSecret) {
  if (KnownInstances::isManaged(instance)) return "from the organisation";
  return hasSecret ? "in the keychain" : "none, or the keychain can't be read";
}

}  // namespace

std::string page(const InstanceConfig& instance, bool hasSecret, const Paint& paint) {
  const auto descriptor = instance.descriptor();
  auto text = paint(Paint::Ink::strong, visibleLine(instance.name));
  const auto add = [&](std::string_view name, std::string_view value) {
    text += fmt::format("\n  {:<14}{}", name, visibleLine(value));
  };
  add("ID", instance.id.text());
  add("URL", descriptor.url);
  add("client ID", instance.clientID);
  add("folder", descriptor.slug);
  if (instance.fileShareMountPath) add("file share", *instance.fileShareMountPath);
  add("registered by", KnownInstances::isManaged(instance) ? "the organisation" : "you");
  add("client secret", secretText(instance, hasSecret));
  return text;
}

Value json(const InstanceConfig& instance, bool hasSecret) {
  const auto descriptor = instance.descriptor();
  auto line = Value::object({{"name", instance.name},
                             {"id", instance.id.text()},
                             {"url", descriptor.url},
                             {"clientID", instance.clientID},
                             {"folder", descriptor.slug},
                             {"managed", KnownInstances::isManaged(instance)},
                             {"hasSecret", hasSecret}});
  if (instance.fileShareMountPath) line.set("fileShareMountPath", *instance.fileShareMountPath);
  return line;
}

std::string answers(const InstanceConfig& instance, const std::optional<std::string>& version) {
  return visibleLine(fmt::format("{}: Jamf Pro{} answers at {}", instance.name, version ? " " + *version : "",
                                 instance.descriptor().url));
}

std::string privileges(const std::optional<std::vector<std::string>>& privileges) {
  if (!privileges) return "The server does not tell the privileges of the client.";
  std::vector<std::string> changing;
  std::ranges::copy_if(*privileges, std::back_inserter(changing), std::not_fn(ServerFacts::isReading));
  const auto counted = wording::counted(static_cast<std::int64_t>(privileges->size()), "privilege");
  if (changing.empty()) return fmt::format("The client has {}, which let it read and nothing else.", counted);
  return oneLine(fmt::format("The client has {}; {} of them allow changes and are not needed: {}.", counted,
                             changing.size(), fmt::join(changing, ", ")));
}

}  // namespace orvik::host::instanceText
