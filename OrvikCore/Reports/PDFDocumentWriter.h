#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Bytes.h"
#include "Platform/Date.h"
#include "Platform/PDF/Canvas.h"

namespace orvik {

/// Draws a document of flowing blocks onto pages, in memory: a cover, headings, paragraphs, bullets,
/// key-value blocks, tables and code. Knows nothing of backups.
///
/// Lengths are points (1/72 inch). Blocks are drawn in the order of the calls; one that doesn't fit goes to
/// the next page, and a heading never stays behind alone. Headings are the document's outline. Texts are
/// anybody's: what is no UTF-8 or controls is replaced, and what is too long is broken or cut. The same calls
/// give the same bytes. For one thread. Every operation throws `platform::Error` when the machine has no
/// fonts.
class PDFDocumentWriter {
 public:
  using Size = platform::pdf::Size;

  enum class Tone { normal, muted, good, warning, bad, accent };

  struct Column {
    std::string title;
    double weight = 1;  ///< a share of the table's width
    bool alignRight = false;
  };

  /// Cells that are missing are empty, and those beyond the columns are not drawn.
  struct Row {
    std::vector<std::string> cells;
    std::map<std::size_t, Tone> tones;  ///< by the position of the column
  };

  using KeyValues = std::vector<std::pair<std::string, std::string>>;

  static constexpr Size a4{595.28, 841.89};
  static constexpr double margin = 48;
  static constexpr int usualCellLines = 4;

  /// Begins the first page. `title` heads every page, `footer` stands below it; both are cut to one line.
  PDFDocumentWriter(std::string title, std::string author, std::string footer, Size pageSize,
                    platform::Date created);
  ~PDFDocumentWriter();
  PDFDocumentWriter(const PDFDocumentWriter&) = delete;
  PDFDocumentWriter& operator=(const PDFDocumentWriter&) = delete;

  void cover(std::string_view title, std::string_view subtitle, const std::optional<std::string>& note,
             Tone noteTone = Tone::accent);
  void heading(std::string_view text);
  void subheading(std::string_view text, Tone tone = Tone::normal);
  /// A line in bold that stays with the block below it and is no part of the outline.
  void label(std::string_view text, Tone tone = Tone::normal);
  void paragraph(std::string_view text, Tone tone = Tone::normal, bool small = false);
  /// With more items than `limit` a last line tells how many are left out.
  void bullets(const std::vector<std::string>& items, Tone tone = Tone::normal,
               std::optional<std::size_t> limit = std::nullopt);
  /// An item of a list with small lines below it that tell more of it.
  void bullet(std::string_view text, const std::vector<std::string>& details);
  void keyValues(const KeyValues& pairs, const std::map<std::string, Tone>& tones = {});
  void table(const std::vector<Column>& columns, const std::vector<Row>& rows,
             int maxCellLines = usualCellLines);
  /// The same for rows that come one after another: `beginTable`, `row` for each, `endTable`.
  void beginTable(std::vector<Column> columns, int maxCellLines = usualCellLines);
  void row(const Row& row);
  void endTable();
  /// A text of several lines, kept as they are; cut behind `maxLines` lines.
  void code(std::string_view text, int maxLines);

  /// The document. Nothing else may be called behind it.
  platform::Bytes finish();

 private:
  class Pages;
  class Table;

  void item(std::string_view text, Tone tone);

  std::unique_ptr<Pages> pages_;
  std::unique_ptr<Table> table_;
};

}  // namespace orvik
