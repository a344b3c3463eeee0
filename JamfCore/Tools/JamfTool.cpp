#include "JamfCore/Tools/JamfTool.h"

#include <fmt/format.h>

#include <charconv>

#include "Platform/Locale/Text.h"

namespace jamf {

namespace {

const AnyValue* find(const JamfTool::Arguments& arguments, const std::string& key) {
  const auto found = arguments.find(key);
  return found == arguments.end() ? nullptr : &found->second;
}

std::optional<std::int64_t> decimal(std::string_view text) {
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  std::int64_t value = 0;
  const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (problem != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return value;
}

}  // namespace

std::optional<std::string> JamfTool::optionalStringArgument(const Arguments& arguments,
                                                            const std::string& key) {
  const auto* const value = find(arguments, key);
  const auto* const text = value ? value->as<std::string>() : nullptr;
  return text && !text->empty() ? std::optional(*text) : std::nullopt;
}

std::string JamfTool::stringArgument(const Arguments& arguments, const std::string& key) {
  auto text = optionalStringArgument(arguments, key);
  if (!text) throw JamfToolError(fmt::format("Missing required argument \"{}\".", key));
  return std::move(*text);
}

std::optional<std::int64_t> JamfTool::optionalIntArgument(const Arguments& arguments,
                                                          const std::string& key) {
  const auto* const value = find(arguments, key);
  if (!value) return std::nullopt;
  if (const auto* const integer = value->as<std::int64_t>()) return *integer;
  const auto* const text = value->as<std::string>();
  return text ? decimal(*text) : std::nullopt;
}

std::int64_t JamfTool::intArgument(const Arguments& arguments, const std::string& key) {
  const auto integer = optionalIntArgument(arguments, key);
  if (!integer) throw JamfToolError(fmt::format("Missing or invalid required integer argument \"{}\".", key));
  return *integer;
}

std::optional<bool> JamfTool::optionalBoolArgument(const Arguments& arguments, const std::string& key) {
  const auto* const value = find(arguments, key);
  if (!value) return std::nullopt;
  if (const auto* const flag = value->as<bool>()) return *flag;
  const auto* const text = value->as<std::string>();
  if (!text || (*text != "true" && *text != "false")) return std::nullopt;
  return *text == "true";
}

std::shared_ptr<APIClient> JamfTool::apiClient(const std::string& forOrgNamed, OrgManager& organizations) {
  if (auto client = organizations.apiClient(forOrgNamed)) return client;
  std::string names;
  for (const auto& known : organizations.organizationSummaries())
    names += (names.empty() ? "" : ", ") + known.name;
  throw JamfToolError(fmt::format("No organization named \"{}\". Configured organizations: {}.", forOrgNamed,
                                  names.empty() ? "(none)" : names));
}

void JamfTool::requireUTF8(const std::string& text, const std::string& key) {
  if (!platform::locale::isValidUTF8(text))
    throw JamfToolError(fmt::format("Argument \"{}\" isn't valid UTF-8 JSON.", key));
}

void JamfTool::failShape(const std::string& key, const std::string& problem) {
  throw JamfToolError(
      fmt::format("Argument \"{}\" isn't valid JSON for the expected shape: {}", key, problem));
}

}  // namespace jamf
