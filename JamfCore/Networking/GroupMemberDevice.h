#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Platform/JSON/Codable.h"

namespace jamf {

/// A computer as the member of a group.
struct GroupMemberDevice {
  std::string id;
  std::string name;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("id", &GroupMemberDevice::id), field("name", &GroupMemberDevice::name));
  }
  bool operator==(const GroupMemberDevice&) const = default;
};

/// A group as the Classic API gives it, for its members' sake. Smart and static groups are alike here.
struct ClassicComputerGroupMembershipResponse {
  struct Section {
    std::vector<GroupMemberDevice> computers;  ///< from `{"id":118,"name":"..."}`: ids are numbers there

    static Section decode(platform::json::View view);
    bool operator==(const Section&) const = default;
  };

  Section computer_group;

  static constexpr auto fields() {
    return fieldList(
        platform::json::field("computer_group", &ClassicComputerGroupMembershipResponse::computer_group));
  }
  bool operator==(const ClassicComputerGroupMembershipResponse&) const = default;
};

}  // namespace jamf
