#pragma once

#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/JSON/Canonical.h"
#include "Platform/JSON/Value.h"
#include "Platform/JSON/View.h"

/// What holds for the canonical text of any bytes.
namespace orvik::fuzz {

/// A second rendering turns the negative zero, the one text that is not stable, into 0.
inline bool holdsNegativeZero(platform::json::View view) {
  if (const auto number = view.number())
    return view.kind() == platform::json::Kind::number && *number == 0 && std::signbit(*number);
  for (const auto element : view.elements())
    if (holdsNegativeZero(element)) return true;
  for (const auto member : view.members())
    if (holdsNegativeZero(member.value)) return true;
  return false;
}

/// The first rule that `bytes` break, as a sentence; nothing when all hold.
inline std::optional<std::string> brokenCanonicalRule(std::string_view bytes) {
  using namespace platform::json;
  const auto text = canonical(bytes);
  if (validate(bytes) != text.has_value()) return "validate and canonical differ about what is JSON";

  std::shared_ptr<const Document> document;
  try {
    document = Document::parse(bytes);
  } catch (const ParseError&) {
    if (text) return "canonical accepts what the reader refuses";
    return std::nullopt;
  }
  if (!text) return "canonical refuses what the reader accepts";

  platform::Bytes padded(bytes);
  padded.reserve(padded.size() + 64);
  if (canonical(padded) != text) return "bytes parsed in place give another text";
  if (Value::from(document->root()).sortedText(Rendering::pretty) != *text)
    return "the tree of values gives another text";
  if (canonical(document->root().serialized()) != text && !holdsNegativeZero(document->root()))
    return "the serialised document gives another text";
  if (canonical(*text) != text && !holdsNegativeZero(document->root()))
    return "the canonical text is not its own canonical text";
  return std::nullopt;
}

}  // namespace orvik::fuzz
