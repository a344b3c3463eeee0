#include "Platform/PropertyList/Builder.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

#include "Platform/Locale/Text.h"
#include "Platform/PropertyList/PlainValue.h"
#include "Platform/PropertyList/XMLSpace.h"

namespace platform::plist::detail {

namespace {

/// A name from the document as an error shows it.
std::string shown(std::string_view name) {
  const std::size_t end = locale::charactersAfter(name, 0, 40);
  return end == name.size() ? std::string(name) : std::string(name.substr(0, end)) + "…";
}

/// Of a repeated key the last stays.
void dropRepeated(Value::Dictionary& members) {
  std::vector<std::size_t> order(members.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  const auto keyOf = [&](std::size_t at) -> const std::string& { return members[at].first; };
  std::ranges::stable_sort(order, {}, keyOf);
  std::vector<bool> isRepeated(members.size());
  bool any = false;
  for (std::size_t i = 1; i < order.size(); ++i) {
    if (keyOf(order[i - 1]) != keyOf(order[i])) continue;
    isRepeated[order[i - 1]] = any = true;
  }
  if (!any) return;
  std::size_t at = 0;
  std::erase_if(members, [&](const auto&) { return isRepeated[at++]; });
}

}  // namespace

void Builder::begin(std::string_view element) {
  if (!isBegun_) {
    if (element != "plist")
      throw ParseError(fmt::format("the outermost element is <{}>, not <plist>", shown(element)));
    isBegun_ = true;
    return;
  }
  expectPlaceFor(element);
  if (isPlain(element)) {
    plainName_ = element;
    plain_.emplace();
    return;
  }
  if (open_.size() == maximumDepth)
    throw ParseError(
        fmt::format("dictionaries and arrays lie in each other deeper than {} levels", maximumDepth));
  open_.emplace_back().isDictionary = element == "dict";
}

void Builder::expectPlaceFor(std::string_view element) const {
  const bool isKey = element == "key";
  if (!isPlain(element) && element != "dict" && element != "array" && element != "plist")
    throw ParseError(fmt::format("an element <{}> is none of a property list", shown(element)));
  if (plain_) throw ParseError(fmt::format("an element <{}> stands inside a <{}>", element, plainName_));
  if (element == "plist") throw ParseError("a <plist> stands inside the <plist>");
  if (open_.empty() || !open_.back().isDictionary) {
    if (isKey) throw ParseError("a <key> stands outside of a dictionary");
    if (open_.empty() && value_) throw ParseError("a second value stands in the <plist>");
    return;
  }
  const auto& key = open_.back().key;
  if (isKey && key) throw ParseError(fmt::format("the key \"{}\" has no value", shown(*key)));
  if (!isKey && !key)
    throw ParseError(fmt::format("an element <{}> stands in a dictionary without a key", element));
}

void Builder::text(std::string_view piece) {
  if (plain_) {
    *plain_ += piece;
  } else if (!std::ranges::all_of(piece, isSpace)) {
    throw ParseError("a text stands between the elements");
  }
}

void Builder::end(std::string_view element) {
  if (plain_) {
    std::string text = *std::move(plain_);
    plain_.reset();
    if (element == "key")
      open_.back().key = std::move(text);
    else
      add(plainValue(element, std::move(text)));
  } else if (element == "plist") {
    if (!value_) throw ParseError("the <plist> is empty");
  } else {
    Container container = std::move(open_.back());
    open_.pop_back();
    add(closed(std::move(container)));
  }
}

void Builder::add(Value value) {
  if (open_.empty()) {
    value_ = std::move(value);
    return;
  }
  Container& container = open_.back();
  if (!container.isDictionary) {
    container.elements.push_back(std::move(value));
    return;
  }
  container.members.emplace_back(*std::move(container.key), std::move(value));
  container.key.reset();
}

Value Builder::closed(Container container) {
  if (!container.isDictionary) return Value(std::move(container.elements));
  if (container.key) throw ParseError(fmt::format("the key \"{}\" has no value", shown(*container.key)));
  dropRepeated(container.members);
  return Value(std::move(container.members));
}

}  // namespace platform::plist::detail
