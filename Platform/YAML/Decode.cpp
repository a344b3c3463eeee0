#include "Platform/YAML/Decode.h"

#include <fmt/format.h>

namespace platform::yaml {

namespace {

std::string_view nameOf(const Node& node) {
  switch (node.kind) {
    case Node::Kind::scalar:
      return node.isNull() ? "nothing" : "a single value";
    case Node::Kind::sequence:
      return "a list";
    case Node::Kind::mapping:
      break;
  }
  return "a mapping";
}

}  // namespace

std::string Place::path() const {
  if (!parent_) return {};
  const std::string own = index_ ? fmt::format("Index {}", *index_) : std::string(key_);
  const std::string before = parent_->path();
  return before.empty() ? own : before + "." + own;
}

void Place::count() const {
  if (++decoded_ > maximumNodes)
    fail(fmt::format("More than {} values, with aliases followed.", maximumNodes));
}

void Place::fail(const std::string& problem) const { throw DecodingError(path(), problem); }

void Place::expected(std::string_view what) const {
  fail(fmt::format("Expected {} in line {}, but found {}.", what, node_.line, nameOf(node_)));
}

const Node* Place::find(std::string_view key) const {
  if (node_.kind != Node::Kind::mapping) expected("a mapping");
  const Node* const found = node_.member(key);
  return found && !found->isNull() ? found : nullptr;
}

bool Place::boolean() const {
  const auto value = node_.boolean();
  if (!value) expected("true or false");
  return *value;
}

std::int64_t Place::integer() const {
  const auto value = node_.integer();
  if (!value) expected("a whole number");
  return *value;
}

const std::string& Place::text() const {
  if (node_.kind != Node::Kind::scalar || node_.isNull()) expected("a text");
  return node_.text;
}

const std::vector<std::shared_ptr<const Node>>& Place::elements() const {
  if (node_.kind != Node::Kind::sequence) expected("a list");
  return node_.elements;
}

}  // namespace platform::yaml
