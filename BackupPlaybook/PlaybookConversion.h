#pragma once

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "JamfCore/Automation/PlaybookResource.h"
#include "OrvikCore/Jamf/JSONTree.h"

namespace orvik {

/// What of a stored object a playbook can hold.
struct ConvertedObject {
  /// A server on which it was applied has nothing that differs from it; nothing: the object is left out.
  std::optional<jamf::PlaybookResource> resource = {};
  std::vector<std::string> lost = {};  ///< the members of the record that it says nothing of
  std::string reason = {};             ///< why the object is left out
};

/// The names of categories by their IDs.
using CategoryNames = std::map<std::string, std::string, std::less<>>;

/// A section of a backup whose objects a playbook knows.
struct PlaybookSection {
  std::string_view id;
  std::string_view noun;  ///< one of its objects: "policy"
  std::string_view nouns;
  /// `record` is what a server sent, with or without the Classic API's wrapper.
  ConvertedObject (*convert)(const JSONTree& record, const CategoryNames& categories);
};

/// What others refer to comes first.
std::span<const PlaybookSection> playbookSections();
/// Null for a section that playbooks don't know.
const PlaybookSection* playbookSection(std::string_view id);

}  // namespace orvik
