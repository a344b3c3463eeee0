#include "OrvikCore/Explore/ReadableXML.h"

#include <algorithm>
#include <cstddef>

namespace orvik {

namespace {

constexpr std::string_view blanks = " \t\r\n";
/// Deeper levels are not indented further, so that a hostile document grows no more than it has tags.
constexpr std::size_t deepestIndent = 64;

std::string_view withoutBlanks(std::string_view text) {
  const auto begin = text.find_first_not_of(blanks);
  if (begin == text.npos) return {};
  return text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

/// A piece of a document: what stands between two tags, or a tag, a comment and the like.
struct Piece {
  enum class Kind { text, opening, closing, whole };

  Kind kind = Kind::text;
  std::string_view text;
};

/// Where what begins with "<" ends, behind its last character.
std::size_t endOfTag(std::string_view rest) {
  for (const auto& [begin, end] : {std::pair<std::string_view, std::string_view>{"<!--", "-->"},
                                   {"<![CDATA[", "]]>"},
                                   {"<?", "?>"},
                                   {"<", ">"}}) {
    if (!rest.starts_with(begin)) continue;
    const auto found = rest.find(end, begin.size());
    return found == rest.npos ? rest.size() : found + end.size();
  }
  return rest.size();
}

Piece takePiece(std::string_view& rest) {
  using Kind = Piece::Kind;
  if (!rest.starts_with('<')) {
    const auto text = rest.substr(0, rest.find('<'));
    rest.remove_prefix(text.size());
    return {Kind::text, text};
  }
  const auto tag = rest.substr(0, endOfTag(rest));
  rest.remove_prefix(tag.size());
  if (tag.starts_with("<![CDATA[")) return {Kind::text, tag};
  if (tag.starts_with("<!") || tag.starts_with("<?") || tag.ends_with("/>")) return {Kind::whole, tag};
  return {tag.starts_with("</") ? Kind::closing : Kind::opening, tag};
}

class Layout {
 public:
  std::string of(std::string_view xml) && {
    while (!xml.empty()) add(takePiece(xml));
    if (!out_.empty()) out_ += '\n';
    return std::move(out_);
  }

 private:
  void add(const Piece& piece) {
    using Kind = Piece::Kind;
    const bool isInLine = last_ == Kind::opening || (last_ == Kind::text && isInElement_);
    switch (piece.kind) {
      case Kind::text:
        if (withoutBlanks(piece.text).empty()) return;
        isInElement_ = isInLine;
        isInLine ? append(piece.text) : line(withoutBlanks(piece.text));
        break;
      case Kind::opening:
        line(piece.text);
        ++level_;
        break;
      case Kind::closing:
        level_ -= std::min<std::size_t>(level_, 1);
        isInLine ? append(piece.text) : line(piece.text);
        break;
      case Kind::whole:
        line(piece.text);
        break;
    }
    last_ = piece.kind;
  }

  void append(std::string_view text) { out_ += text; }
  void line(std::string_view text) {
    if (!out_.empty()) out_ += '\n';
    out_.append(2 * std::min(level_, deepestIndent), ' ').append(text);
  }

  std::string out_;
  std::size_t level_ = 0;
  Piece::Kind last_ = Piece::Kind::whole;
  bool isInElement_ = false;  ///< the last text stands in the line of its element
};

}  // namespace

bool looksLikeXML(std::string_view text) {
  const auto begin = text.find_first_not_of(blanks);
  if (begin == text.npos) return false;
  text.remove_prefix(begin);
  return text.starts_with("<?xml") || text.starts_with("<!DOCTYPE plist") || text.starts_with("<plist");
}

std::string readableXML(std::string_view xml) { return Layout().of(xml); }

}  // namespace orvik
