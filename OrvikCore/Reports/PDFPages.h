#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "OrvikCore/Reports/PDFDocumentWriter.h"
#include "Platform/PDF/Canvas.h"

/// How documents look, for the sources of this folder's writer; nobody else includes this.
namespace orvik::pdfLook {

namespace pdf = platform::pdf;
using pdf::Color;
using pdf::Face;
using pdf::Font;
using Tone = PDFDocumentWriter::Tone;

inline constexpr Font smallFont{Face::regular, 8};
inline constexpr double cellPadding = 8;  ///< both sides together
inline constexpr double ruleGap = 1.5;    ///< between descenders and a rule

/// A text of a block that is longer is no text for a report's reader, and is cut.
inline constexpr std::size_t mostLines = 40;

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

constexpr double lineHeight(Font font) { return font.size * 1.18; }
/// From the top of a line to where its letters stand.
constexpr double baseline(Font font) { return lineHeight(font) * 0.8; }

inline double heightOf(const pdf::TextBlock& block, Font font) {
  return static_cast<double>(block.lineCount()) * lineHeight(font);
}

}  // namespace orvik::pdfLook

namespace orvik {

/// The pages of a document with their heads and footers, and where on the present one the next block begins.
class PDFDocumentWriter::Pages {
 public:
  using Font = platform::pdf::Font;
  using Color = platform::pdf::Color;
  using TextBlock = platform::pdf::TextBlock;

  Pages(std::string title, std::string author, std::string footer, Size size, platform::Date created);

  double width() const { return size_.width - 2 * margin; }
  /// Of the body of an empty page.
  double height() const { return bottom() - margin; }
  /// The number of the present page.
  int page() const { return page_; }

  TextBlock layOut(std::string_view text, Font font, platform::pdf::TextFlow flow) {
    return canvas_.layOut(text, font, flow);
  }
  TextBlock layOut(std::string_view text, Font font) {
    return layOut(text, font, {width(), 0, pdfLook::mostLines});
  }

  /// Makes room for what is drawn next and must not be torn, with the headings above it.
  void room(double height);
  /// Moves down, or up by less than nothing.
  void skip(double height) { y_ += height; }

  /// A heading waits for the block below it, so that it never stays behind alone. Levels 0 and 1 are the
  /// outline.
  void addHeading(std::string_view text, int level, Font font, Tone tone);

  /// Draws one line at the present place, `indent` from the margin.
  void drawLine(const TextBlock& block, std::size_t line, double indent, Font font, Tone tone);
  /// Draws all lines from the present place on, and on further pages where they don't fit.
  void flow(const TextBlock& block, Font font, Tone tone, double indent = 0);
  void rule(double width, Color color, double gap = 0);
  void band(double height, Color color);

  platform::Bytes finish();

 private:
  struct Heading {
    std::string text;
    int level = 0;
    Font font;
    Tone tone;
    TextBlock block;
  };

  static double heightOfHeading(const Heading& heading);

  double bottom() const;
  bool fits(double height) const { return y_ + height <= bottom(); }
  double headingsHeight() const;
  void newPage();
  void drawHeadings();
  void drawFooter();

  platform::pdf::Canvas canvas_;
  std::string title_;
  std::string footer_;
  Size size_;
  double y_ = 0;
  int page_ = 0;
  std::vector<Heading> headings_;
};

}  // namespace orvik
