#include "JamfCore/Models/Scope.h"

#include <charconv>

namespace jamf {

namespace {

namespace json = platform::json;

/// The same with an id of whatever type.
struct GivenLimitation {
  struct ID {
    std::optional<std::int64_t> number;

    static constexpr bool mayBeAbsent = true;

    static ID decode(json::View view) {
      if (const auto number = view.int64()) return {number};
      const auto text = view.string().value_or("");
      std::int64_t read = 0;
      const auto [stop, problem] = std::from_chars(text.data(), text.data() + text.size(), read);
      if (problem != std::errc{} || stop != text.data() + text.size()) return {};
      return {read};
    }
  };

  ID id;
  std::string name;

  static constexpr auto fields() {
    return fieldList(json::field("id", &GivenLimitation::id), json::field("name", &GivenLimitation::name));
  }
};

}  // namespace

void ScopeLimitation::encode(json::Writer& writer) const {
  writer.beginObject();
  if (id) {
    writer.key("id");
    writer.integer(*id);
  }
  writer.key("name");
  writer.string(name);
  writer.endObject();
}

ScopeLimitation ScopeLimitation::decode(json::View view) {
  auto given = json::decodeValue<GivenLimitation>(view);
  return {given.id.number, std::move(given.name)};
}

}  // namespace jamf
