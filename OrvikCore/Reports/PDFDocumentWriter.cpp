#include "OrvikCore/Reports/PDFDocumentWriter.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

#include "OrvikCore/Reports/PDFPages.h"
#include "Platform/Locale/Text.h"

namespace orvik {

using namespace pdfLook;
using pdf::TextBlock;

namespace {

constexpr Font bodyFont{Face::regular, 9.5};
constexpr Font boldFont{Face::bold, 9.5};
constexpr Font smallBoldFont{Face::bold, 8};
constexpr Font monoFont{Face::mono, 7.5};
constexpr Font coverFont{Face::bold, 22};
constexpr Font headingFont{Face::bold, 13};
constexpr Font subheadingFont{Face::bold, 10.5};

constexpr Color headerBand{0.94, 0.94, 0.95};
constexpr Color hairline{0.84, 0.84, 0.86};

constexpr double keyColumn = 150;
constexpr double itemIndent = 10;

}  // namespace

/// A table that is being drawn: its header stands on every page that has rows of it.
class PDFDocumentWriter::Table {
 public:
  Table(Pages& pages, std::vector<Column> columns, int maxCellLines)
      : pages_(pages),
        columns_(std::move(columns)),
        maxCellLines_(std::clamp<std::size_t>(static_cast<std::size_t>(std::max(maxCellLines, 1)), 1,
                                              mostCellLines())) {
    const double sum =
        std::accumulate(columns_.begin(), columns_.end(), 0.0,
                        [](double part, const Column& column) { return part + column.weight; });
    for (const auto& column : columns_) widths_.push_back(pages_.width() * column.weight / sum);
  }

  void row(const Row& row) {
    const auto blocks = cells(row.cells, smallFont, maxCellLines_);
    std::size_t lines = 1;
    for (const auto& block : blocks) lines = std::max(lines, block.lineCount());
    const double height = static_cast<double>(lines) * lineHeight(smallFont) + 5;
    pages_.room(hasHeader() ? height : headerHeight() + height);
    if (!hasHeader()) drawHeader();
    pages_.skip(2);
    draw(blocks, smallFont, row.tones);
    pages_.skip(height - 2);
    pages_.rule(0.3, hairline);
  }

  void end() {
    if (headerPage_ == 0) {
      pages_.room(headerHeight());
      drawHeader();
    }
    pages_.skip(8);
  }

 private:
  static double bandHeight() { return lineHeight(smallBoldFont) + 6; }
  static double headerHeight() { return bandHeight() + 3; }
  /// As many lines as a page below the header has room for.
  std::size_t mostCellLines() const {
    return static_cast<std::size_t>((pages_.height() - headerHeight() - 5) / lineHeight(smallFont));
  }
  bool hasHeader() const { return headerPage_ == pages_.page(); }

  std::vector<TextBlock> cells(const std::vector<std::string>& texts, Font font, std::size_t maxLines) {
    std::vector<TextBlock> blocks;
    for (std::size_t column = 0; column < columns_.size(); ++column)
      blocks.push_back(pages_.layOut(column < texts.size() ? texts[column] : std::string_view(), font,
                                     {widths_[column] - cellPadding, 0, maxLines}));
    return blocks;
  }

  void draw(const std::vector<TextBlock>& blocks, Font font, const std::map<std::size_t, Tone>& tones) {
    double left = 0;
    for (std::size_t column = 0; column < blocks.size(); ++column) {
      const auto& block = blocks[column];
      const auto found = tones.find(column);
      const Tone tone = found != tones.end() ? found->second : Tone::normal;
      for (std::size_t line = 0; line < block.lineCount(); ++line) {
        const double indent = columns_[column].alignRight
                                  ? left + widths_[column] - cellPadding / 2 - block.lineWidth(line)
                                  : left + cellPadding / 2;
        pages_.drawLine(block, line, indent, font, tone);
        pages_.skip(lineHeight(font));
      }
      pages_.skip(-heightOf(block, font));
      left += widths_[column];
    }
  }

  void drawHeader() {
    std::vector<std::string> titles;
    for (const auto& column : columns_) titles.push_back(column.title);
    pages_.band(bandHeight(), headerBand);
    pages_.skip(3);
    draw(cells(titles, smallBoldFont, 1), smallBoldFont, {});
    pages_.skip(headerHeight() - 3);
    headerPage_ = pages_.page();
  }

  Pages& pages_;
  std::vector<Column> columns_;
  std::vector<double> widths_;
  std::size_t maxCellLines_;
  int headerPage_ = 0;
};

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
  pages_->addHeading(text, 2, boldFont, tone);
}

void PDFDocumentWriter::paragraph(std::string_view text, Tone tone, bool small) {
  const Font font = small ? smallFont : bodyFont;
  pages_->flow(pages_->layOut(text, font), font, tone);
  pages_->skip(5);
}

void PDFDocumentWriter::item(std::string_view text, Tone tone) {
  pages_->flow(pages_->layOut(text, bodyFont, {pages_->width(), itemIndent, mostLines}), bodyFont, tone);
}

void PDFDocumentWriter::bullets(const std::vector<std::string>& items, Tone tone,
                                std::optional<std::size_t> limit) {
  if (items.empty()) return;
  const std::size_t shown = std::min(items.size(), limit.value_or(items.size()));
  for (std::size_t i = 0; i < shown; ++i) {
    if (i > 0) pages_->skip(1);
    item("• " + items[i], tone);
  }
  if (shown < items.size()) {
    pages_->skip(1);
    item(fmt::format("… and {} more", items.size() - shown), Tone::muted);
  }
  pages_->skip(4);
}

void PDFDocumentWriter::bullet(std::string_view text, const std::vector<std::string>& details) {
  pages_->room(lineHeight(bodyFont) + lineHeight(smallFont));
  item(fmt::format("• {}", text), Tone::normal);
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
  table_ = std::make_unique<Table>(*pages_, std::move(columns), maxCellLines);
}

void PDFDocumentWriter::row(const Row& row) { table_->row(row); }

void PDFDocumentWriter::endTable() {
  table_->end();
  table_.reset();
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
