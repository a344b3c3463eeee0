#include "OrvikCore/Reports/PackageFiles.h"

#include <fmt/format.h>

#include <utility>

#include "OrvikCore/Explore/NaturalOrder.h"
#include "OrvikCore/Reports/ReportBlocks.h"
#include "OrvikCore/Reports/ReportText.h"
#include "Platform/Locale/Text.h"

namespace orvik::reportBlocks {

namespace {

using Status = FileRef::Status;
using Tone = PDFDocumentWriter::Tone;

constexpr std::size_t mostRows = 500;

PDFDocumentWriter::Row rowOf(const FileRef& file) {
  PDFDocumentWriter::Row row;
  row.cells = {reportText::line(file.fileName), file.size ? platform::locale::byteCount(*file.size) : "–",
               std::string(platform::json::textOf(file.status)), "–"};
  if (file.status == Status::failed || file.status == Status::unavailable) row.tones[2] = Tone::warning;
  if (!file.jamfHashVerified) return row;
  row.cells[3] = isMismatch(file) ? "MISMATCH" : "verified";
  row.tones[3] = isMismatch(file) ? Tone::bad : Tone::good;
  return row;
}

}  // namespace

std::optional<std::vector<FileRef>> packageFiles(const BackupReader& reader) {
  auto index = reader.index(filesSection);
  if (!index) return std::nullopt;
  std::vector<FileRef> files;
  for (auto& item : index->items)
    if (item.file) files.push_back(std::move(*item.file));
  return inNaturalOrder(std::move(files), &FileRef::fileName);
}

bool isMismatch(const FileRef& file) { return file.jamfHashVerified == false; }

bool needsAttention(const FileRef& file) {
  return file.status == Status::failed || file.status == Status::unavailable || isMismatch(file);
}

std::string attentionText(const FileRef& file) {
  const auto name = reportText::line(file.fileName);
  if (isMismatch(file)) return name + ": content differs from the hash Jamf Pro records";
  const auto status = platform::json::textOf(file.status);
  return fmt::format(
      "{}: {}", name,
      reportText::line(file.message.value_or(std::string(status)), reportText::longestMessage));
}

void files(PDFDocumentWriter& writer, const BackupReader& reader) {
  const auto found = packageFiles(reader);
  if (!found || found->empty()) return;
  writer.heading("Package files");
  writer.beginTable({{"File", 5.4}, {"Size", 1.3, true}, {"Status", 1.6}, {"Check", 1.5}});
  for (std::size_t i = 0; i < found->size() && i < mostRows; ++i) writer.row(rowOf((*found)[i]));
  writer.endTable();
  if (found->size() > mostRows)
    writer.paragraph(fmt::format("{} more files.", found->size() - mostRows), Tone::muted);
}

}  // namespace orvik::reportBlocks
