#include "OrvikCore/Format/InstanceDescriptor.h"

#include <algorithm>

#include "Platform/HTTP/URL.h"
#include "Platform/Locale/Text.h"

namespace orvik {

std::string InstanceDescriptor::slugFor(std::string_view url, std::string_view fallback) {
  const auto parsed = platform::URL::parse(url);
  const std::string_view text = parsed && !parsed->host.empty() ? std::string_view(parsed->host) : fallback;
  if (text.empty()) return "instance";

  std::string slug;
  for (const char32_t scalar : platform::locale::scalars(text)) {
    const bool allowed =
        scalar == U'-' || scalar == U'.' || scalar == U'_' || platform::locale::isAlphanumeric(scalar);
    platform::locale::appendUTF8(slug, allowed ? scalar : U'-');
  }
  slug = platform::locale::lowercased(slug);
  if (slug.find_first_not_of('.') == std::string::npos) std::ranges::fill(slug, '-');
  return slug;
}

}  // namespace orvik
