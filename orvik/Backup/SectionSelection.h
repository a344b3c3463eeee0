#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace orvik::host {

/// Throws `UsageError` for a section that doesn't exist, naming those that look like it.
[[noreturn]] void refuseUnknownSection(std::string_view id);

/// Which sections a run leaves out.
struct SectionSelection {
  std::set<std::string> disabled;

  /// `only` picks the sections (all when it is empty), `disable` takes some of them away. The elements are
  /// IDs or lists of IDs with commas between them.
  ///
  /// Throws `UsageError` for an ID that the catalog doesn't know, naming those that look like it, and when
  /// nothing is left.
  static SectionSelection make(const std::vector<std::string>& only, const std::vector<std::string>& disable);
};

}  // namespace orvik::host
