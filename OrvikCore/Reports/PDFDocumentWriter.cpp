#include "OrvikCore/Reports/PDFDocumentWriter.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <numeric>

#include "Platform/Locale/Text.h"

namespace orvik {

namespace pdf = platform::pdf;

namespace {

using pdf::Color;
using pdf::Face;
using pdf::Font;
using pdf::TextBlock;
using Tone = PDFDocumentWriter::Tone;

constexpr Font bodyFont{Face::regular, 9.5};
constexpr Font bodyBoldFont{Face::bold, 9.5};
constexpr Font smallFont{Face::regular, 8};
constexpr Font smallBoldFont{Face::bold, 8};
constexpr Font monoFont{Face::mono, 7.5};
constexpr Font coverFont{Face::bold, 22};
constexpr Font headingFont{Face::bold, 13};
constexpr Font subheadingFont{Face::bold, 10.5};

constexpr Color headerBand{0.94, 0.94, 0.95};
constexpr Color hairline{0.84, 0.84, 0.86};

constexpr double footerSpace = 14;
constexpr double pageRule = 26;  // from the page's top
constexpr double keyColumn = 150;
constexpr double itemIndent = 10;
constexpr double cellPadding = 8;  // both sides together
constexpr double ruleGap = 1.5;    // between descenders and a rule

/// A text of a block that is longer is no text for a report's reader, and is cut.
constexpr std::size_t mostLines = 40;
constexpr std::size_t mostHeadingLines = 6;
constexpr int labelLevel = 2;  // of headings; those above are the outline

constexpr Color colorOf(Tone tone) {
  switch (tone) {
    case Tone::muted:
      return {0.42, 0.44, 0.48};
    case Tone::good:
      return {0.10, 0.50, 0.24};
    case Tone::warning:
      return {0.72, 0.42, 0};
    case Tone::bad:
      return {0.75, 0.15, 0.13};
    case Tone::accent:
      return {0.62, 0.47, 0.10};
    case Tone::normal:
      break;
  }
  return {0.10, 0.11, 0.13};
}

double lineHeight(Font font) { return font.size * 1.18; }
/// From the top of a line to where its letters stand.
double baseline(Font font) { return lineHeight(font) * 0.8; }

double heightOf(const TextBlock& block, Font font) {
  return static_cast<double>(block.lineCount()) * lineHeight(font);
}

/// The table that is being drawn.
struct Table {
  std::vector<PDFDocumentWriter::Column> columns;
  std::vector<double> widths;
  std::size_t maxCellLines = 1;
  bool hasHeader = false;  ///< on the present page
};

}  // namespace

/// The pages, and where on the present one the next block begins.
class PDFDocumentWriter::Pages {
 public:
  Pages(std::string title, std::string author, std::string footer, Size size, platform::Date created)
      : canvas_(size, {title, std::move(author), "Orvik", created}),
        title_(std::move(title)),
        footer_(std::move(footer)),
        size_(size) {
    newPage();
  }

  double width() const { return size_.width - 2 * margin; }
  TextBlock layOut(std::string_view text, Font font, pdf::TextFlow flow) {
    return canvas_.layOut(text, font, flow);
  }
  TextBlock layOut(std::string_view text, Font font) { return layOut(text, font, {width(), 0, mostLines}); }

  /// Makes room for what is drawn next and must not be torn, with the headings above it.
  void room(double height) {
    if (y_ > margin && !fits(headingsHeight() + height)) newPage();
    drawHeadings();
  }
  bool fits(double height) const { return y_ + height <= bottom(); }
  void newPage();
  void skip(double height) { y_ += height; }

  void addHeading(std::string_view text, int level, Font font, Tone tone);
  /// Draws one line at the present place, `indent` from the margin.
  void drawLine(const TextBlock& block, std::size_t line, double indent, Font font, Tone tone) {
    canvas_.draw(block, line, margin + indent, y_ + baseline(font), colorOf(tone));
  }
  /// Draws all lines from the present place on, and on further pages where they don't fit.
  void flow(const TextBlock& block, Font font, Tone tone, double indent = 0) {
    for (std::size_t line = 0; line < block.lineCount(); ++line) {
      room(lineHeight(font));
      drawLine(block, line, indent, font, tone);
      skip(lineHeight(font));
    }
  }
  /// An item of a list, with its bullet.
  void item(std::string_view text, Tone tone) {
    flow(layOut(text, bodyFont, {width(), itemIndent, mostLines}), bodyFont, tone);
  }
  void rule(double width, Color color, double gap = 0) {
    canvas_.strokeLine(margin, y_ + gap, size_.width - margin, y_ + gap, width, color);
  }
  void band(double height, Color color) { canvas_.fillRectangle(margin, y_, width(), height, color); }

  // Tables.
  std::optional<Table> table;

  std::vector<TextBlock> cells(const std::vector<std::string>& texts, Font font, std::size_t maxLines);
  void drawCells(const std::vector<TextBlock>& blocks, Font font, const std::map<std::size_t, Tone>& tones);
  void drawTableHeader();
  /// As many lines as a page below a table's header has room for.
  std::size_t mostCellLines() const {
    return static_cast<std::size_t>((bottom() - margin - 60) / lineHeight(smallFont));
  }

  platform::Bytes finish() {
    drawHeadings();
    drawFooter();
    canvas_.endPage();
    return canvas_.finish();
  }

 private:
  /// A heading that waits for the block below it, so that it never stays behind alone.
  struct Heading {
    std::string text;
    int level = 0;
    Font font;
    Tone tone;
    TextBlock block;
  };

  static double spaceAbove(const Heading& heading) { return heading.level == 0 ? 10 : 4; }
  static double spaceBelow(const Heading& heading) { return heading.level == 0 ? 6 : 3; }
  static double heightOfHeading(const Heading& heading) {
    return spaceAbove(heading) + heightOf(heading.block, heading.font) + spaceBelow(heading);
  }

  double bottom() const { return size_.height - margin - footerSpace; }
  double headingsHeight() const {
    return std::accumulate(headings_.begin(), headings_.end(), 0.0,
                           [](double sum, const Heading& heading) { return sum + heightOfHeading(heading); });
  }
  void drawHeadings();
  void drawFooter();

  pdf::Canvas canvas_;
  std::string title_;
  std::string footer_;
  Size size_;
  double y_ = 0;
  int page_ = 0;
  std::vector<Heading> headings_;
};

void PDFDocumentWriter::Pages::newPage() {
  if (page_ > 0) {
    drawFooter();
    canvas_.endPage();
  }
  canvas_.beginPage();
  ++page_;
  if (table) table->hasHeader = false;
  const auto head = layOut(title_, smallFont, {width(), 0, 1});
  canvas_.draw(head, 0, margin, pageRule - lineHeight(smallFont) + baseline(smallFont) - ruleGap,
               colorOf(Tone::muted));
  y_ = pageRule;
  rule(0.4, colorOf(Tone::muted));
  y_ = margin;
}

void PDFDocumentWriter::Pages::drawFooter() {
  const double line = size_.height - margin;
  const auto number = layOut(fmt::format("Page {}", page_), smallFont, {width(), 0, 1});
  const auto text = layOut(footer_, smallFont, {width() - number.lineWidth(0) - cellPadding, 0, 1});
  const auto grey = colorOf(Tone::muted);
  const double above = line - baseline(smallFont) - 6;
  canvas_.strokeLine(margin, above, size_.width - margin, above, 0.4, grey);
  canvas_.draw(text, 0, margin, line, grey);
  canvas_.draw(number, 0, size_.width - margin - number.lineWidth(0), line, grey);
}

void PDFDocumentWriter::Pages::addHeading(std::string_view text, int level, Font font, Tone tone) {
  Heading heading{std::string(text), level, font, tone, layOut(text, font, {width(), 0, mostHeadingLines})};
  const double needed = heightOfHeading(heading) + (level == 0 ? 90 : 60);
  if (y_ > margin && !fits(headingsHeight() + needed)) newPage();
  headings_.push_back(std::move(heading));
}

void PDFDocumentWriter::Pages::drawHeadings() {
  for (const auto& heading : std::exchange(headings_, {})) {
    y_ += spaceAbove(heading);
    if (heading.level < labelLevel) canvas_.addOutline(heading.text, heading.level, y_);
    for (std::size_t line = 0; line < heading.block.lineCount(); ++line) {
      drawLine(heading.block, line, 0, heading.font, heading.tone);
      y_ += lineHeight(heading.font);
    }
    if (heading.level == 0) rule(0.4, colorOf(Tone::muted), ruleGap);
    y_ += spaceBelow(heading);
  }
}

std::vector<TextBlock> PDFDocumentWriter::Pages::cells(const std::vector<std::string>& texts, Font font,
                                                       std::size_t maxLines) {
  std::vector<TextBlock> blocks;
  for (std::size_t column = 0; column < table->columns.size(); ++column)
    blocks.push_back(layOut(column < texts.size() ? texts[column] : std::string_view(), font,
                            {table->widths[column] - cellPadding, 0, maxLines}));
  return blocks;
}

void PDFDocumentWriter::Pages::drawCells(const std::vector<TextBlock>& blocks, Font font,
                                         const std::map<std::size_t, Tone>& tones) {
  double left = margin;
  for (std::size_t column = 0; column < blocks.size(); ++column) {
    const auto& block = blocks[column];
    const auto tone = tones.find(column);
    const Color color = colorOf(tone != tones.end() ? tone->second : Tone::normal);
    for (std::size_t line = 0; line < block.lineCount(); ++line) {
      const double x = table->columns[column].alignRight
                           ? left + table->widths[column] - cellPadding / 2 - block.lineWidth(line)
                           : left + cellPadding / 2;
      canvas_.draw(block, line, x, y_ + static_cast<double>(line) * lineHeight(font) + baseline(font), color);
    }
    left += table->widths[column];
  }
}

void PDFDocumentWriter::Pages::drawTableHeader() {
  std::vector<std::string> titles;
  for (const auto& column : table->columns) titles.push_back(column.title);
  const double height = lineHeight(smallBoldFont) + 6;
  band(height, headerBand);
  y_ += 3;
  drawCells(cells(titles, smallBoldFont, 1), smallBoldFont, {});
  y_ += height;  // the 3 points above the titles are the 3 below the band
  table->hasHeader = true;
}

PDFDocumentWriter::PDFDocumentWriter(std::string title, std::string author, std::string footer, Size pageSize,
                                     platform::Date created)
    : pages_(std::make_unique<Pages>(std::move(title), std::move(author), std::move(footer), pageSize,
                                     created)) {}

PDFDocumentWriter::~PDFDocumentWriter() = default;

void PDFDocumentWriter::cover(std::string_view title, std::string_view subtitle,
                              const std::optional<std::string>& note, Tone noteTone) {
  pages_->flow(pages_->layOut(title, coverFont), coverFont, Tone::normal);
  pages_->skip(12);
  pages_->flow(pages_->layOut(subtitle, bodyFont), bodyFont, Tone::normal);
  pages_->skip(4);
  if (note) pages_->flow(pages_->layOut(*note, bodyFont), bodyFont, noteTone);
  pages_->rule(1.2, colorOf(Tone::accent), 2 * ruleGap);
  pages_->skip(10);
}

void PDFDocumentWriter::heading(std::string_view text) {
  pages_->addHeading(text, 0, headingFont, Tone::normal);
}

void PDFDocumentWriter::subheading(std::string_view text, Tone tone) {
  pages_->addHeading(text, 1, subheadingFont, tone);
}

void PDFDocumentWriter::label(std::string_view text, Tone tone) {
  pages_->addHeading(text, labelLevel, bodyBoldFont, tone);
}

void PDFDocumentWriter::paragraph(std::string_view text, Tone tone, bool small) {
  const Font font = small ? smallFont : bodyFont;
  pages_->flow(pages_->layOut(text, font), font, tone);
  pages_->skip(5);
}

void PDFDocumentWriter::bullets(const std::vector<std::string>& items, Tone tone,
                                std::optional<std::size_t> limit) {
  if (items.empty()) return;
  const std::size_t shown = std::min(items.size(), limit.value_or(items.size()));
  for (std::size_t i = 0; i < shown; ++i) {
    if (i > 0) pages_->skip(1);
    pages_->item("• " + items[i], tone);
  }
  if (shown < items.size()) {
    pages_->skip(1);
    pages_->item(fmt::format("… and {} more", items.size() - shown), Tone::muted);
  }
  pages_->skip(4);
}

void PDFDocumentWriter::bullet(std::string_view text, const std::vector<std::string>& details) {
  pages_->room(lineHeight(bodyFont) + lineHeight(smallFont));
  pages_->item(fmt::format("• {}", text), Tone::normal);
  for (const auto& detail : details)
    pages_->flow(pages_->layOut(detail, smallFont, {pages_->width() - itemIndent, itemIndent, mostLines}),
                 smallFont, Tone::muted, itemIndent);
  pages_->skip(4);
}

void PDFDocumentWriter::keyValues(const KeyValues& pairs, const std::map<std::string, Tone>& tones) {
  for (const auto& [key, value] : pairs) {
    const auto keyText = pages_->layOut(key, smallFont, {keyColumn - cellPadding, 0, 2});
    const auto valueText = pages_->layOut(value, bodyFont, {pages_->width() - keyColumn, 0, mostLines});
    const double height = std::max(heightOf(valueText, bodyFont), heightOf(keyText, smallFont)) + 2;
    pages_->room(height);
    const auto found = tones.find(key);
    const Tone tone = found != tones.end() ? found->second : Tone::normal;
    // Both stand on one line.
    const double lift = baseline(bodyFont) - baseline(smallFont);
    pages_->skip(lift);
    for (std::size_t line = 0; line < keyText.lineCount(); ++line) {
      pages_->drawLine(keyText, line, 0, smallFont, Tone::muted);
      pages_->skip(lineHeight(smallFont));
    }
    pages_->skip(-lift - heightOf(keyText, smallFont));
    for (std::size_t line = 0; line < valueText.lineCount(); ++line) {
      pages_->drawLine(valueText, line, keyColumn, bodyFont, tone);
      pages_->skip(lineHeight(bodyFont));
    }
    pages_->skip(height - heightOf(valueText, bodyFont));
  }
  pages_->skip(6);
}

void PDFDocumentWriter::table(const std::vector<Column>& columns, const std::vector<Row>& rows,
                              int maxCellLines) {
  beginTable(columns, maxCellLines);
  for (const auto& each : rows) row(each);
  endTable();
}

void PDFDocumentWriter::beginTable(std::vector<Column> columns, int maxCellLines) {
  auto& table = pages_->table.emplace();
  const double sum = std::accumulate(columns.begin(), columns.end(), 0.0,
                                     [](double part, const Column& column) { return part + column.weight; });
  for (const auto& column : columns) table.widths.push_back(pages_->width() * column.weight / sum);
  table.columns = std::move(columns);
  table.maxCellLines = std::clamp<std::size_t>(static_cast<std::size_t>(std::max(maxCellLines, 1)), 1,
                                               pages_->mostCellLines());
}

void PDFDocumentWriter::row(const Row& row) {
  auto& table = pages_->table.value();
  const auto blocks = pages_->cells(row.cells, smallFont, table.maxCellLines);
  std::size_t lines = 1;
  for (const auto& block : blocks) lines = std::max(lines, block.lineCount());
  const double height = static_cast<double>(lines) * lineHeight(smallFont) + 5;
  const double header = lineHeight(smallBoldFont) + 9;
  pages_->room(table.hasHeader ? height : header + height);
  if (!table.hasHeader) pages_->drawTableHeader();
  pages_->skip(2);
  pages_->drawCells(blocks, smallFont, row.tones);
  pages_->skip(height - 2);
  pages_->rule(0.3, hairline);
}

void PDFDocumentWriter::endTable() {
  if (!pages_->table.value().hasHeader) {
    pages_->room(lineHeight(smallBoldFont) + 9);
    pages_->drawTableHeader();
  }
  pages_->table.reset();
  pages_->skip(8);
}

void PDFDocumentWriter::code(std::string_view text, int maxLines) {
  constexpr double continuation = 20;
  const auto most = static_cast<std::size_t>(std::max(maxLines, 1));
  std::size_t drawn = 0;
  const auto draw = [&](const TextBlock& block, std::size_t line, Tone tone) {
    pages_->room(lineHeight(monoFont));
    pages_->band(lineHeight(monoFont), headerBand);
    pages_->drawLine(block, line, cellPadding / 2, monoFont, tone);
    pages_->skip(lineHeight(monoFont));
  };
  const pdf::TextFlow flow{pages_->width() - cellPadding, continuation, most};
  for (const auto source : platform::locale::lines(text)) {
    const auto block = pages_->layOut(source, monoFont, flow);
    for (std::size_t line = 0; line < block.lineCount(); ++line) {
      if (drawn++ == most) {
        draw(pages_->layOut("…", monoFont, flow), 0, Tone::muted);
        pages_->skip(5);
        return;
      }
      draw(block, line, Tone::normal);
    }
  }
  pages_->skip(5);
}

platform::Bytes PDFDocumentWriter::finish() { return pages_->finish(); }

}  // namespace orvik
