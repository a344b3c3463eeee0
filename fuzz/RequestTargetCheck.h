#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Locale/Text.h"
#include "orvik/Browse/RequestTarget.h"
#include "orvik/ExitStatus.h"

namespace orvik::fuzz {

/// What must hold for any bytes as the target of a request: they are refused in words, or all pieces are
/// UTF-8 and there are no more of them than the target has separators.
inline std::optional<std::string> brokenRequestTargetRule(std::string_view bytes) try {
  const auto target = host::RequestTarget::parse(bytes);
  for (const auto& piece : target.path)
    if (!platform::locale::isValidUTF8(piece)) return "a piece of the path is no UTF-8";
  for (const auto& [name, value] : target.query)
    if (!platform::locale::isValidUTF8(name + value)) return "an item of the query is no UTF-8";
  if (target.path.empty()) return "a path without a piece";
  if (target.path.size() + target.query.size() > bytes.size() + 1) return "more pieces than there are bytes";
  return std::nullopt;
} catch (const host::UsageError& error) {
  if (error.description().empty()) return "a refusal without words";
  return std::nullopt;
}

}  // namespace orvik::fuzz
