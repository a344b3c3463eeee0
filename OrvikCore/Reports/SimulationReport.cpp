#include <fmt/format.h>

#include <algorithm>
#include <string>

#include "OrvikCore/Reports/BackupReports.h"
#include "OrvikCore/Reports/PDFDocumentWriter.h"
#include "OrvikCore/Reports/PackageFiles.h"
#include "OrvikCore/Reports/ReportBlocks.h"
#include "OrvikCore/Reports/ReportText.h"
#include "Platform/Locale/Text.h"

namespace orvik {

namespace {

using Tone = PDFDocumentWriter::Tone;
using reportText::dateAndTime;
using reportText::line;

/// Files that a simulation leaves are skipped; so are all where nobody wants them.
std::ptrdiff_t filesToDownload(const BackupReader& reader) {
  if (!reader.manifest.options.downloadFiles) return 0;
  const auto files = reportBlocks::packageFiles(reader);
  return files ? std::ranges::count(*files, FileRef::Status::skipped, &FileRef::status) : 0;
}

void summaryBlock(PDFDocumentWriter& writer, const BackupReader& reader, std::int64_t bytesToDownload,
                  const ReportContext& context) {
  const auto& manifest = reader.manifest;
  const auto& totals = manifest.totals;
  const auto refused =
      std::ranges::count(manifest.sections, SectionSummary::Status::notPermitted, &SectionSummary::status);
  writer.keyValues(
      {{"Jamf Pro", reportText::server(manifest)},
       {"Checked", dateAndTime(manifest.startedAt)},
       {"Duration", reportText::duration(manifest)},
       {"Compared with", line(manifest.parentBackupID.value_or("— (no backup yet)"))},
       {"Would store", fmt::format("{} objects · {} new or changed · {} removed", totals.objects,
                                   totals.newOrChangedObjects, reportBlocks::removedObjects(manifest))},
       {"Would download", fmt::format("{} package file(s), {}", filesToDownload(reader),
                                      platform::locale::byteCount(bytesToDownload))},
       {"Sections without privilege", std::to_string(refused)},
       {"API requests used", std::to_string(totals.requests)},
       {"Run by", context.runBy()}},
      {{"Sections without privilege", refused == 0 ? Tone::normal : Tone::warning}});
}

}  // namespace

platform::Bytes BackupReports::simulationReport(const BackupReader& reader, std::int64_t bytesToDownload,
                                                const ReportContext& context) {
  using reportBlocks::Mode;
  const auto& manifest = reader.manifest;
  const bool succeeds = manifest.status == BackupManifest::Status::complete;
  PDFDocumentWriter writer("Orvik simulation – " + line(manifest.instance.name), context.user,
                           context.footer(manifest), PDFDocumentWriter::a4, context.created);
  writer.cover("Simulation report",
               fmt::format("{} · {}", line(manifest.instance.name), dateAndTime(manifest.startedAt)),
               "A check run: Jamf Pro was read, nothing was written to the backup folder and no files were "
               "downloaded.");
  writer.paragraph(succeeds ? "A backup would succeed." : "A backup would finish with warnings.",
                   succeeds ? Tone::good : Tone::warning);
  summaryBlock(writer, reader, bytesToDownload, context);
  reportBlocks::sectionTable(writer, reader, Mode::simulation);
  reportBlocks::attention(writer, reader);
  reportBlocks::changes(writer, reader, Mode::simulation);
  reportBlocks::notes(writer, context);
  return writer.finish();
}

}  // namespace orvik
