#include "JamfCore/Tools/MCP/JSONValue.h"

#include "Platform/JSON/Codable.h"

namespace jamf {

namespace {

namespace json = platform::json;

template <class... Case>
struct Cases : Case... {
  using Case::operator()...;
};
template <class... Case>
Cases(Case...) -> Cases<Case...>;

}  // namespace

const JSONValue* JSONValue::operator[](std::string_view key) const {
  const auto* const members = objectValue();
  if (!members) return nullptr;
  const auto found = members->find(std::string(key));
  return found == members->end() ? nullptr : &found->second;
}

AnyValue JSONValue::anyValue() const {
  return std::visit(Cases{[](const Array& elements) {
                            AnyValue::List list;
                            for (const auto& element : elements) list.push_back(element.anyValue());
                            return AnyValue{std::move(list)};
                          },
                          [](const Object& members) {
                            AnyValue::Map map;
                            for (const auto& [key, member] : members) map.emplace(key, member.anyValue());
                            return AnyValue{std::move(map)};
                          },
                          [](Null) { return AnyValue{AnyValue::Null{}}; },
                          [](const auto& plain) { return AnyValue{plain}; }},
                    value);
}

void JSONValue::encode(json::Writer& writer) const {
  std::visit(
      Cases{[&](const std::string& text) { writer.string(text); },
            [&](double number) { writer.number(number); }, [&](bool flag) { writer.boolean(flag); },
            [&](const Array& elements) { json::encodeValue(writer, elements); },
            [&](const Object& members) { json::encodeValue(writer, members); }, [&](Null) { writer.null(); }},
      value);
}

JSONValue JSONValue::decode(json::View view) {
  if (view.isNull()) return null();
  if (const auto flag = view.boolean()) return boolean(*flag);
  if (const auto number = view.number()) return JSONValue::number(*number);
  if (const auto text = view.string()) return string(std::string(*text));
  if (view.isArray()) return array(json::decodeValue<Array>(view));
  if (view.isObject()) return object(json::decodeValue<Object>(view));
  throw json::DecodingError("", "Unsupported JSON value");
}

}  // namespace jamf
