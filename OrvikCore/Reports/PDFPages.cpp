#include "OrvikCore/Reports/PDFPages.h"

#include <fmt/format.h>

#include <numeric>
#include <utility>

namespace orvik {

using namespace pdfLook;

namespace {

constexpr double footerSpace = 14;
constexpr double pageRule = 26;  // from the page's top
constexpr std::size_t mostHeadingLines = 6;
constexpr int labelLevel = 2;  // of headings; those above are the outline

double spaceAbove(int level) { return level == 0 ? 10 : 4; }
double spaceBelow(int level) { return level == 0 ? 6 : 3; }
/// What must fit below a heading; else it goes to the next page at once.
double neededBelow(int level) { return level == 0 ? 90 : 60; }

}  // namespace

PDFDocumentWriter::Pages::Pages(std::string title, std::string author, std::string footer, Size size,
                                platform::Date created)
    : canvas_(size, {title, std::move(author), "Orvik", created}),
      title_(std::move(title)),
      footer_(std::move(footer)),
      size_(size) {
  newPage();
}

double PDFDocumentWriter::Pages::bottom() const { return size_.height - margin - footerSpace; }

double PDFDocumentWriter::Pages::heightOfHeading(const Heading& heading) {
  return spaceAbove(heading.level) + heightOf(heading.block, heading.font) + spaceBelow(heading.level);
}

double PDFDocumentWriter::Pages::headingsHeight() const {
  return std::accumulate(headings_.begin(), headings_.end(), 0.0,
                         [](double sum, const Heading& heading) { return sum + heightOfHeading(heading); });
}

void PDFDocumentWriter::Pages::room(double height) {
  if (y_ > margin && !fits(headingsHeight() + height)) newPage();
  drawHeadings();
}

void PDFDocumentWriter::Pages::drawLine(const TextBlock& block, std::size_t line, double indent, Font font,
                                        Tone tone) {
  canvas_.draw(block, line, margin + indent, y_ + baseline(font), colorOf(tone));
}

void PDFDocumentWriter::Pages::flow(const TextBlock& block, Font font, Tone tone, double indent) {
  for (std::size_t line = 0; line < block.lineCount(); ++line) {
    room(lineHeight(font));
    drawLine(block, line, indent, font, tone);
    skip(lineHeight(font));
  }
}

void PDFDocumentWriter::Pages::rule(double width, Color color, double gap) {
  canvas_.strokeLine(margin, y_ + gap, size_.width - margin, y_ + gap, width, color);
}

void PDFDocumentWriter::Pages::band(double height, Color color) {
  canvas_.fillRectangle(margin, y_, width(), height, color);
}

void PDFDocumentWriter::Pages::newPage() {
  if (page_ > 0) {
    drawFooter();
    canvas_.endPage();
  }
  canvas_.beginPage();
  ++page_;
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
  const double needed = heightOfHeading(heading) + neededBelow(level);
  if (y_ > margin && !fits(headingsHeight() + needed)) newPage();
  headings_.push_back(std::move(heading));
}

void PDFDocumentWriter::Pages::drawHeadings() {
  for (const auto& heading : std::exchange(headings_, {})) {
    y_ += spaceAbove(heading.level);
    if (heading.level < labelLevel) canvas_.addOutline(heading.text, heading.level, y_);
    for (std::size_t line = 0; line < heading.block.lineCount(); ++line) {
      drawLine(heading.block, line, 0, heading.font, heading.tone);
      y_ += lineHeight(heading.font);
    }
    if (heading.level == 0) rule(0.4, colorOf(Tone::muted), ruleGap);
    y_ += spaceBelow(heading.level);
  }
}

platform::Bytes PDFDocumentWriter::Pages::finish() {
  drawHeadings();
  drawFooter();
  canvas_.endPage();
  return canvas_.finish();
}

}  // namespace orvik
