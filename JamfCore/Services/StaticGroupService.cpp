#include "JamfCore/Services/StaticGroupService.h"

#include "JamfCore/Services/ObjectCalls.h"

namespace jamf {

namespace {

ObjectCalls calls(const StaticGroupService& service) {
  return {*service.client, "api/v3/computer-groups/static-groups", "api/v2/computer-groups/static-groups"};
}

}  // namespace

Page<StaticGroupSummary> StaticGroupService::list(const ListRequest& request,
                                                  const std::stop_token& stop) const {
  return calls(*this).list<StaticGroupSummary>(request, stop);
}

StaticGroupDetail StaticGroupService::get(const std::string& id, const std::stop_token& stop) const {
  return calls(*this).get<StaticGroupDetail>(id, stop);
}

CreatedObject StaticGroupService::create(const StaticGroupWriteBody& object,
                                         const std::stop_token& stop) const {
  return calls(*this).create(object, stop);
}

StaticGroupDetail StaticGroupService::update(const std::string& id, const StaticGroupWriteBody& object,
                                             const std::stop_token& stop) const {
  return calls(*this).update<StaticGroupDetail>(id, object, stop);
}

void StaticGroupService::delete_(const std::string& id, const std::stop_token& stop) const {
  calls(*this).remove(id, stop);
}

}  // namespace jamf
