#include "Platform/PropertyList/PropertyList.h"

#include <fmt/format.h>

#include <algorithm>

#include "Platform/PropertyList/Builder.h"

namespace platform::plist {

const Value* Value::find(std::string_view key) const {
  const Dictionary* members = dictionary();
  if (!members) return nullptr;
  const auto found =
      std::ranges::find(*members, key, [](const auto& member) -> std::string_view { return member.first; });
  return found == members->end() ? nullptr : &found->second;
}

Value parse(std::string_view document) {
  if (document.empty()) throw ParseError("the property list is empty");
  if (document.starts_with("bplist0"))
    throw ParseError("the property list is in its binary form, not in XML");
  if (document.size() > maximumSize)
    throw ParseError(
        fmt::format("the property list takes {} bytes, more than {}", document.size(), maximumSize));
  detail::Builder builder;
  xml::Reading reading(builder);
  try {
    reading.read(document);
    return builder.finish();
  } catch (const Error& error) {
    throw ParseError(fmt::format("line {}: {}", reading.line(), error.description()));
  }
}

}  // namespace platform::plist
