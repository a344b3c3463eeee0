#include "SampleServer/RSQL.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "Platform/Locale/Text.h"
#include "SampleServer/WrittenRecord.h"

namespace sample {
namespace {

using platform::json::Value;
using platform::locale::lowercased;

/// Lower-case texts between the wild cards of a value.
using Pattern = std::vector<std::string>;

bool matchesPattern(const Pattern& pattern, std::string_view text) {
  if (pattern.size() == 1) return text == pattern.front();
  if (!text.starts_with(pattern.front())) return false;
  text.remove_prefix(pattern.front().size());
  for (std::size_t i = 1; i + 1 < pattern.size(); ++i) {
    const std::size_t at = text.find(pattern[i]);
    if (at == std::string_view::npos) return false;
    text.remove_prefix(at + pattern[i].size());
  }
  return text.ends_with(pattern.back());
}

/// A piece of the filter as a refusal shows it.
std::string shown(std::string_view text) {
  const std::size_t end = platform::locale::charactersAfter(text, 0, 40);
  return end == text.size() ? std::string(text) : std::string(text.substr(0, end)) + "…";
}

}  // namespace

struct RSQLFilter::Node {
  enum class Kind { all, any, equal, unequal };

  Kind kind;
  std::vector<Node> parts = {};  ///< of `all` and `any`
  std::string field = {};        ///< of the others, as `value`
  Pattern value = {};

  bool matches(const Value& object) const {
    const auto holds = [&](const Node& part) { return part.matches(object); };
    switch (kind) {
      case Kind::all:
        return std::ranges::all_of(parts, holds);
      case Kind::any:
        return std::ranges::any_of(parts, holds);
      case Kind::equal:
      case Kind::unequal:
        break;
    }
    return matchesPattern(value, lowercased(fieldText(object, field))) == (kind == Kind::equal);
  }
};

class RSQLFilter::Parser {
 public:
  Parser(std::string_view text, std::span<const std::string_view> fields) : rest_(text), fields_(fields) {}

  Node parse() {
    Node root = any();
    if (!rest_.empty()) throw RSQLError(fmt::format("Unexpected \"{}\" in the filter", shown(rest_)));
    return root;
  }

 private:
  Node any() {
    return row(Node::Kind::any, ',', "or", [this] { return all(); });
  }
  Node all() {
    return row(Node::Kind::all, ';', "and", [this] { return part(); });
  }

  template <class Next>
  Node row(Node::Kind kind, char sign, std::string_view word, const Next& next) {
    Node first = next();
    if (!takeJoint(sign, word)) return first;
    Node joined{.kind = kind};
    joined.parts.push_back(std::move(first));
    do {
      joined.parts.push_back(next());
    } while (takeJoint(sign, word));
    return joined;
  }

  Node part() {
    skipBlanks();
    if (!take("(")) return comparison();
    if (++depth_ > maximumDepth) throw RSQLError("The brackets of the filter lie too deep");
    Node inner = any();
    if (!take(")")) throw RSQLError("A bracket of the filter is not closed");
    --depth_;
    skipBlanks();
    return inner;
  }

  Node comparison() {
    const std::size_t end = std::min(rest_.find_first_of(" =!()<>;,\"'"), rest_.size());
    const std::string_view field = rest_.substr(0, end);
    if (field.empty()) throw RSQLError("A comparison of the filter has no property");
    if (std::ranges::find(fields_, field) == fields_.end())
      throw RSQLError(fmt::format("Invalid property '{}'", shown(field)));
    rest_.remove_prefix(end);
    skipBlanks();
    Node made{.kind = Node::Kind::equal, .field = std::string(field)};
    if (take("!=")) {
      made.kind = Node::Kind::unequal;
    } else if (!take("==")) {
      throw RSQLError(fmt::format("No operator that is known stands behind '{}'", shown(field)));
    }
    skipBlanks();
    made.value = value();
    skipBlanks();
    return made;
  }

  Pattern value() {
    const char quote = rest_.empty() ? '\0' : rest_.front();
    const bool isQuoted = quote == '"' || quote == '\'';
    if (isQuoted) rest_.remove_prefix(1);
    Pattern pieces(1);
    std::size_t at = 0;
    for (; at < rest_.size() && !ends(rest_[at], isQuoted ? quote : '\0'); ++at) {
      if (rest_[at] == '*') {
        pieces.emplace_back();
      } else {
        if (isQuoted && rest_[at] == '\\' && at + 1 < rest_.size()) ++at;
        pieces.back() += rest_[at];
      }
    }
    if (isQuoted && at == rest_.size()) throw RSQLError("A quoted value of the filter is not closed");
    if (!isQuoted && at == 0) throw RSQLError("A comparison of the filter has no value");
    rest_.remove_prefix(at + (isQuoted ? 1 : 0));
    for (std::string& piece : pieces) piece = lowercased(piece);
    return pieces;
  }

  /// Whether a value ends ahead of this character: at its quote, or a bare one at any delimiter.
  static bool ends(char c, char quote) {
    constexpr std::string_view delimiters = " ;,()\"'=!<>";
    return quote != '\0' ? c == quote : delimiters.find(c) != std::string_view::npos;
  }

  bool takeJoint(char sign, std::string_view word) {
    skipBlanks();
    if (take({&sign, 1})) return true;
    // A word needs something behind it that is no part of a name.
    if (!rest_.starts_with(word) || rest_.size() == word.size()) return false;
    const char next = rest_[word.size()];
    return (next == ' ' || next == '(') && take(word);
  }

  bool take(std::string_view text) {
    if (!rest_.starts_with(text)) return false;
    rest_.remove_prefix(text.size());
    return true;
  }

  void skipBlanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t"), rest_.size())); }

  std::string_view rest_;
  std::span<const std::string_view> fields_;
  std::size_t depth_ = 0;
};

RSQLFilter::RSQLFilter(std::string_view text, std::span<const std::string_view> fields)
    : root_(std::make_unique<const Node>(Parser(text, fields).parse())) {}
RSQLFilter::~RSQLFilter() = default;
RSQLFilter::RSQLFilter(RSQLFilter&&) noexcept = default;
RSQLFilter& RSQLFilter::operator=(RSQLFilter&&) noexcept = default;

bool RSQLFilter::matches(const Value& object) const { return root_->matches(object); }

std::string fieldText(const Value& object, std::string_view path) {
  const std::size_t dot = path.rfind('.');
  if (dot == std::string_view::npos) return plainText(object.find(path));
  const Value* owner = objectAt(object, path.substr(0, dot));
  return owner ? plainText(owner->find(path.substr(dot + 1))) : std::string();
}

}  // namespace sample
