#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <string>

#include "OrvikCore/Reports/BackupLocation.h"
#include "OrvikCore/Reports/BackupReports.h"
#include "OrvikCore/Reports/PDFDocumentWriter.h"
#include "OrvikCore/Reports/ReportBlocks.h"
#include "OrvikCore/Reports/ReportText.h"
#include "Platform/Locale/Text.h"

namespace orvik {

namespace {

using Tone = PDFDocumentWriter::Tone;
using reportText::dateAndTime;
using reportText::line;

bool isComplete(const BackupManifest& manifest) {
  return manifest.status == BackupManifest::Status::complete;
}

/// Of the software that makes the report, and of that which made the backup where it was another.
std::string software(const BackupManifest& manifest, const ReportContext& context) {
  auto text = fmt::format("{}, backup format v{}", line(context.orvikVersion), manifest.formatVersion);
  if (context.orvikVersion != manifest.orvikVersion)
    text += fmt::format(" · backup made by {}", line(manifest.orvikVersion));
  return text;
}

void summaryBlock(PDFDocumentWriter& writer, const BackupReader& reader, const ReportContext& context) {
  const auto& manifest = reader.manifest;
  const auto& totals = manifest.totals;
  const auto& folder = reader.repository.instanceDirectory;
  PDFDocumentWriter::KeyValues pairs{
      {"Status", isComplete(manifest) ? "Complete" : "Complete with warnings"},
      {"Backup", line(manifest.backupID)},
      {"Jamf Pro", reportText::server(manifest)},
      {"Started", dateAndTime(manifest.startedAt)},
      {"Finished", dateAndTime(manifest.finishedAt)},
      {"Duration", reportText::duration(manifest)},
      {"Compared with", line(manifest.parentBackupID.value_or("— (first backup: everything is new)"))},
      {"Objects", fmt::format("{} in total · {} new or changed · {} removed", totals.objects,
                              totals.newOrChangedObjects, reportBlocks::removedObjects(manifest))},
      {"Package files", fmt::format("{} in backup, {} downloaded ({})", totals.files, totals.filesDownloaded,
                                    platform::locale::byteCount(totals.bytesDownloaded))},
      {"API requests", std::to_string(totals.requests)},
      {"Backup folder", fmt::format("{} · {}", line(BackupLocation::describe(folder)),
                                    line(folder.string(), reportText::longestMessage))},
      {"Run by", context.runBy()},
      {"Orvik", software(manifest, context)}};
  if (context.retention && context.retention->removedAnything())
    pairs.emplace_back("Retention", fmt::format("Removed {} old backup(s), freed {}",
                                                context.retention->removedBackups.size(),
                                                platform::locale::byteCount(context.retention->bytesFreed)));
  writer.keyValues(pairs, {{"Status", isComplete(manifest) ? Tone::good : Tone::warning}});
}

}  // namespace

namespace reportBlocks {

std::int64_t removedObjects(const BackupManifest& manifest) {
  return std::accumulate(
      manifest.sections.begin(), manifest.sections.end(), std::int64_t{0},
      [](std::int64_t sum, const SectionSummary& section) { return sum + section.counts.removed; });
}

void notes(PDFDocumentWriter& writer, const ReportContext& context) {
  if (context.notes.empty()) return;
  std::vector<std::string> texts;
  for (const auto& note : context.notes) texts.push_back(line(note, reportText::longestMessage));
  writer.heading("Notes");
  writer.bullets(texts);
}

}  // namespace reportBlocks

platform::Bytes BackupReports::backupReport(const BackupReader& reader, const ReportContext& context) {
  const auto& manifest = reader.manifest;
  PDFDocumentWriter writer("Orvik backup report – " + line(manifest.backupID), context.user,
                           context.footer(manifest), PDFDocumentWriter::a4, context.created);
  writer.cover("Backup report",
               fmt::format("{} · {}", line(manifest.instance.name), dateAndTime(manifest.startedAt)),
               isComplete(manifest) ? "Every enabled section was backed up."
                                    : "Finished with warnings — see “Needs attention”.",
               isComplete(manifest) ? Tone::accent : Tone::warning);
  summaryBlock(writer, reader, context);
  reportBlocks::sectionTable(writer, reader, reportBlocks::Mode::backup);
  reportBlocks::attention(writer, reader);
  reportBlocks::changes(writer, reader, reportBlocks::Mode::backup);
  reportBlocks::files(writer, reader);
  reportBlocks::notes(writer, context);
  return writer.finish();
}

}  // namespace orvik
