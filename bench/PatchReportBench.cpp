// What the two forms of a patch report cost: the CSV file of 100,000 computers against a bare join of the
// same fields, the PDF document of 10,000 against the table that backups' reports have, with the same cells.
// Usage: PatchReportBench
#include <fmt/format.h>

#include <string>
#include <vector>

#include "JamfCore/Automation/PatchReportCSVExporter.h"
#include "JamfCore/Automation/PatchReportPDFExporter.h"
#include "OrvikCore/Reports/PDFDocumentWriter.h"
#include "bench/Measure.h"

namespace {

constexpr int rounds = 3;
constexpr std::size_t rowsOfCSV = 100'000;
constexpr std::size_t rowsOfPDF = 10'000;
constexpr double mostForCSV = 6;
constexpr double mostForPDF = 1;

std::vector<jamf::PatchReport> computers(std::size_t count) {
  std::vector<jamf::PatchReport> reports;
  for (std::size_t number = 0; number < count; ++number)
    reports.push_back({fmt::format("Cart {}, place {}", number % 90, number), std::to_string(number),
                       fmt::format("user{}", number), "15.5", "2026-07-20T11:56:02.871Z", "Main", "Teaching",
                       std::nullopt, number % 4 ? "140.0" : "139.0"});
  return reports;
}

std::vector<std::string> cellsOf(const jamf::PatchReport& report) {
  std::vector<std::string> cells;
  for (const auto* field :
       {&report.computerName, &report.version, &report.username, &report.operatingSystemVersion,
        &report.lastCheckIn, &report.buildingName, &report.departmentName, &report.siteName})
    cells.push_back(field->value_or(""));
  return cells;
}

std::string joined(const std::vector<std::vector<std::string>>& rows) {
  std::string text;
  for (const auto& row : rows)
    for (const auto& cell : row) text.append(cell).append(1, ',');
  return text;
}

platform::Bytes usualTable(const std::vector<std::vector<std::string>>& rows) {
  orvik::PDFDocumentWriter writer("Firefox", "", "", {841.89, 595.28}, platform::Date());
  std::vector<orvik::PDFDocumentWriter::Column> columns;
  for (const char* title : {"Computer Name", "Version", "Username", "Operating System", "Last Check-In",
                            "Building", "Department", "Site"})
    columns.push_back({title});
  writer.beginTable(std::move(columns), 1);
  for (const auto& row : rows) writer.row({row, {}});
  writer.endTable();
  return writer.finish();
}

void tell(const char* name, const std::vector<double>& ratios, double most) {
  const double ratio = bench::median(ratios);
  fmt::print("{:<42} {:5.2f} times (aim {:.2f}){}\n", name, ratio, most, ratio > most ? "  MISSED" : "");
}

}  // namespace

int main() {
  const auto reports = computers(rowsOfCSV);
  std::vector<std::vector<std::string>> cells;
  for (const auto& report : reports) cells.push_back(cellsOf(report));
  const std::vector<jamf::PatchReport> fewer(reports.begin(), reports.begin() + rowsOfPDF);
  const std::vector<std::vector<std::string>> fewerCells(cells.begin(), cells.begin() + rowsOfPDF);

  std::vector<double> csv, pdf;
  std::size_t bytes = 0;
  for (int round = 0; round < rounds; ++round) {
    const double own = bench::secondsOf([&] { bytes += jamf::PatchReportCSVExporter::csv(reports).size(); });
    csv.push_back(own / bench::secondsOf([&] { bytes += joined(cells).size(); }));
    const double drawn =
        bench::secondsOf([&] { bytes += jamf::PatchReportPDFExporter::pdf("Firefox", {}, fewer).size(); });
    pdf.push_back(drawn / bench::secondsOf([&] { bytes += usualTable(fewerCells).size(); }));
  }
  tell("CSV of 100,000 computers to a bare join", csv, mostForCSV);
  tell("PDF of 10,000 to the usual table", pdf, mostForPDF);
  return bytes == 0;
}
