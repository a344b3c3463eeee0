#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "OrvikCore/Reports/BackupReports.h"
#include "tests/Support/PDFText.h"
#include "tests/Support/SampleRecords.h"

namespace orvik::test {

/// What a run could tell its reports.
inline ReportContext reportContext() {
  ReportContext context;
  context.user = "Ada Lovelace (ada)";
  context.host = "engine";
  context.orvikVersion = "0.1.0";
  context.clientID = "client";
  context.credentialSource = "keychain";
  context.created = date("2025-03-06T10:00:00Z");
  return context;
}

inline PDFText backupReportOf(const BackupReader& reader, const ReportContext& context = reportContext()) {
  return PDFText(BackupReports::backupReport(reader, context));
}

inline PDFText simulationReportOf(const BackupReader& reader, std::int64_t bytesToDownload = 0,
                                  const ReportContext& context = reportContext()) {
  return PDFText(BackupReports::simulationReport(reader, bytesToDownload, context));
}

inline std::size_t occurrences(std::string_view text, std::string_view part) {
  std::size_t count = 0;
  for (auto at = text.find(part); at != text.npos; at = text.find(part, at + part.size())) ++count;
  return count;
}

/// A section that was not read.
inline SectionSummary unreadSection(const std::string& id, SectionSummary::Status status,
                                    std::optional<std::string> message = {}) {
  auto summary = summaryOf(id, false);
  if (const auto* known = SectionCatalog::definition(id)) summary.title = known->title;
  summary.status = status;
  summary.message = std::move(message);
  return summary;
}

}  // namespace orvik::test
