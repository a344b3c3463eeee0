#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Platform/JSON/Codable.h"

namespace tuv {

/// A setting: its name, its default, and how its value is written as text. Every value travels as text.
template <typename T>
struct ManagedConfigKey {
  std::string name;
  T defaultValue;
  std::function<std::optional<T>(std::string_view)> decode;  ///< nothing for a text that is no value
  std::function<std::string(const T&)> encode;
};

/// The text itself.
ManagedConfigKey<std::string> textKey(std::string name, std::string defaultValue);
/// "true", "1" and "yes", "false", "0" and "no", in any case; written "true" and "false".
ManagedConfigKey<bool> booleanKey(std::string name, bool defaultValue);
/// Decimal text.
ManagedConfigKey<std::int64_t> integerKey(std::string name, std::int64_t defaultValue);
ManagedConfigKey<double> numberKey(std::string name, double defaultValue);

/// An enumeration with texts for its cases (`enumTexts`).
template <platform::json::CodableEnum Enum>
ManagedConfigKey<Enum> caseKey(std::string name, Enum defaultValue) {
  return {std::move(name), defaultValue,
          [](std::string_view text) { return platform::json::enumFromText<Enum>(text); },
          [](const Enum& value) { return std::string(platform::json::textOf(value)); }};
}

}  // namespace tuv
