#include "managedconfig/ManagedConfigKey.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>

#include "Platform/Locale/Text.h"

namespace tuv {

namespace {

template <typename Number>
std::optional<Number> numberIn(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

std::optional<bool> truthOf(std::string_view text) {
  const auto word = platform::locale::lowercased(text);
  if (word == "true" || word == "1" || word == "yes") return true;
  if (word == "false" || word == "0" || word == "no") return false;
  return std::nullopt;
}

}  // namespace

ManagedConfigKey<std::string> textKey(std::string name, std::string defaultValue) {
  return {std::move(name), std::move(defaultValue),
          [](std::string_view text) { return std::optional(std::string(text)); },
          [](const std::string& value) { return value; }};
}

ManagedConfigKey<bool> booleanKey(std::string name, bool defaultValue) {
  return {std::move(name), defaultValue, truthOf,
          [](bool value) { return std::string(value ? "true" : "false"); }};
}

ManagedConfigKey<std::int64_t> integerKey(std::string name, std::int64_t defaultValue) {
  return {std::move(name), defaultValue, numberIn<std::int64_t>,
          [](std::int64_t value) { return fmt::format("{}", value); }};
}

ManagedConfigKey<double> numberKey(std::string name, double defaultValue) {
  return {std::move(name), defaultValue,
          [](std::string_view text) {
            const auto number = numberIn<double>(text);
            return number && std::isfinite(*number) ? number : std::nullopt;
          },
          [](double value) { return fmt::format("{}", value); }};
}

}  // namespace tuv
