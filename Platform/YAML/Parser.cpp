#include <fmt/format.h>
#include <yaml.h>

#include <cstring>
#include <map>
#include <set>

#include "Platform/YAML/Node.h"

namespace platform::yaml {

namespace {

using Shared = std::shared_ptr<const Node>;

/// The events of one text, and the one that is looked at.
class Events {
 public:
  explicit Events(std::string_view text) {
    if (!yaml_parser_initialize(&parser_)) throw std::bad_alloc();
    yaml_parser_set_encoding(&parser_, YAML_UTF8_ENCODING);
    yaml_parser_set_input_string(&parser_, reinterpret_cast<const unsigned char*>(text.data()), text.size());
  }
  ~Events() {
    yaml_event_delete(&event_);
    yaml_parser_delete(&parser_);
  }
  Events(const Events&) = delete;
  Events& operator=(const Events&) = delete;

  const yaml_event_t& next() {
    yaml_event_delete(&event_);
    if (!yaml_parser_parse(&parser_, &event_)) {
      event_ = {};
      fail();
    }
    return event_;
  }

 private:
  [[noreturn]] void fail() const {
    const auto& mark = parser_.problem_mark;
    std::string sentence = fmt::format("line {}, column {}: {}", mark.line + 1, mark.column + 1,
                                       parser_.problem ? parser_.problem : "not YAML");
    if (parser_.context) sentence += fmt::format(" {}", parser_.context);
    if (parser_.error == YAML_READER_ERROR)
      sentence = fmt::format("byte {}: {}", parser_.problem_offset, parser_.problem);
    throw ParseError(sentence);
  }

  yaml_parser_t parser_{};
  yaml_event_t event_{};
};

std::string_view textOf(const yaml_char_t* text) {
  return text ? std::string_view(reinterpret_cast<const char*>(text)) : std::string_view();
}

/// Builds the tree. Aliases become shares of what they name.
class Builder {
 public:
  explicit Builder(std::string_view text) : events_(text) {}

  Shared document() {
    events_.next();  // the stream's start
    if (events_.next().type == YAML_STREAM_END_EVENT) return std::make_shared<Node>();
    Shared root = node(events_.next(), 0);
    events_.next();  // the document's end
    const auto& end = events_.next();
    if (end.type != YAML_STREAM_END_EVENT)
      throw ParseError(fmt::format("line {}: a second document begins", end.start_mark.line + 1));
    return root;
  }

 private:
  Shared node(const yaml_event_t& event, std::size_t depth) {
    const std::size_t line = event.start_mark.line + 1;
    if (event.type == YAML_ALIAS_EVENT) return alias(textOf(event.data.alias.anchor), line);
    count(1, line);
    if (depth == maximumDepth)
      throw ParseError(fmt::format("line {}: nested deeper than {} levels", line, maximumDepth));
    switch (event.type) {
      case YAML_SCALAR_EVENT:
        return scalar(event, line);
      case YAML_SEQUENCE_START_EVENT:
        return sequence(std::string(textOf(event.data.sequence_start.anchor)), line, depth);
      default:
        return mapping(std::string(textOf(event.data.mapping_start.anchor)), line, depth);
    }
  }

  Shared scalar(const yaml_event_t& event, std::size_t line) {
    const auto& data = event.data.scalar;
    auto made = std::make_shared<Node>();
    made->text.assign(reinterpret_cast<const char*>(data.value), data.length);
    made->isPlain = textOf(data.tag).empty() ? data.style == YAML_PLAIN_SCALAR_STYLE
                                             : textOf(data.tag) != YAML_STR_TAG && data.tag[0] != '!';
    made->line = line;
    return named(std::string(textOf(data.anchor)), std::move(made));
  }

  Shared sequence(std::string anchor, std::size_t line, std::size_t depth) {
    auto made = std::make_shared<Node>();
    made->kind = Node::Kind::sequence;
    made->line = line;
    open(anchor);
    for (;;) {
      const auto& event = events_.next();
      if (event.type == YAML_SEQUENCE_END_EVENT) break;
      made->elements.push_back(node(event, depth + 1));
    }
    return named(anchor, std::move(made));
  }

  Shared mapping(std::string anchor, std::size_t line, std::size_t depth) {
    auto made = std::make_shared<Node>();
    made->kind = Node::Kind::mapping;
    made->line = line;
    open(anchor);
    std::set<std::string> seen;
    std::vector<Shared> merged;
    for (;;) {
      const auto& event = events_.next();
      if (event.type == YAML_MAPPING_END_EVENT) break;
      const Shared key = node(event, depth + 1);
      if (key->kind != Node::Kind::scalar)
        throw ParseError(fmt::format("line {}: a key is a list or a mapping", key->line));
      Shared value = node(events_.next(), depth + 1);
      if (key->isPlain && key->text == "<<") {
        merged.push_back(std::move(value));
        continue;
      }
      if (!seen.insert(key->text).second)
        throw ParseError(fmt::format("line {}: the key \"{}\" stands twice", key->line, key->text));
      made->members.emplace_back(key->text, std::move(value));
    }
    for (const auto& source : merged) merge(*made, seen, *source, line);
    return named(anchor, std::move(made));
  }

  /// Adds the members of a mapping, or of each mapping of a list, whose keys are not there yet.
  void merge(Node& into, std::set<std::string>& seen, const Node& source, std::size_t line) {
    if (source.kind == Node::Kind::scalar)
      throw ParseError(fmt::format("line {}: \"<<\" needs a mapping, or a list of them", line));
    for (const auto& element : source.elements) {
      if (element->kind != Node::Kind::mapping)
        throw ParseError(fmt::format("line {}: \"<<\" needs a mapping, or a list of them", line));
      merge(into, seen, *element, line);
    }
    count(source.members.size(), line);
    for (const auto& [key, value] : source.members)
      if (seen.insert(key).second) into.members.emplace_back(key, value);
  }

  /// An anchor counts once its node is whole: before that an alias would lead into itself.
  void open(const std::string& anchor) {
    if (!anchor.empty()) anchors_.insert_or_assign(anchor, nullptr);
  }
  Shared named(const std::string& anchor, std::shared_ptr<Node> made) {
    if (!anchor.empty()) anchors_.insert_or_assign(anchor, made);
    return made;
  }
  Shared alias(std::string_view anchor, std::size_t line) {
    const auto found = anchors_.find(anchor);
    if (found == anchors_.end())
      throw ParseError(fmt::format("line {}: the alias \"*{}\" names nothing", line, anchor));
    if (!found->second)
      throw ParseError(
          fmt::format("line {}: the alias \"*{}\" stands inside of what it names", line, anchor));
    return found->second;
  }

  void count(std::size_t nodes, std::size_t line) {
    nodes_ += nodes;
    if (nodes_ > maximumNodes)
      throw ParseError(fmt::format("line {}: more than {} values", line, maximumNodes));
  }

  Events events_;
  std::map<std::string, Shared, std::less<>> anchors_;
  std::size_t nodes_ = 0;
};

}  // namespace

const Node* Node::member(std::string_view key) const {
  for (const auto& [name, value] : members)
    if (name == key) return value.get();
  return nullptr;
}

std::shared_ptr<const Node> parse(std::string_view text) {
  if (text.size() > maximumSize)
    throw ParseError(fmt::format("{} bytes; at most {} are read", text.size(), maximumSize));
  // libyaml skips the mark, but counts it as a column: the second key of a mapping would stand left of the
  // first.
  constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";
  if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
  return Builder(text).document();
}

}  // namespace platform::yaml
