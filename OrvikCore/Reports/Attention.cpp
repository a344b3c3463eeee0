#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <vector>

#include "OrvikCore/Explore/IndexView.h"
#include "OrvikCore/Reports/PackageFiles.h"
#include "OrvikCore/Reports/ReportBlocks.h"
#include "OrvikCore/Reports/ReportText.h"

namespace orvik::reportBlocks {

namespace {

using Status = SectionSummary::Status;
using Tone = PDFDocumentWriter::Tone;
using Texts = std::vector<std::string>;

constexpr std::size_t mostSections = 60;
constexpr std::size_t mostObjects = 100;
/// What needs no privilege of its own states this.
constexpr std::string_view anyPrivilege = "(any)";

struct Findings {
  Texts privileges;
  Texts sections;
  Texts objects;
  std::size_t objectCount = 0;
  Texts files;

  bool areNone() const { return privileges.empty() && sections.empty() && objectCount == 0 && files.empty(); }
};

std::string withMessage(const std::string& name, std::string_view message) {
  return fmt::format("{}: {}", name, reportText::line(message, reportText::longestMessage));
}

std::string sectionText(const SectionSummary& section) {
  return withMessage(reportText::title(section), section.message.value_or("failed"));
}

std::string objectText(const SectionSummary& section, const ItemError& error) {
  IndexItem item;
  item.id = error.id;
  item.name = error.name;
  const auto name = reportText::line(BackupReader::Entry::displayNameOf(item));
  return withMessage(fmt::format("{} › {}", reportText::title(section), name), error.message);
}

void addRefused(Findings& found, const SectionSummary& section) {
  const auto* definition = SectionCatalog::definition(section.id);
  if (!definition || definition->privilege == anyPrivilege)
    return found.sections.push_back(sectionText(section));
  if (std::ranges::find(found.privileges, definition->privilege) == found.privileges.end())
    found.privileges.emplace_back(definition->privilege);
}

void addObjects(Findings& found, const BackupReader& reader, const SectionSummary& section) {
  if (section.status != Status::partial && section.counts.failed == 0) return;
  const auto index = IndexView::of(reader, section.id);
  if (index) {
    for (const auto& error : index->errors()) found.objects.push_back(objectText(section, error));
    found.objectCount += index->errors().size();
    return;
  }
  found.objects.push_back(
      withMessage(reportText::title(section),
                  fmt::format("{} object(s), whose names can't be read", section.counts.failed)));
  found.objectCount += static_cast<std::size_t>(std::max(section.counts.failed, 0));
}

Findings findingsOf(const BackupReader& reader) {
  Findings found;
  for (const auto& [summary, group] : reader.sections()) {
    if (summary.status == Status::notPermitted) addRefused(found, summary);
    if (summary.status == Status::failed) found.sections.push_back(sectionText(summary));
    addObjects(found, reader, summary);
  }
  for (const auto& file : packageFiles(reader).value_or(std::vector<FileRef>()))
    if (needsAttention(file)) found.files.push_back(attentionText(file));
  return found;
}

std::string counted(std::string_view title, std::size_t count) {
  return fmt::format("{} ({})", title, count);
}

}  // namespace

void attention(PDFDocumentWriter& writer, const BackupReader& reader) {
  const auto found = findingsOf(reader);
  if (found.areNone()) return;
  writer.heading("Needs attention");
  if (!found.privileges.empty()) {
    writer.subheading("Missing API privileges", Tone::warning);
    writer.paragraph("Add these privileges to the read-only API role to include the sections:");
    writer.bullets(found.privileges, Tone::normal, mostSections);
  }
  if (!found.sections.empty()) {
    writer.subheading("Sections that could not be read", Tone::bad);
    writer.bullets(found.sections, Tone::bad, mostSections);
  }
  if (found.objectCount != 0) {
    writer.subheading(counted("Objects that could not be read", found.objectCount), Tone::warning);
    writer.bullets(found.objects, Tone::normal, mostObjects);
  }
  if (!found.files.empty()) {
    writer.subheading(counted("Package files", found.files.size()), Tone::warning);
    writer.bullets(found.files, Tone::normal, mostObjects);
  }
}

}  // namespace orvik::reportBlocks
