#include "JamfCore/Networking/ClassicAPIXML.h"

#include <fmt/format.h>

#include <charconv>

#include "Platform/Locale/Text.h"

namespace jamf {

namespace {

namespace json = platform::json;

/// Builds a document from the outside in; an element that is opened is closed by its name.
class Builder {
 public:
  void open(std::string_view tag) { text_ += fmt::format("<{}>", tag); }
  void close(std::string_view tag) { text_ += fmt::format("</{}>", tag); }
  void raw(std::string_view element) { text_ += element; }

  void add(std::string_view tag, std::string_view value) {
    open(tag);
    text_ += ClassicAPIXML::escape(value);
    close(tag);
  }
  void add(std::string_view tag, bool value) { add(tag, std::string_view(value ? "true" : "false")); }
  void add(std::string_view tag, const std::string& value) { add(tag, std::string_view(value)); }
  template <class T>
  void add(std::string_view tag, const std::optional<T>& value) {
    if (value) add(tag, *value);
  }
  void addCategory(const std::optional<std::string>& name) {
    if (!name) return;
    open("category");
    add("name", *name);
    close("category");
  }
  void addIDs(std::string_view plural, std::string_view singular, const std::vector<std::int64_t>& ids) {
    if (ids.empty()) {
      text_ += fmt::format("<{}/>", plural);
      return;
    }
    open(plural);
    for (const auto id : ids) text_ += fmt::format("<{0}><id>{1}</id></{0}>", singular, id);
    close(plural);
  }

  std::string take() { return std::move(text_); }

 private:
  std::string text_;
};

/// Closes the general part of a document, adds the scope and ends the document.
platform::Bytes finish(Builder& xml, std::string_view root,
                       const std::optional<ClassicAPIScopeWrite>& scope) {
  xml.close("general");
  if (scope) xml.raw(scope->xmlElement());
  xml.close(root);
  return xml.take();
}

/// A scope whose keys may be missing.
struct GivenScope {
  std::optional<bool> allComputers;
  std::optional<std::vector<std::int64_t>> computerIds, computerGroupIds, buildingIds, departmentIds;

  static constexpr auto fields() {
    return fieldList(json::field("allComputers", &GivenScope::allComputers),
                     json::field("computerIds", &GivenScope::computerIds),
                     json::field("computerGroupIds", &GivenScope::computerGroupIds),
                     json::field("buildingIds", &GivenScope::buildingIds),
                     json::field("departmentIds", &GivenScope::departmentIds));
  }
};

}  // namespace

std::string ClassicAPIXML::escape(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&apos;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::optional<std::int64_t> ClassicAPIXML::extractID(std::string_view bytes) {
  constexpr std::string_view open = "<id>";
  if (!platform::locale::isValidUTF8(bytes)) return std::nullopt;
  const auto start = bytes.find(open);
  if (start == std::string_view::npos) return std::nullopt;
  const auto end = bytes.find("</id>", start + open.size());
  if (end == std::string_view::npos) return std::nullopt;
  std::string_view digits = bytes.substr(start + open.size(), end - start - open.size());
  if (digits.starts_with('+') && !digits.starts_with("+-")) digits.remove_prefix(1);
  std::int64_t id = 0;
  const char* const last = digits.data() + digits.size();
  const auto [stop, problem] = std::from_chars(digits.data(), last, id);
  if (problem != std::errc{} || stop != last) return std::nullopt;
  return id;
}

std::string ClassicAPIScopeWrite::xmlElement() const {
  Builder xml;
  xml.open("scope");
  xml.add("all_computers", allComputers);
  xml.addIDs("computers", "computer", computerIds);
  xml.addIDs("computer_groups", "computer_group", computerGroupIds);
  xml.addIDs("buildings", "building", buildingIds);
  xml.addIDs("departments", "department", departmentIds);
  xml.close("scope");
  return xml.take();
}

ClassicAPIScopeWrite ClassicAPIScopeWrite::decode(json::View view) {
  auto given = json::decodeValue<GivenScope>(view);
  const auto list = [](auto& ids) { return ids ? std::move(*ids) : std::vector<std::int64_t>(); };
  return {given.allComputers.value_or(false), list(given.computerIds), list(given.computerGroupIds),
          list(given.buildingIds), list(given.departmentIds)};
}

platform::Bytes PolicyGeneralWrite::xmlData(const std::optional<ClassicAPIScopeWrite>& scope) const {
  Builder xml;
  xml.open("policy");
  xml.open("general");
  xml.add("name", name);
  xml.add("enabled", enabled);
  xml.add("trigger_checkin", triggerCheckin);
  xml.add("trigger_enrollment_complete", triggerEnrollmentComplete);
  xml.add("trigger_login", triggerLogin);
  xml.add("trigger_network_state_changed", triggerNetworkStateChanged);
  xml.add("trigger_startup", triggerStartup);
  xml.add("trigger_other", triggerOther);
  xml.add("frequency", frequency);
  xml.addCategory(categoryName);
  return finish(xml, "policy", scope);
}

platform::Bytes ConfigurationProfileGeneralWrite::xmlData(
    const std::optional<ClassicAPIScopeWrite>& scope) const {
  constexpr std::string_view root = "os_x_configuration_profile";
  Builder xml;
  xml.open(root);
  xml.open("general");
  xml.add("name", name);
  xml.add("description", description);
  xml.add("distribution_method", distributionMethod);
  xml.add("user_removable", userRemovable);
  xml.add("level", level);
  xml.addCategory(categoryName);
  xml.add("payloads", payloads);
  return finish(xml, root, scope);
}

}  // namespace jamf
