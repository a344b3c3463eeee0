#include "orvik/Output/TextTable.h"

#include <algorithm>
#include <utility>

#include "Platform/Locale/DisplayWidth.h"
#include "orvik/Output/VisibleText.h"

namespace orvik::host {

namespace {

using platform::locale::displayWidth;

constexpr std::size_t longestCell = 60;
constexpr std::size_t gap = 2;

}  // namespace

void TextTable::add(std::vector<std::string> cells) {
  cells.resize(columns_.size());
  for (auto& cell : cells) cell = fitted(visibleLine(cell), longestCell);
  lines_.push_back({std::move(cells), "", {}});
}

void TextTable::remark(const std::string& text, Paint::Ink ink) {
  lines_.push_back({{}, "  " + oneLine(text), ink});
}

std::vector<std::string> TextTable::lines(const Paint& paint) const {
  if (lines_.empty()) return {};
  std::vector<std::string> headings;
  for (const auto& column : columns_) headings.push_back(column.heading);
  std::vector<std::size_t> widths;
  for (const auto& heading : headings) widths.push_back(displayWidth(heading));
  for (const auto& line : lines_)
    for (std::size_t i = 0; i < line.cells.size(); ++i)
      widths[i] = std::max(widths[i], displayWidth(line.cells[i]));

  std::vector<std::string> text{paint(Paint::Ink::strong, aligned(headings, widths))};
  for (const auto& line : lines_)
    text.push_back(line.cells.empty() ? paint(line.ink, line.remark) : aligned(line.cells, widths));
  return text;
}

std::string TextTable::aligned(const std::vector<std::string>& cells,
                               const std::vector<std::size_t>& widths) const {
  std::string line;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const std::string padding(widths[i] - displayWidth(cells[i]), ' ');
    if (i != 0) line.append(gap, ' ');
    line += columns_[i].align == Align::right ? padding + cells[i] : cells[i] + padding;
  }
  while (line.ends_with(' ')) line.pop_back();
  return line;
}

}  // namespace orvik::host
