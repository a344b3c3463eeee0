#include "BackupPlaybook/RecordRest.h"

#include <optional>

namespace orvik {

namespace {

using platform::json::Kind;
using platform::json::View;
using Usual = std::optional<View>;

struct Judge {
  std::string_view objectName;

  bool saysMore(View value, const Usual& usual) const {
    switch (value.kind()) {
      case Kind::null:
        return false;
      case Kind::boolean:
        return value.boolean() != (usual ? usual->boolean().value_or(false) : false);
      case Kind::string:
        return !value.string()->empty() && value.string() != objectName &&
               !(usual && usual->string() == value.string());
      case Kind::integer:
      case Kind::unsignedInteger:
      case Kind::number:
        return usual ? value.number() != usual->number() : value.int64() != 0 && value.int64() != -1;
      case Kind::array:
        for (const View each : value.elements())
          if (saysMore(each, {})) return true;
        return false;
      case Kind::object:
        break;
    }
    for (const auto& [key, member] : value.members())
      if (saysMore(member, usual ? (*usual)[key] : std::nullopt)) return true;
    return false;
  }
};

}  // namespace

std::vector<std::string> RecordRest::of(View record, std::string_view objectName) const {
  const auto document = platform::json::Document::parse(usual);
  const Judge judge{objectName};
  std::vector<std::string> found;
  for (const auto& [key, value] : record.members())
    if (!read.contains(key) && judge.saysMore(value, document->root()[key])) found.emplace_back(key);
  return found;
}

}  // namespace orvik
