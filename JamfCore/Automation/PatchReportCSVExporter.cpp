#include "JamfCore/Automation/PatchReportCSVExporter.h"

#include <optional>
#include <string_view>

#include "Platform/Date.h"

namespace jamf {

namespace {

constexpr std::string_view headings =
    "Computer Name,Version,Username,Operating System,Last Check-In,Building,Department,Site";

void appendField(std::string& line, std::string_view text) {
  if (text.find_first_of(",\"\r\n") == text.npos) {
    line += text;
    return;
  }
  line += '"';
  for (const char c : text) {
    if (c == '"') line += '"';
    line += c;
  }
  line += '"';
}

std::optional<std::string> isoDate(const std::optional<std::string>& text) {
  const auto date = text ? platform::parseZonedISO8601(*text) : std::nullopt;
  return date ? platform::iso8601(*date) : text;
}

}  // namespace

std::string PatchReportCSVExporter::csv(const std::vector<PatchReport>& reports) {
  std::string text(headings);
  for (const auto& report : reports) {
    const std::optional<std::string> checkIn = isoDate(report.lastCheckIn);
    char separator = '\n';
    for (const auto* field :
         {&report.computerName, &report.version, &report.username, &report.operatingSystemVersion, &checkIn,
          &report.buildingName, &report.departmentName, &report.siteName}) {
      text += separator;
      appendField(text, field->value_or(""));
      separator = ',';
    }
  }
  return text;
}

}  // namespace jamf
