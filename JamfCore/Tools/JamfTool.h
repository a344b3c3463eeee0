#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "JamfCore/Networking/APIClient.h"
#include "JamfCore/OrgManagement/OrgManager.h"
#include "JamfCore/Tools/MCP/JSONValue.h"
#include "Platform/Bytes.h"
#include "Platform/JSON/Codable.h"
#include "TuvCore/Error.h"

namespace jamf {

/// What a tool says of arguments that it can't use.
class JamfToolError : public tuv::Error {
 public:
  explicit JamfToolError(const std::string& message) : Error(message) {}
  const std::string& message() const { return description(); }
};

enum class ParameterType { string, integer, boolean };

constexpr auto enumTexts(ParameterType) {
  using namespace std::string_view_literals;
  return std::array{std::pair{ParameterType::string, "string"sv},
                    std::pair{ParameterType::integer, "integer"sv},
                    std::pair{ParameterType::boolean, "boolean"sv}};
}

struct JamfToolParameter {
  std::string name;
  std::string description;
  ParameterType type = ParameterType::string;
  bool required = false;

  bool operator==(const JamfToolParameter&) const = default;
};

/// One operation that a client of the tool server may call. Its handler blocks, may run on any thread and any
/// number of times at once, gives a JSON document, and throws `JamfToolError`, `APIError` and what else a
/// server or a database makes fail.
struct JamfTool {
  using Arguments = AnyValue::Map;
  using Handler = std::function<platform::Bytes(OrgManager& organizations, const Arguments& arguments,
                                                const std::stop_token& stop)>;

  std::string name;
  std::string description;
  std::vector<JamfToolParameter> parameters;
  Handler handler;

  // Arguments by their names. A JSON number is no integer here: clients send integers as texts.

  /// A text that is not empty. Throws `JamfToolError`.
  static std::string stringArgument(const Arguments& arguments, const std::string& key);
  /// Nothing for an empty text and for another type.
  static std::optional<std::string> optionalStringArgument(const Arguments& arguments,
                                                           const std::string& key);
  /// An integer, or a text of one. Throws `JamfToolError`.
  static std::int64_t intArgument(const Arguments& arguments, const std::string& key);
  static std::optional<std::int64_t> optionalIntArgument(const Arguments& arguments, const std::string& key);
  /// A truth value, or the text "true" or "false".
  static std::optional<bool> optionalBoolArgument(const Arguments& arguments, const std::string& key);

  /// A JSON document that is passed as a text; nothing when it is absent or empty. Throws `JamfToolError`.
  template <class T>
  static std::optional<T> decodeJSONArgument(const Arguments& arguments, const std::string& key) {
    const auto text = optionalStringArgument(arguments, key);
    if (!text) return std::nullopt;
    requireUTF8(*text, key);
    try {
      return platform::json::Decoder().decode<T>(*text);
    } catch (const platform::Error& error) {
      failShape(key, error.description());
    }
  }

  /// The client of the organization of that name. Throws `JamfToolError`, which tells the names there are.
  static std::shared_ptr<APIClient> apiClient(const std::string& forOrgNamed, OrgManager& organizations);

  /// A result as every tool gives it: readable, keys ascending.
  template <class T>
  static platform::Bytes encode(const T& value) {
    return platform::json::Encoder(platform::json::Rendering::pretty).encode(value);
  }

 private:
  static void requireUTF8(const std::string& text, const std::string& key);
  [[noreturn]] static void failShape(const std::string& key, const std::string& problem);
};

/// The tools, in the order in which clients see them.
struct JamfToolCatalog {
  JamfToolCatalog() = delete;

  static const std::vector<JamfTool>& readOnlyTools();
  static const std::vector<JamfTool>& writeTools();

  /// An organization without anything secret.
  struct OrgSummary {
    std::string name;
    std::string baseURL;

    static constexpr auto fields() {
      using namespace platform::json;
      return fieldList(field("name", &OrgSummary::name), field("baseURL", &OrgSummary::baseURL));
    }
    bool operator==(const OrgSummary&) const = default;
  };
  struct Membership {
    std::vector<std::int64_t> computerIds;

    static constexpr auto fields() {
      return fieldList(platform::json::field("computerIds", &Membership::computerIds));
    }
    bool operator==(const Membership&) const = default;
  };
};

}  // namespace jamf
