#include "JamfCore/Services/DeviceService.h"

#include "JamfCore/Models/ClassicRecords.h"
#include "JamfCore/Services/ObjectCalls.h"

namespace jamf {

namespace {

namespace json = platform::json;

constexpr const char* inventory = "api/v1/computers-inventory";

void addSections(Endpoint& endpoint, const DeviceService::Sections& sections, std::size_t at) {
  std::vector<QueryItem> items;
  for (const auto section : sections) items.push_back({"section", std::string(json::textOf(section))});
  endpoint.queryItems.insert(endpoint.queryItems.begin() + static_cast<std::ptrdiff_t>(at), items.begin(),
                             items.end());
}

/// The runs of policies as a list, as one of them, or as a list in an object.
struct PolicyLogs {
  std::vector<PolicyLogEntry> entries;

  static constexpr bool mayBeAbsent = true;

  static PolicyLogs decode(json::View view) {
    if (const auto inner = view["policy_log"]) {
      if (inner->isArray()) return {json::decodeValue<std::vector<PolicyLogEntry>>(*inner)};
      return {{json::decodeValue<PolicyLogEntry>(*inner)}};
    }
    return {json::decodeValue<ClassicList<PolicyLogEntry>>(view).elements};
  }
};

struct PolicyHistory {
  struct Subset {
    PolicyLogs policy_logs;
    static constexpr auto fields() { return fieldList(json::field("policy_logs", &Subset::policy_logs)); }
  };

  Subset computer_history;
  static constexpr auto fields() {
    return fieldList(json::field("computer_history", &PolicyHistory::computer_history));
  }
};

}  // namespace

const DeviceService::Sections& DeviceService::listSections() {
  static const Sections sections{DeviceSection::general, DeviceSection::hardware};
  return sections;
}

const DeviceService::Sections& DeviceService::allSections() {
  static const Sections sections = [] {
    Sections all;
    for (const auto& [section, text] : enumTexts(DeviceSection{})) all.push_back(section);
    return all;
  }();
  return sections;
}

DevicePage DeviceService::list(const ListRequest& request, const Sections& sections,
                               const std::stop_token& stop) const {
  constexpr std::size_t behindPaging = 2;
  auto endpoint = ObjectCalls{*client, inventory}.listEndpoint(request);
  addSections(endpoint, sections, behindPaging);
  return client->send<DevicePage>(endpoint, stop);
}

Device DeviceService::get(const std::string& id, const Sections& sections,
                          const std::stop_token& stop) const {
  Endpoint endpoint;
  addSections(endpoint, sections, 0);
  return ObjectCalls{*client, inventory}.send<Device>(endpoint, ObjectCalls::below(id), stop);
}

std::vector<Device> DeviceService::search(const std::string& serialNumber,
                                          const std::stop_token& stop) const {
  return list({.filter = exactFilter("hardware.serialNumber", serialNumber)}, listSections(), stop).results;
}

Device DeviceService::updateGeneral(const std::string& id, const std::optional<std::string>& name,
                                    const std::optional<std::string>& assetTag,
                                    const std::stop_token& stop) const {
  Endpoint endpoint;
  endpoint.method = Endpoint::Method::patch;
  endpoint.path = "api/v4/computers-inventory-detail" + ObjectCalls::below(id);
  endpoint.body = client->encode(GeneralUpdate{{name, assetTag}});
  endpoint.contentType = "application/json";
  client->send(endpoint, stop);
  return get(id, allSections(), stop);
}

void DeviceService::delete_(const std::string& id, const std::stop_token& stop) const {
  ObjectCalls{*client, inventory}.remove(id, stop);
}

std::vector<PolicyLogEntry> DeviceService::policyLogs(const std::string& id,
                                                      const std::stop_token& stop) const {
  Endpoint endpoint;
  endpoint.path = "JSSResource/computerhistory/id" + ObjectCalls::below(id) + "/subset/PolicyLogs";
  return client->send<PolicyHistory>(endpoint, stop).computer_history.policy_logs.entries;
}

}  // namespace jamf
