#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "Platform/Bytes.h"
#include "Platform/Date.h"

/// A door to drawing PDF documents (ISO 32000-1) with laid-out text in any script, on Cairo and Pango.
///
/// Lengths are points (1/72 inch), positions count from the upper left corner of the page. Not for more than
/// one thread; different canvases may be used by different threads. Operations throw `platform::Error`.
namespace platform::pdf {

struct Size {
  double width = 0;
  double height = 0;
};

/// sRGB, each from 0 to 1.
struct Color {
  double red = 0;
  double green = 0;
  double blue = 0;
};

/// The user interface's font, regular and bold, one of even width, and one whose letters are as wide as
/// Helvetica's, for tables on paper. Characters that a font lacks come from any other that is installed.
enum class Face { regular, bold, mono, print, printBold };

struct Font {
  Face face = Face::regular;
  double size = 10;
};

/// What readers show of a document.
struct Metadata {
  std::string title;
  std::string author;
  std::string creator;
  Date created;  ///< whole seconds count
};

/// A text broken into lines, for the canvas that laid it out.
class TextBlock {
 public:
  TextBlock(TextBlock&&) noexcept;
  TextBlock& operator=(TextBlock&&) noexcept;
  ~TextBlock();

  std::size_t lineCount() const noexcept;
  double lineWidth(std::size_t line) const noexcept;
  /// Whether text was left out behind the last line.
  bool isCut() const noexcept;

 private:
  friend class Canvas;
  struct Layout;
  explicit TextBlock(std::unique_ptr<Layout> layout);

  std::unique_ptr<Layout> layout_;
};

/// How a text is broken into lines.
struct TextFlow {
  double width = 0;               ///< of a line; words that are wider are broken
  double continuationIndent = 0;  ///< of all lines but the first; part of `width`
  std::size_t maxLines = 0;       ///< 0: as many as there are; else what is cut ends in "…"
};

/// Pages that are drawn one after another into memory.
class Canvas {
 public:
  /// Throws when the machine has no fonts.
  Canvas(Size page, const Metadata& metadata);
  ~Canvas();
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;

  void beginPage();
  void endPage();

  void fillRectangle(double x, double y, double width, double height, Color color);
  void strokeLine(double fromX, double fromY, double toX, double toY, double width, Color color);

  /// Lays a text out; line ends begin a new line. What is no UTF-8 or controls is replaced by U+FFFD, tabs
  /// are blanks.
  TextBlock layOut(std::string_view text, Font font, const TextFlow& flow);
  /// Draws one line with its left end at `x` and its baseline at `y`.
  void draw(const TextBlock& block, std::size_t line, double x, double baseline, Color color);
  /// A bookmark of the present page. `level` 0 is outermost; a deeper one belongs to the last one above it.
  void addOutline(std::string_view text, int level, double y);

  /// Ends the document. Nothing else may be called behind it.
  Bytes finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace platform::pdf
