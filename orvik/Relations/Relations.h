#pragma once

#include <cstddef>
#include <cstdint>
#include <stop_token>
#include <string>
#include <vector>

#include "JamfCore/Automation/DeviceRelationshipResolver.h"
#include "orvik/Output/ProgressView.h"

namespace orvik::host {

/// What hangs together with groups of computers.
struct Relations {
  struct Policy {
    jamf::PolicySummary summary;
    std::vector<std::size_t> groups;  ///< places in the list of groups, here and below
    jamf::PackageScriptResult contents;
  };
  struct Profile {
    jamf::ConfigurationProfileSummary summary;
    std::vector<std::size_t> groups;
  };
  /// What was gone when it was to be read.
  struct Vanished {
    std::string kind;  ///< "policy", "configuration profile" or "group"
    std::string id;
    std::string name;
  };

  std::vector<jamf::ClassifiedGroup> groups;
  std::vector<jamf::GroupMemberDevice> devices;
  std::vector<jamf::ComputerExtensionAttribute> attributes;  ///< that criteria of the group name
  std::vector<Policy> policies;
  std::vector<Profile> profiles;
  std::vector<Vanished> vanished;

  /// Finds what is scoped to the groups, and what the policies among it bring; shown as it goes on. Throws as
  /// the resolver.
  void addTargets(const jamf::DeviceRelationshipResolver& resolver, ProgressView& view,
                  const std::stop_token& stop);
};

}  // namespace orvik::host
