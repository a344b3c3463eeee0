#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "JamfCore/Automation/Playbook.h"

namespace jamf::test {

/// Values of every type that a playbook has, the same for the same seed.
class PlaybookGenerator {
 public:
  explicit PlaybookGenerator(std::uint32_t seed) : random_(seed) {}

  Playbook playbook() {
    Playbook made = value<Playbook>();
    made.resources.clear();
    for (auto left = random_() % 5; left > 0; --left) made.resources.push_back(resource());
    return made;
  }

 private:
  PlaybookResource resource() {
    switch (random_() % 6) {
      case 0:
        return {value<PlaybookSmartGroup>()};
      case 1:
        return {value<PlaybookPolicy>()};
      case 2:
        return {value<PlaybookScript>()};
      case 3:
        return {value<PlaybookConfigurationProfile>()};
      case 4:
        return {value<PlaybookComputerExtensionAttribute>()};
      default:
        return {value<PlaybookPackage>()};
    }
  }

  std::string text() {
    static const std::vector<std::string> parts{
        "Lab", "Macs", " ",    "  ",   "\n",   "\t", ":",    ": ", "#",           " #", "- ", "'",
        "\"",  "\\",   "{",    "[",    ",",    "&",  "*",    "!",  "|",           ">",  "%",  "~",
        "12",  "no",   "true", "null", "\r\n", "ä",  "日本", "😀",  "#!/bin/sh\n", "---"};
    std::string made;
    for (auto left = random_() % 9; left > 0; --left) made += parts[random_() % parts.size()];
    return made;
  }

  template <class T>
  T value() {
    if constexpr (std::is_same_v<T, std::string>) {
      return text();
    } else if constexpr (std::is_same_v<T, bool>) {
      return random_() % 2 == 0;
    } else if constexpr (std::is_same_v<T, std::int64_t>) {
      return static_cast<std::int64_t>(random_()) - (std::int64_t{1} << 31);
    } else if constexpr (std::is_enum_v<T>) {
      const auto texts = enumTexts(T{});
      return texts[random_() % texts.size()].first;
    } else if constexpr (platform::json::detail::isOptional<T>) {
      if (random_() % 2 == 0) return std::nullopt;
      return value<typename T::value_type>();
    } else if constexpr (platform::json::detail::ListTraits<T>::value) {
      T list;
      if constexpr (!std::is_same_v<T, std::vector<PlaybookResource>>)
        for (auto left = random_() % 4; left > 0; --left) list.push_back(value<typename T::value_type>());
      return list;
    } else {
      T record{};
      T::fields().forEach([&](const auto& field, std::size_t /*index*/) {
        record.*(field.member) = value<std::remove_cvref_t<decltype(record.*(field.member))>>();
      });
      return record;
    }
  }

  std::mt19937 random_;
};

inline Playbook generatedPlaybook(std::uint32_t seed) { return PlaybookGenerator(seed).playbook(); }

}  // namespace jamf::test
