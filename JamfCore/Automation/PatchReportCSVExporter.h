#pragma once

#include <string>
#include <vector>

#include "JamfCore/Models/Patch.h"

namespace jamf {

/// The computers of a patch title as a table for spreadsheets, in UTF-8 without a byte order mark.
struct PatchReportCSVExporter {
  /// A line of headings and one for each report, with a line feed between two and none at the end. A field is
  /// quoted where it holds a comma, a quote or a line break, and else stands as the server sent it: also one
  /// that a spreadsheet would take for a formula, which begins with "=", "+", "-" or "@". A last check-in
  /// that is no point in time is written as it stands.
  static std::string csv(const std::vector<PatchReport>& reports);
};

}  // namespace jamf
