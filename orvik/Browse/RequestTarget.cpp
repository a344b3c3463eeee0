#include "orvik/Browse/RequestTarget.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "Platform/HTTP/URL.h"
#include "Platform/Locale/Text.h"
#include "orvik/ExitStatus.h"

namespace orvik::host {

namespace {

std::string decoded(std::string_view text) {
  auto plain = platform::percentDecode(text);
  if (!platform::locale::isValidUTF8(plain)) throw UsageError("The address is not UTF-8.");
  return plain;
}

/// Takes what stands before the separator away, and the separator with it.
std::string_view takeUntil(std::string_view& text, char separator) {
  const auto piece = text.substr(0, text.find(separator));
  text.remove_prefix(std::min(text.size(), piece.size() + 1));
  return piece;
}

}  // namespace

RequestTarget RequestTarget::parse(std::string_view text) {
  if (!text.starts_with('/')) throw UsageError("The address does not begin with a slash.");
  text.remove_prefix(1);
  auto path = takeUntil(text, '?');
  RequestTarget target;
  do {
    target.path.push_back(decoded(takeUntil(path, '/')));
  } while (!path.empty());
  while (!text.empty()) {
    auto item = takeUntil(text, '&');
    const auto name = takeUntil(item, '=');
    target.query.insert_or_assign(decoded(name), decoded(item));
  }
  return target;
}

std::optional<std::string> RequestTarget::optional(std::string_view name) const {
  const auto found = query.find(name);
  return found == query.end() ? std::nullopt : std::optional(found->second);
}

const std::string& RequestTarget::required(std::string_view name) const {
  const auto found = query.find(name);
  if (found == query.end() || found->second.empty())
    throw UsageError(fmt::format("The address lacks \"{}\".", name));
  return found->second;
}

std::size_t RequestTarget::number(std::string_view name, std::size_t otherwise, std::size_t most) const {
  const auto text = optional(name);
  if (!text) return otherwise;
  std::size_t value = 0;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), value);
  if (error != std::errc() || end != text->data() + text->size() || value > most)
    throw UsageError(fmt::format("\"{}\" in the address is no number up to {}.", name, most));
  return value;
}

}  // namespace orvik::host
