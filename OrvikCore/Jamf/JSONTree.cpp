#include "OrvikCore/Jamf/JSONTree.h"

#include <charconv>
#include <cmath>
#include <utility>

namespace orvik {

namespace json = platform::json;

JSONTree JSONTree::parse(std::string_view bytes) {
  auto document = json::Document::parse(bytes);
  const auto root = document->root();
  return {std::move(document), root};
}

JSONTree JSONTree::operator[](std::string_view key) const {
  if (!raw_) return {};
  const auto member = (*raw_)[key];
  return member ? JSONTree(document_, *member) : JSONTree();
}

std::vector<std::pair<std::string_view, JSONTree>> JSONTree::members() const {
  std::vector<std::pair<std::string_view, JSONTree>> members;
  if (raw_)
    for (const auto [key, value] : raw_->members()) members.emplace_back(key, JSONTree(document_, value));
  return members;
}

std::optional<std::string> JSONTree::string() const {
  if (!raw_) return std::nullopt;
  switch (raw_->kind()) {
    case json::Kind::string:
      return std::string(*raw_->string());
    case json::Kind::boolean:
      return *raw_->boolean() ? "true" : "false";
    case json::Kind::integer:
    case json::Kind::unsignedInteger:
    case json::Kind::number:
      return raw_->serialized();
    default:
      return std::nullopt;
  }
}

std::optional<std::int64_t> JSONTree::integer() const {
  if (!raw_) return std::nullopt;
  if (const auto value = raw_->int64()) return value;
  if (const auto value = raw_->number()) {
    const double whole = std::trunc(*value);
    if (!(whole >= -0x1p63 && whole < 0x1p63)) return std::nullopt;
    return static_cast<std::int64_t>(whole);
  }
  const auto text = raw_->string();
  if (!text) return std::nullopt;
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), value);
  if (error != std::errc() || end != text->data() + text->size()) return std::nullopt;
  return value;
}

std::optional<std::vector<JSONTree>> JSONTree::array() const {
  if (!raw_ || !raw_->isArray()) return std::nullopt;
  std::vector<JSONTree> elements;
  for (const auto element : raw_->elements()) elements.push_back(JSONTree(document_, element));
  return elements;
}

std::optional<std::string> JSONTree::first(const std::vector<KeyPath>& paths) const {
  for (const auto& path : paths) {
    JSONTree tree = *this;
    for (const auto key : path) tree = tree[key];
    if (!tree.raw_ || tree.raw_->kind() == json::Kind::boolean) continue;
    if (auto text = tree.string(); text && !text->empty()) return text;
  }
  return std::nullopt;
}

std::optional<platform::Bytes> JSONTree::serialized() const {
  return raw_ ? std::optional(raw_->serialized()) : std::nullopt;
}

}  // namespace orvik
