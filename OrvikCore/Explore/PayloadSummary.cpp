#include <new>

#include "OrvikCore/Explore/ObjectDescriber.h"
#include "Platform/Locale/Text.h"
#include "Platform/PropertyList/PropertyList.h"

namespace orvik {

namespace plist = platform::plist;

namespace {

std::vector<std::string> payloadTypes(const plist::Value& profile) {
  std::vector<std::string> types;
  const plist::Value* content = profile.find("PayloadContent");
  const auto* payloads = content ? content->array() : nullptr;
  if (!payloads) return types;
  for (const plist::Value& payload : *payloads) {
    const plist::Value* type = payload.find("PayloadType");
    if (type && type->string()) types.push_back(*type->string());
  }
  return types;
}

}  // namespace

std::vector<std::string> ObjectDescriber::payloadSummary(std::string_view xml) {
  try {
    return payloadTypes(plist::parse(platform::locale::trimmed(xml)));
  } catch (const plist::ParseError&) {
    return {};
  } catch (const std::bad_alloc&) {
    return {};
  }
}

}  // namespace orvik
