#include "JamfCore/Models/Package.h"

#include <charconv>

namespace jamf {

std::optional<std::int64_t> PackageSize::bytes() const {
  std::int64_t size = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, problem] = std::from_chars(text.data(), end, size);
  if (problem != std::errc{} || stop != end || size < 0) return std::nullopt;
  return size;
}

PackageSize PackageSize::decode(platform::json::View view) {
  if (const auto number = view.int64()) return {std::to_string(*number)};
  return {platform::json::decodeValue<std::string>(view)};
}

}  // namespace jamf
