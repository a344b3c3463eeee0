#include "Platform/Preferences/PlainValue.h"

#include "Platform/JSON/View.h"

namespace platform::preferences {

namespace {

plist::Value plain(json::View view) {
  using enum json::Kind;
  switch (view.kind()) {
    case boolean:
      return plist::Value(view.boolean().value());
    case integer:
      return plist::Value(view.int64().value());
    case unsignedInteger:
      return plist::Value(view.uint64().value());
    case number:
      return plist::Value(view.number().value());
    case string:
      return plist::Value(std::string(view.string().value()));
    case array: {
      plist::Value::Array elements;
      for (const auto element : view.elements())
        if (!element.isNull()) elements.push_back(plain(element));
      return plist::Value(std::move(elements));
    }
    case object: {
      plist::Value::Dictionary members;
      for (const auto& [key, value] : view.members())
        if (!value.isNull()) members.emplace_back(key, plain(value));
      return plist::Value(std::move(members));
    }
    case null:
      break;
  }
  throw Error("it holds nothing but null");
}

}  // namespace

plist::Value parseJSON(std::string_view text) { return plain(json::Document::parse(text)->root()); }

}  // namespace platform::preferences
