#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Date.h"

namespace jamf {

/// What became of one resource of a playbook.
struct ResourceOutcome {
  enum class Case { created, updated, unchanged, deleted, failed };

  Case which = Case::unchanged;
  std::string message = {};  ///< of `failed`: why

  static ResourceOutcome failed(std::string message) { return {Case::failed, std::move(message)}; }

  bool operator==(const ResourceOutcome&) const = default;
};

constexpr auto enumTexts(ResourceOutcome::Case) {
  using namespace std::string_view_literals;
  using enum ResourceOutcome::Case;
  return std::array{std::pair{created, "created"sv}, std::pair{updated, "updated"sv},
                    std::pair{unchanged, "unchanged"sv}, std::pair{deleted, "deleted"sv},
                    std::pair{failed, "failed"sv}};
}

/// What a run of a playbook did, or would have done.
struct PlaybookRunResult {
  struct Entry {
    std::string typeLabel;
    std::string name;
    ResourceOutcome outcome;

    bool operator==(const Entry&) const = default;
  };

  std::vector<Entry> entries;  ///< in the order of the playbook
  platform::Date startedAt;
  platform::Date finishedAt;

  /// Whether nothing failed.
  bool succeeded() const;
  /// "2 created, 1 unchanged", or "No resources declared".
  std::string summary() const;
};

}  // namespace jamf
