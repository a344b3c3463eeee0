#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "JamfCore/Automation/PlaybookComparison.h"
#include "Platform/JSON/Codable.h"

namespace jamf {

/// What a run of a playbook would do to a server as it is now. Two plans of one playbook are equal when the
/// server's objects differ from it in the same way.
struct PlaybookPlan {
  enum class Action { create, update, delete_, unchanged, failed };

  struct Entry {
    std::string typeLabel;
    std::string name;
    Action action = Action::unchanged;
    FieldDifferences differences;        ///< of `update`
    std::optional<std::string> message;  ///< of `failed`

    static constexpr auto fields() {
      using namespace platform::json;
      return fieldList(field("typeLabel", &Entry::typeLabel), field("name", &Entry::name),
                       field("action", &Entry::action), field("differences", &Entry::differences),
                       field("message", &Entry::message));
    }
    bool operator==(const Entry&) const = default;
  };

  std::vector<Entry> entries;

  bool hasChanges() const;
  bool hasFailures() const;

  static constexpr auto fields() {
    return fieldList(platform::json::field("entries", &PlaybookPlan::entries));
  }
  bool operator==(const PlaybookPlan&) const = default;
};

constexpr auto enumTexts(PlaybookPlan::Action) {
  using namespace std::string_view_literals;
  using enum PlaybookPlan::Action;
  return std::array{std::pair{create, "create"sv}, std::pair{update, "update"sv},
                    std::pair{delete_, "delete"sv}, std::pair{unchanged, "unchanged"sv},
                    std::pair{failed, "failed"sv}};
}

}  // namespace jamf
