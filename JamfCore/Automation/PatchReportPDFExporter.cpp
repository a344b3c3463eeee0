#include "JamfCore/Automation/PatchReportPDFExporter.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <array>
#include <chrono>
#include <string_view>

#include "Platform/Date.h"
#include "Platform/Locale/LocalTime.h"
#include "Platform/Locale/Text.h"
#include "Platform/PDF/Canvas.h"

namespace jamf {

namespace {

using platform::pdf::Canvas;
using platform::pdf::Color;
using platform::pdf::Face;
using platform::pdf::Font;

constexpr platform::pdf::Size page{841.89, 595.28};  // A4, landscape
constexpr double margin = 36;
constexpr double bottom = page.height - margin;

constexpr Font titleFont{Face::printBold, 16};
constexpr Font summaryFont{Face::print, 10};
constexpr Font headingFont{Face::printBold, 10};
constexpr Font cellFont{Face::print, 9};

// Of a line of text from the one above it, baselines included.
constexpr double titleHeight = 20;
constexpr double summaryHeight = 18;
constexpr double rowHeight = 14;
constexpr double tableGap = 8;
constexpr double descent = 4;      ///< from a row's baseline to its lower edge
constexpr double cellPadding = 6;  ///< between a text and the next column
constexpr std::size_t titleLines = 3;

constexpr Color ink{0.1, 0.1, 0.12};
constexpr Color strongRule{0.35, 0.37, 0.4};
constexpr Color faintRule{0.85, 0.86, 0.88};

struct Column {
  std::string_view heading;
  double width;
  std::optional<std::string> PatchReport::*field;
};

constexpr std::array<Column, 8> columns{{{"Computer Name", 152, &PatchReport::computerName},
                                         {"Version", 70, &PatchReport::version},
                                         {"Username", 100, &PatchReport::username},
                                         {"Operating System", 96, &PatchReport::operatingSystemVersion},
                                         {"Last Check-In", 92, &PatchReport::lastCheckIn},
                                         {"Building", 96, &PatchReport::buildingName},
                                         {"Department", 96, &PatchReport::departmentName},
                                         {"Site", 66, &PatchReport::siteName}}};

/// "2026-07-20 13:56", in the machine's zone and whatever locale.
std::string shownTime(const std::string& text) {
  const auto date = platform::parseZonedISO8601(text);
  if (!date) return text;
  const auto clock = std::chrono::floor<std::chrono::seconds>(platform::locale::localTime(*date));
  return fmt::format("{:%Y-%m-%d %H:%M}", fmt::gmtime(clock.time_since_epoch().count()));
}

std::string inOneLine(std::string_view text) {
  std::string joined;
  for (const auto line : platform::locale::lines(text)) {
    if (!joined.empty()) joined += ' ';
    joined += line;
  }
  return joined;
}

/// Pages that are filled from the top.
class Pages {
 public:
  explicit Pages(const std::string& title)
      : canvas_(page, {.title = title, .author = "", .creator = "Orvik", .created = platform::now()}) {
    canvas_.beginPage();
  }

  /// A text over the whole width.
  void paragraph(std::string_view text, Font font, double lineHeight, std::size_t maxLines) {
    const auto block =
        canvas_.layOut(inOneLine(text), font, {.width = page.width - 2 * margin, .maxLines = maxLines});
    for (std::size_t line = 0; line < block.lineCount(); ++line) {
      y_ += lineHeight;
      canvas_.draw(block, line, margin, y_ - descent, ink);
    }
  }

  /// Leaves room above the table.
  void space(double points) { y_ += points; }

  void beginTable() {
    row(headingFont, [](const Column& column) { return std::string(column.heading); });
    rule(0.8, strongRule);
  }

  void add(const PatchReport& report) {
    if (y_ + rowHeight > bottom) {
      canvas_.endPage();
      canvas_.beginPage();
      y_ = margin;
      beginTable();
    }
    row(cellFont, [&](const Column& column) {
      const auto& text = report.*column.field;
      if (!text) return std::string();
      return column.field == &PatchReport::lastCheckIn ? shownTime(*text) : *text;
    });
    rule(0.3, faintRule);
  }

  platform::Bytes finish() {
    canvas_.endPage();
    return canvas_.finish();
  }

 private:
  template <class TextOf>
  void row(Font font, const TextOf& textOf) {
    y_ += rowHeight;
    double x = margin;
    for (const auto& column : columns) {
      if (const std::string text = inOneLine(textOf(column)); !text.empty())
        canvas_.draw(canvas_.layOut(text, font, {.width = column.width - cellPadding, .maxLines = 1}), 0, x,
                     y_ - descent, ink);
      x += column.width;
    }
  }

  void rule(double width, Color color) {
    canvas_.strokeLine(margin, y_, page.width - margin, y_, width, color);
  }

  Canvas canvas_;
  double y_ = margin;  ///< the lower edge of what stands on the page
};

}  // namespace

platform::Bytes PatchReportPDFExporter::pdf(const std::string& title,
                                            const std::optional<PatchSummary>& summary,
                                            const std::vector<PatchReport>& reports) {
  Pages pages(title);
  pages.paragraph(title, titleFont, titleHeight, titleLines);
  if (summary)
    pages.paragraph(fmt::format("Latest version {}, {} up to date, {} out of date", summary->latestVersion,
                                summary->upToDate, summary->outOfDate),
                    summaryFont, summaryHeight, 1);
  pages.space(tableGap);
  pages.beginTable();
  for (const auto& report : reports) pages.add(report);
  return pages.finish();
}

}  // namespace jamf
