#include "JamfCore/Services/SmartGroupService.h"

#include "JamfCore/Services/ObjectCalls.h"

namespace jamf {

namespace {

ObjectCalls calls(const SmartGroupService& service) {
  return {*service.client, "api/v3/computer-groups/smart-groups", "api/v2/computer-groups/smart-groups"};
}

/// Servers leave the id out of a group's detail.
SmartGroupDetail withID(const std::string& id, SmartGroupDetail group) {
  if (!group.id) group.id = id;
  return group;
}

}  // namespace

Page<SmartGroupSummary> SmartGroupService::list(const ListRequest& request,
                                                const std::stop_token& stop) const {
  return calls(*this).list<SmartGroupSummary>(request, stop);
}

SmartGroupDetail SmartGroupService::get(const std::string& id, const std::stop_token& stop) const {
  return withID(id, calls(*this).get<SmartGroupDetail>(id, stop));
}

CreatedObject SmartGroupService::create(const SmartGroupWriteBody& object,
                                        const std::stop_token& stop) const {
  return calls(*this).create(object, stop);
}

SmartGroupDetail SmartGroupService::update(const std::string& id, const SmartGroupWriteBody& object,
                                           const std::stop_token& stop) const {
  return withID(id, calls(*this).update<SmartGroupDetail>(id, object, stop));
}

void SmartGroupService::delete_(const std::string& id, const std::stop_token& stop) const {
  calls(*this).remove(id, stop);
}

std::vector<std::int64_t> SmartGroupService::membership(const std::string& id,
                                                        const std::stop_token& stop) const {
  const ObjectCalls memberships{*client, "api/v3/computer-groups/smart-group-membership",
                                "api/v2/computer-groups/smart-group-membership"};
  return memberships.get<SmartGroupMembership>(id, stop).members;
}

}  // namespace jamf
