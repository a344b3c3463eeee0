#include "JamfCore/Services/ConfigurationProfileService.h"

#include "JamfCore/Models/ClassicRecords.h"
#include "JamfCore/Services/ClassicCalls.h"

namespace jamf {

namespace {

namespace json = platform::json;

struct ListAnswer {
  ClassicList<ConfigurationProfileSummary> os_x_configuration_profiles;
  static constexpr auto fields() {
    return fieldList(json::field("os_x_configuration_profiles", &ListAnswer::os_x_configuration_profiles));
  }
};

struct DetailAnswer {
  ConfigurationProfileDetail os_x_configuration_profile;
  static constexpr auto fields() {
    return fieldList(json::field("os_x_configuration_profile", &DetailAnswer::os_x_configuration_profile));
  }
};

ClassicCalls calls(const ConfigurationProfileService& service) {
  return {*service.client, "JSSResource/osxconfigurationprofiles", "configuration profile"};
}

}  // namespace

std::vector<ConfigurationProfileSummary> ConfigurationProfileService::list(
    const std::stop_token& stop) const {
  Endpoint endpoint;
  endpoint.path = calls(*this).path;
  return client->send<ListAnswer>(endpoint, stop).os_x_configuration_profiles.elements;
}

ConfigurationProfileDetail ConfigurationProfileService::get(std::int64_t id,
                                                            const std::stop_token& stop) const {
  return client->send<DetailAnswer>(calls(*this).byID(id), stop).os_x_configuration_profile;
}

ConfigurationProfileDetail ConfigurationProfileService::get(const std::string& name,
                                                            const std::stop_token& stop) const {
  return client->send<DetailAnswer>(calls(*this).byName(name), stop).os_x_configuration_profile;
}

std::int64_t ConfigurationProfileService::create(const ConfigurationProfileGeneralWrite& general,
                                                 const Scope& scope, const std::stop_token& stop) const {
  return calls(*this).create(general.xmlData(scope), stop);
}

void ConfigurationProfileService::updateGeneral(std::int64_t id,
                                                const ConfigurationProfileGeneralWrite& general,
                                                const Scope& scope, const std::stop_token& stop) const {
  calls(*this).update(id, general.xmlData(scope), stop);
}

void ConfigurationProfileService::delete_(std::int64_t id, const std::stop_token& stop) const {
  calls(*this).remove(id, stop);
}

}  // namespace jamf
