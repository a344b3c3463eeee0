#include "JamfCore/Networking/GroupMemberDevice.h"

#include "JamfCore/Networking/APIClient.h"
#include "JamfCore/Networking/FlexibleArray.h"

namespace jamf {

namespace {

namespace json = platform::json;

struct Member {
  std::int64_t id = 0;
  std::string name;

  static constexpr auto fields() {
    return fieldList(json::field("id", &Member::id), json::field("name", &Member::name));
  }
};

/// A member list that is wrong in itself is told; only `{}` stands for an empty one.
struct Members {
  std::vector<Member> computers;

  static Members decode(json::View view) {
    const auto empty = view.isObject() && view.sortedMembers().empty();
    return {empty ? std::vector<Member>() : json::decodeValue<std::vector<Member>>(view)};
  }
};

struct Group {
  Members computers;

  static constexpr auto fields() { return fieldList(json::field("computers", &Group::computers)); }
};

}  // namespace

ClassicComputerGroupMembershipResponse::Section ClassicComputerGroupMembershipResponse::Section::decode(
    json::View view) {
  Section section;
  for (auto& member : json::decodeValue<Group>(view).computers.computers)
    section.computers.push_back({std::to_string(member.id), std::move(member.name)});
  return section;
}

std::vector<GroupMemberDevice> APIClient::classicGroupMembers(const std::string& groupID,
                                                              const std::stop_token& stop) {
  Endpoint endpoint;
  endpoint.path = "JSSResource/computergroups/id/" + pathComponent(groupID);
  return send<ClassicComputerGroupMembershipResponse>(endpoint, stop).computer_group.computers;
}

}  // namespace jamf
