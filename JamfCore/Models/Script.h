#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Platform/JSON/Codable.h"

namespace jamf {

/// When a policy runs a script beside its other work.
enum class ScriptPriority { before, after, atReboot };

constexpr auto enumTexts(ScriptPriority) {
  using namespace std::string_view_literals;
  return std::array{std::pair{ScriptPriority::before, "BEFORE"sv},
                    std::pair{ScriptPriority::after, "AFTER"sv},
                    std::pair{ScriptPriority::atReboot, "AT_REBOOT"sv}};
}

/// A script that policies run. Parameters are the labels of what a policy hands to it.
struct Script {
  std::string id;  ///< empty for one that is to be created
  std::string name;
  std::optional<std::string> info;
  std::optional<std::string> notes;
  std::optional<ScriptPriority> priority;
  std::optional<std::string> categoryId;  ///< "-1" for none
  std::optional<std::string> categoryName;
  std::optional<std::string> parameter4;
  std::optional<std::string> parameter5;
  std::optional<std::string> parameter6;
  std::optional<std::string> parameter7;
  std::optional<std::string> parameter8;
  std::optional<std::string> parameter9;
  std::optional<std::string> parameter10;
  std::optional<std::string> parameter11;
  std::optional<std::string> osRequirements;
  std::optional<std::string> scriptContents;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("id", &Script::id), field("name", &Script::name), field("info", &Script::info),
                     field("notes", &Script::notes), field("priority", &Script::priority),
                     field("categoryId", &Script::categoryId), field("categoryName", &Script::categoryName),
                     field("parameter4", &Script::parameter4), field("parameter5", &Script::parameter5),
                     field("parameter6", &Script::parameter6), field("parameter7", &Script::parameter7),
                     field("parameter8", &Script::parameter8), field("parameter9", &Script::parameter9),
                     field("parameter10", &Script::parameter10), field("parameter11", &Script::parameter11),
                     field("osRequirements", &Script::osRequirements),
                     field("scriptContents", &Script::scriptContents));
  }
  bool operator==(const Script&) const = default;
};

}  // namespace jamf
