#include "OrvikCore/Reports/ReportContext.h"

#include <fmt/format.h>

#include "OrvikCore/Reports/ReportText.h"

namespace orvik {

namespace {

/// Of the instance's name, so that a footer of one line has room for what follows it.
constexpr std::size_t longestInFooter = 40;

}  // namespace

std::string ReportContext::footer(const BackupManifest& manifest) const {
  return fmt::format("{} · {} · created {}", reportText::line(manifest.instance.name, longestInFooter),
                     reportText::line(manifest.backupID, longestInFooter), reportText::dateAndTime(created));
}

std::string ReportContext::runBy() const {
  return fmt::format("{} on {}", reportText::line(user), reportText::line(host));
}

}  // namespace orvik
