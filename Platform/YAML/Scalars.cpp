#include <algorithm>
#include <array>
#include <charconv>
#include <string>

#include "Platform/YAML/Node.h"

// What plain scalars mean (YAML 1.1, types null, bool and int of its type repository).
namespace platform::yaml {

namespace {

using namespace std::string_view_literals;

template <std::size_t N>
bool isOneOf(std::string_view text, const std::array<std::string_view, N>& words) {
  return std::ranges::find(words, text) != words.end();
}

constexpr std::array nulls{""sv, "~"sv, "null"sv, "Null"sv, "NULL"sv};
constexpr std::array truths{"true"sv, "True"sv, "TRUE"sv, "yes"sv, "Yes"sv, "YES"sv, "on"sv, "On"sv, "ON"sv};
constexpr std::array falsehoods{"false"sv, "False"sv, "FALSE"sv, "no"sv, "No"sv,
                                "NO"sv,    "off"sv,   "Off"sv,   "OFF"sv};

/// The digits of one base, all of them.
std::optional<std::uint64_t> digits(std::string_view text, int base) {
  std::uint64_t value = 0;
  const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (problem != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return value;
}

/// "190:20:30", places of sixty.
std::optional<std::uint64_t> sexagesimal(std::string_view text) {
  constexpr std::uint64_t base = 60;
  constexpr std::uint64_t most = (std::uint64_t{1} << 63) / base - 1;
  std::uint64_t value = 0;
  for (bool first = true; !text.empty(); first = false) {
    const auto colon = std::min(text.find(':'), text.size());
    const auto place = digits(text.substr(0, colon), 10);
    if (!place || value > most || *place > most || (!first && *place >= base)) return std::nullopt;
    value = value * base + *place;
    text.remove_prefix(std::min(colon + 1, text.size()));
  }
  return value;
}

std::optional<std::uint64_t> magnitude(std::string_view text) {
  if (text.starts_with("0b")) return digits(text.substr(2), 2);
  if (text.starts_with("0x")) return digits(text.substr(2), 16);
  if (text.starts_with("0o")) return digits(text.substr(2), 8);
  if (text.ends_with(':')) return std::nullopt;
  if (text.find(':') != std::string_view::npos) return sexagesimal(text);
  return digits(text, text.size() > 1 && text.front() == '0' ? 8 : 10);
}

std::optional<std::int64_t> toInteger(std::string_view text) {
  if (text.starts_with('_')) return std::nullopt;
  std::string digitsOnly(text);
  std::erase(digitsOnly, '_');
  std::string_view rest = digitsOnly;
  const bool negative = rest.starts_with('-');
  if (negative || rest.starts_with('+')) rest.remove_prefix(1);
  if (rest.empty() || rest.front() < '0' || rest.front() > '9') return std::nullopt;
  const auto value = magnitude(rest);
  constexpr auto greatest = std::uint64_t{1} << 63;
  if (!value || *value > greatest || (*value == greatest && !negative)) return std::nullopt;
  return negative ? static_cast<std::int64_t>(0 - *value) : static_cast<std::int64_t>(*value);
}

/// Floats, dates and what else begins like a number; telling them apart would help nobody.
bool beginsLikeANumber(std::string_view text) {
  const auto at = text.find_first_not_of("+-.");
  return at < text.size() &&
         ((text[at] >= '0' && text[at] <= '9') ||
          isOneOf(text.substr(at), std::array{"inf"sv, "Inf"sv, "INF"sv, "nan"sv, "NaN"sv, "NAN"sv}));
}

}  // namespace

bool Node::isNull() const { return kind == Kind::scalar && isPlain && isOneOf(text, nulls); }

std::optional<bool> Node::boolean() const {
  if (kind != Kind::scalar || !isPlain) return std::nullopt;
  if (isOneOf(text, truths)) return true;
  return isOneOf(text, falsehoods) ? std::optional(false) : std::nullopt;
}

std::optional<std::int64_t> Node::integer() const {
  if (kind != Kind::scalar || !isPlain) return std::nullopt;
  return toInteger(text);
}

bool isSpecialPlain(std::string_view text) {
  constexpr std::array others{"<<"sv, "="sv, "y"sv, "Y"sv, "n"sv, "N"sv};
  return isOneOf(text, nulls) || isOneOf(text, truths) || isOneOf(text, falsehoods) ||
         isOneOf(text, others) || beginsLikeANumber(text);
}

}  // namespace platform::yaml
