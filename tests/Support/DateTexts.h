#pragma once

#include <string>
#include <string_view>

namespace orvik::test {

/// The narrow blank that some locales put before AM and PM, as a plain one.
inline std::string withPlainBlanks(std::string text) {
  for (const std::string_view blank : {"\u202F", "\u00A0"}) {
    for (std::size_t at; (at = text.find(blank)) != std::string::npos;) text.replace(at, blank.size(), " ");
  }
  return text;
}

}  // namespace orvik::test
