#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "JamfCore/Tools/ToolBuilder.h"
#include "Platform/JSON/Codable.h"

/// What the tools that change a server share; for their sources alone.
namespace jamf::tools {

using Parameters = std::vector<JamfToolParameter>;

struct IDConfirmation {
  std::string id;

  static constexpr auto fields() { return fieldList(platform::json::field("id", &IDConfirmation::id)); }
};

struct DeleteConfirmation {
  std::string id;
  std::string status = "deleted";

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("id", &DeleteConfirmation::id), field("status", &DeleteConfirmation::status));
  }
};

inline std::optional<std::string> textOf(const Arguments& arguments, const char* key) {
  return JamfTool::optionalStringArgument(arguments, key);
}

inline bool isSet(const Arguments& arguments, const char* key) {
  return JamfTool::optionalBoolArgument(arguments, key).value_or(false);
}

/// Overwrites a field when its argument was given.
template <class Field>
void overwrite(Field& field, const std::optional<std::string>& given) {
  if (given) field = *given;
}

inline Parameters operator+(Parameters front, const Parameters& back) {
  front.insert(front.end(), back.begin(), back.end());
  return front;
}

/// Deletes what a service keeps under a text.
template <class Service>
JamfTool deleteByText(std::string name, std::string description, std::string idDescription) {
  return tool(std::move(name), std::move(description), {required(text("id", std::move(idDescription)))},
              [](const Client& client, const Arguments& arguments, const std::stop_token& stop) {
                const auto id = JamfTool::stringArgument(arguments, "id");
                Service{client}.delete_(id, stop);
                return DeleteConfirmation{id};
              });
}

/// Adds the tools for scripts, extension attributes and packages.
void addContentTools(std::vector<JamfTool>& made);

}  // namespace jamf::tools
