#include "JamfCore/Services/PolicyService.h"

#include "JamfCore/Models/ClassicRecords.h"
#include "JamfCore/Services/ClassicCalls.h"

namespace jamf {

namespace {

namespace json = platform::json;

struct ListAnswer {
  ClassicList<PolicySummary> policies;
  static constexpr auto fields() { return fieldList(json::field("policies", &ListAnswer::policies)); }
};

struct DetailAnswer {
  PolicyDetail policy;
  static constexpr auto fields() { return fieldList(json::field("policy", &DetailAnswer::policy)); }
};

ClassicCalls calls(const PolicyService& service) {
  return {*service.client, "JSSResource/policies", "policy"};
}

}  // namespace

std::vector<PolicySummary> PolicyService::list(const std::stop_token& stop) const {
  Endpoint endpoint;
  endpoint.path = calls(*this).path;
  return client->send<ListAnswer>(endpoint, stop).policies.elements;
}

std::vector<PolicySummary> PolicyService::list(const std::string& category,
                                               const std::stop_token& stop) const {
  return client->send<ListAnswer>(calls(*this).by("category", category), stop).policies.elements;
}

PolicyDetail PolicyService::get(std::int64_t id, const std::stop_token& stop) const {
  return client->send<DetailAnswer>(calls(*this).byID(id), stop).policy;
}

PolicyDetail PolicyService::get(const std::string& name, const std::stop_token& stop) const {
  return client->send<DetailAnswer>(calls(*this).byName(name), stop).policy;
}

std::int64_t PolicyService::create(const PolicyGeneralWrite& general, const Scope& scope,
                                   const std::stop_token& stop) const {
  return calls(*this).create(general.xmlData(scope), stop);
}

void PolicyService::updateGeneral(std::int64_t id, const PolicyGeneralWrite& general, const Scope& scope,
                                  const std::stop_token& stop) const {
  calls(*this).update(id, general.xmlData(scope), stop);
}

void PolicyService::delete_(std::int64_t id, const std::stop_token& stop) const {
  calls(*this).remove(id, stop);
}

}  // namespace jamf
