#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/JSON/Codable.h"
#include "Platform/UUID.h"

namespace orvik {

/// Who a backup is of: "instance.json", and a copy in every manifest.
struct InstanceDescriptor {
  platform::UUID id;
  std::string name;                     ///< for display
  std::string url;                      ///< of the server
  std::string slug;                     ///< the folder's name below the root
  std::optional<std::string> clientID;  ///< OAuth client used for the instance

  /// The folder name of an instance: the host of `url`, or `fallback` when it has none, lower case, with "-"
  /// for every scalar that is neither alphanumeric nor one of "-._". "instance" when nothing is left. The
  /// only maker of folder names.
  ///
  /// A result of dots alone would name the folder itself or its parent; each of its dots becomes "-".
  static std::string slugFor(std::string_view url, std::string_view fallback);

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("id", &InstanceDescriptor::id), field("name", &InstanceDescriptor::name),
                     field("url", &InstanceDescriptor::url), field("slug", &InstanceDescriptor::slug),
                     field("clientID", &InstanceDescriptor::clientID));
  }
  bool operator==(const InstanceDescriptor&) const = default;
};

}  // namespace orvik
