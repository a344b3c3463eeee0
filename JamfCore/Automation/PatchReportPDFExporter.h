#pragma once

#include <optional>
#include <string>
#include <vector>

#include "JamfCore/Models/Patch.h"
#include "Platform/Bytes.h"

namespace jamf {

/// The computers of a patch title as a PDF document: the title, how many computers are up to date, and a
/// table, a line for each computer, with its headings on every page.
struct PatchReportPDFExporter {
  /// On A4 paper, landscape. What a column has no room for is cut and ends in "…". Times are those of the
  /// machine's zone; a last check-in that is no point in time stands as it was sent. Throws
  /// `platform::Error` when the machine has no fonts.
  static platform::Bytes pdf(const std::string& title, const std::optional<PatchSummary>& summary,
                             const std::vector<PatchReport>& reports);
};

}  // namespace jamf
