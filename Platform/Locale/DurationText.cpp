#include "Platform/Locale/DurationText.h"

#include <fmt/format.h>

#include <algorithm>

namespace platform::locale {

std::string durationText(std::chrono::milliseconds duration) {
  const std::chrono::hh_mm_ss parts(
      std::chrono::floor<std::chrono::seconds>(std::max(duration, std::chrono::milliseconds(0))));
  std::string text;
  const auto add = [&](auto count, std::string_view unit) {
    if (count != 0) text += fmt::format("{}{} {}", text.empty() ? "" : ", ", count, unit);
  };
  add(parts.hours().count(), "hr");
  add(parts.minutes().count(), "min");
  add(parts.seconds().count(), "sec");
  return text.empty() ? "0 sec" : text;
}

}  // namespace platform::locale
