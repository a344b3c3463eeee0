#include "Platform/XML/XMLElement.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace platform::xml {

namespace {

/// Makes the tree. An element is moved into its parent when it ends, so that none moves while it is open.
class TreeBuilder final : public Events {
 public:
  void begin(std::string_view element) override {
    if (open_.size() == maximumDepth)
      throw ParseError(fmt::format("elements lie in each other deeper than {} levels", maximumDepth));
    if (++count_ > maximumElements)
      throw ParseError(fmt::format("there are more than {} elements", maximumElements));
    open_.push_back({std::string(element), {}, {}});
  }

  void text(std::string_view piece) override {
    if (!open_.empty()) open_.back().text += piece;
  }

  void end(std::string_view) override {
    Element ended = std::move(open_.back());
    open_.pop_back();
    if (open_.empty())
      root_ = std::move(ended);
    else
      open_.back().children.push_back(std::move(ended));
  }

  Element finish() { return std::move(root_); }

 private:
  std::size_t count_ = 0;
  std::vector<Element> open_;
  Element root_;
};

}  // namespace

const Element* Element::find(std::string_view child) const {
  const auto found = std::ranges::find(children, child, &Element::name);
  return found == children.end() ? nullptr : &*found;
}

Element parse(std::string_view xml) {
  if (xml.size() > maximumSize)
    throw ParseError(fmt::format("the document takes {} bytes, more than {}", xml.size(), maximumSize));
  TreeBuilder builder;
  Reading reading(builder);
  try {
    reading.read(xml);
  } catch (const ParseError& error) {
    throw ParseError(fmt::format("line {}: {}", reading.line(), error.description()));
  }
  return builder.finish();
}

}  // namespace platform::xml
