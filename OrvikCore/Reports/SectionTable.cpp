#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <string>
#include <vector>

#include "OrvikCore/Reports/ReportBlocks.h"
#include "OrvikCore/Reports/ReportText.h"
#include "Platform/JSON/Codable.h"

namespace orvik::reportBlocks {

namespace {

using Status = SectionSummary::Status;
using Tone = PDFDocumentWriter::Tone;

std::string_view statusText(Status status, Mode mode) {
  switch (status) {
    case Status::complete:
      return mode == Mode::simulation ? "Readable" : "Complete";
    case Status::partial:
      return "Partly readable";
    case Status::notPermitted:
      return "No privilege";
    case Status::notAvailable:
      return "Not on this Jamf Pro";
    case Status::failed:
      return "Failed";
    case Status::disabled:
      break;
  }
  return "Switched off";
}

Tone toneOf(Status status) {
  switch (status) {
    case Status::complete:
      return Tone::good;
    case Status::partial:
    case Status::notPermitted:
      return Tone::warning;
    case Status::failed:
      return Tone::bad;
    default:
      return Tone::muted;
  }
}

/// Sections that were not read have no counts.
std::string countText(const SectionSummary& section, int count) {
  return section.index ? std::to_string(count) : "–";
}

PDFDocumentWriter::Row rowOf(const SectionSummary& section, Mode mode) {
  const auto& counts = section.counts;
  PDFDocumentWriter::Row row{{reportText::title(section), std::string(statusText(section.status, mode))}, {}};
  for (const int count : {counts.total, counts.new_, counts.changed, counts.removed, counts.failed})
    row.cells.push_back(countText(section, count));
  row.tones[1] = toneOf(section.status);
  if (counts.failed != 0) row.tones[6] = Tone::warning;
  return row;
}

const std::vector<PDFDocumentWriter::Column>& columns() {
  static const std::vector<PDFDocumentWriter::Column> columns{
      {"Section", 4.4},       {"Status", 2.2},        {"Objects", 1, true},   {"New", 0.9, true},
      {"Changed", 1.1, true}, {"Removed", 1.1, true}, {"Not read", 1.1, true}};
  return columns;
}

}  // namespace

bool isDevices(std::string_view sectionID) {
  const auto* definition = SectionCatalog::definition(sectionID);
  return definition && std::holds_alternative<SectionDefinition::Devices>(definition->kind);
}

void sectionTable(PDFDocumentWriter& writer, const BackupReader& reader, Mode mode) {
  const auto sections = reader.sections();
  writer.heading(mode == Mode::simulation ? "What a backup would read" : "Sections");
  bool showsDevices = false;
  for (const auto& [group, title] : enumTexts(SectionDefinition::Group())) {
    std::vector<PDFDocumentWriter::Row> rows;
    for (const auto& section : sections) {
      if (section.group != group || section.summary.status == Status::disabled) continue;
      rows.push_back(rowOf(section.summary, mode));
      showsDevices = showsDevices || isDevices(section.summary.id);
    }
    if (rows.empty()) continue;
    writer.subheading(title);
    writer.table(columns(), rows);
  }

  std::vector<std::string> disabled;
  for (const auto& section : sections)
    if (section.summary.status == Status::disabled) disabled.push_back(reportText::title(section.summary));
  if (!disabled.empty())
    writer.paragraph(fmt::format("Switched off in the settings: {}", fmt::join(disabled, ", ")), Tone::muted);
  if (mode == Mode::simulation && showsDevices)
    writer.paragraph(
        "Devices: “Changed” counts devices whose inventory was updated since the last backup; a backup reads "
        "them again. Their details were not read during the simulation.",
        Tone::muted, true);
}

}  // namespace orvik::reportBlocks
