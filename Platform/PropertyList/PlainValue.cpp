#include "Platform/PropertyList/PlainValue.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

#include "Platform/Base64.h"
#include "Platform/PropertyList/XMLSpace.h"

namespace platform::plist::detail {

namespace {

using namespace std::string_view_literals;

template <class Number, class... Form>
std::optional<Number> wholeNumber(std::string_view text, Form... form) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, form...);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// The one sign that the reader of numbers doesn't know.
std::string_view withoutPlus(std::string_view text) {
  const bool hasPlus = text.starts_with('+') && !text.starts_with("+-");
  return hasPlus ? text.substr(1) : text;
}

Value integer(std::string_view text) {
  text = withoutPlus(trimmed(text));
  const bool isNegative = text.starts_with('-');
  if (isNegative) text.remove_prefix(1);
  const bool isHex = text.starts_with("0x") || text.starts_with("0X");
  if (isHex) text.remove_prefix(2);
  const auto magnitude = wholeNumber<std::uint64_t>(text, isHex ? 16 : 10);
  constexpr std::uint64_t smallest = std::uint64_t{1} << 63;
  if (!magnitude || (isNegative && *magnitude > smallest))
    throw ParseError("an <integer> holds no whole number of 64 bits");
  if (isNegative) return Value(static_cast<std::int64_t>(0 - *magnitude));
  if (*magnitude < smallest) return Value(static_cast<std::int64_t>(*magnitude));
  return Value(*magnitude);
}

Value real(std::string_view text) {
  const auto number = wholeNumber<double>(withoutPlus(trimmed(text)));
  if (!number) throw ParseError("a <real> holds no number");
  return Value(*number);
}

Value date(std::string_view text) {
  const auto date = parseISO8601(trimmed(text));
  if (!date) throw ParseError("a <date> holds no date in the form 2025-03-04T09:15:00Z");
  return Value(*date);
}

Value data(std::string text) {
  std::erase_if(text, isSpace);
  auto bytes = base64Decode(text);
  if (!bytes) throw ParseError("a <data> holds no Base64");
  return Value(Value::Data{*std::move(bytes)});
}

Value boolean(std::string_view element, std::string_view text) {
  if (!trimmed(text).empty()) throw ParseError("a <" + std::string(element) + "> holds a text");
  return Value(element == "true");
}

}  // namespace

bool isPlain(std::string_view element) noexcept {
  constexpr std::array plain{"key"sv,  "string"sv, "integer"sv, "real"sv,
                             "true"sv, "false"sv,  "date"sv,    "data"sv};
  return std::ranges::find(plain, element) != plain.end();
}

Value plainValue(std::string_view element, std::string text) {
  if (element == "integer") return integer(text);
  if (element == "real") return real(text);
  if (element == "date") return date(text);
  if (element == "data") return data(std::move(text));
  if (element == "true" || element == "false") return boolean(element, text);
  return Value(std::move(text));
}

}  // namespace platform::plist::detail
