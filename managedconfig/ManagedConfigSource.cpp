#include "managedconfig/ManagedConfigSource.h"

#include <fmt/format.h>

#include <utility>

#include "TuvCore/Log.h"

namespace tuv {

namespace {

using platform::plist::Value;

/// A value as text: booleans and numbers too, lists and all else not.
std::optional<std::string> normalized(const std::optional<Value>& value) {
  if (!value) return std::nullopt;
  struct Text {
    std::optional<std::string> operator()(const std::string& text) const { return text; }
    std::optional<std::string> operator()(bool truth) const { return truth ? "true" : "false"; }
    std::optional<std::string> operator()(std::int64_t number) const { return fmt::format("{}", number); }
    std::optional<std::string> operator()(std::uint64_t number) const { return fmt::format("{}", number); }
    std::optional<std::string> operator()(double number) const { return fmt::format("{}", number); }
    std::optional<std::string> operator()(const platform::Date&) const { return std::nullopt; }
    std::optional<std::string> operator()(const Value::Data&) const { return std::nullopt; }
    std::optional<std::string> operator()(const Value::Array&) const { return std::nullopt; }
    std::optional<std::string> operator()(const Value::Dictionary&) const { return std::nullopt; }
  };
  return std::visit(Text{}, value->content());
}

}  // namespace

MDMPreferencesSource::MDMPreferencesSource(std::string domain, Path folder, std::uint32_t owner)
    : domain_(std::move(domain)), folder_(std::move(folder)), owner_(owner) {
  synchronize();
}

std::optional<std::string> MDMPreferencesSource::rawValue(std::string_view name) const {
  return normalized(object(name));
}

std::optional<Value> MDMPreferencesSource::object(std::string_view name) const {
  return values_.value()->value(name);
}

void MDMPreferencesSource::synchronize() {
  auto values = std::make_shared<const Values>(domain_, folder_, owner_);
  if (values->problem()) CategoryLogger{"settings"}.notice(*values->problem());
  values_.setValue(std::move(values));
}

std::optional<std::string> UserDefaultsSettingsSource::rawValue(std::string_view name) const {
  return normalized(defaults_.value(name));
}

std::optional<std::string> StaticConfigSource::rawValue(std::string_view name) const {
  const auto found = values_.find(name);
  return found != values_.end() ? std::optional(found->second) : std::nullopt;
}

}  // namespace tuv
