#include "JamfCore/Automation/PatchReportCSVExporter.h"

#include <gtest/gtest.h>

#include "Platform/Files/Files.h"
#include "Platform/JSON/Value.h"
#include "Platform/JSON/View.h"
#include "tests/Support/Commands.h"

namespace jamf {
namespace {

constexpr const char* headings =
    "Computer Name,Version,Username,Operating System,Last Check-In,Building,Department,Site";

PatchReport named(const std::string& name) {
  PatchReport report;
  report.computerName = name;
  return report;
}

/// What follows the headings.
std::string lineOf(const PatchReport& report) {
  return PatchReportCSVExporter::csv({report}).substr(std::string(headings).size() + 1);
}

/// The rows as another program reads them.
std::vector<std::vector<std::string>> readBack(const std::string& csv) {
  const platform::files::TempFolder folder;
  platform::files::atomicWrite(csv, folder / "report.csv");
  platform::files::atomicWrite(
      "import csv, json, sys\n"
      "with open(sys.argv[1], encoding='utf-8', newline='') as file:\n"
      "    print(json.dumps(list(csv.reader(file, strict=True))))\n",
      folder / "read.py");
  const auto output =
      orvik::test::outputOf("python3", {(folder / "read.py").string(), (folder / "report.csv").string()});
  const auto document = platform::json::Document::parse(output);
  std::vector<std::vector<std::string>> rows;
  const auto value = platform::json::Value::from(document->root());
  for (const auto& row : *value.array_()) {
    rows.emplace_back();
    for (const auto& cell : *row.array_()) rows.back().push_back(*cell.string());
  }
  return rows;
}

TEST(PatchReportCSVExporter, NoReportsAreTheHeadingsAlone) {
  EXPECT_EQ(PatchReportCSVExporter::csv({}), headings);
}

TEST(PatchReportCSVExporter, FieldsStandInTheOrderOfTheHeadings) {
  const PatchReport report{"TAM-0118", "118",      "iokafor", "15.5", "2026-07-20T11:56:02Z",
                           "Main",     "Teaching", "North",   "140.0"};
  EXPECT_EQ(lineOf(report), "TAM-0118,140.0,iokafor,15.5,2026-07-20T11:56:02Z,Main,Teaching,North");
}

TEST(PatchReportCSVExporter, AbsentFieldsAreEmpty) { EXPECT_EQ(lineOf({}), ",,,,,,,"); }

TEST(PatchReportCSVExporter, LinesAreJoinedByALineFeedWithoutOneAtTheEnd) {
  EXPECT_EQ(PatchReportCSVExporter::csv({named("A"), named("B")}),
            std::string(headings) + "\nA,,,,,,,\nB,,,,,,,");
}

TEST(PatchReportCSVExporter, AComputerNameWithACommaIsQuoted) {
  EXPECT_EQ(lineOf(named("Cart 1, left")), "\"Cart 1, left\",,,,,,,");
}

TEST(PatchReportCSVExporter, QuotesAreDoubledAndLineBreaksQuoted) {
  EXPECT_EQ(lineOf(named("The \"Fast\" one")), "\"The \"\"Fast\"\" one\",,,,,,,");
  EXPECT_EQ(lineOf(named("a\nb")), "\"a\nb\",,,,,,,");
  EXPECT_EQ(lineOf(named("a\rb")), "\"a\rb\",,,,,,,");
  EXPECT_EQ(lineOf(named("plain; 'text'\t")), "plain; 'text'\t,,,,,,,");
}

TEST(PatchReportCSVExporter, ALastCheckInIsAnISODateAndAnyOtherTextStandsAsItIs) {
  for (const auto& [sent, written] :
       std::vector<std::pair<std::string, std::string>>{{"2026-07-20T11:56:02Z", "2026-07-20T11:56:02Z"},
                                                        {"2026-07-20T11:56:02.871Z", "2026-07-20T11:56:02Z"},
                                                        {"2026-07-20T13:56:02+02:00", "2026-07-20T11:56:02Z"},
                                                        {"yesterday", "yesterday"},
                                                        {"", ""}}) {
    PatchReport report;
    report.lastCheckIn = sent;
    EXPECT_EQ(lineOf(report), ",,,," + written + ",,,");
  }
}

TEST(PatchReportCSVExporter, WhatASpreadsheetTakesForAFormulaIsWrittenAsItWasSent) {
  for (const std::string text : {"=1+1", "+49", "-x", "@home", "=HYPERLINK(A1)"})
    EXPECT_EQ(lineOf(named(text)), text + ",,,,,,,");
}

TEST(PatchReportCSVExporter, AnotherParserReadsBackWhatWasWritten) {
  const std::vector<std::string> nasty{"plain",
                                       "",
                                       "comma, comma",
                                       "\"",
                                       "\"\"",
                                       "a\"b,c\nd\r\ne",
                                       ",",
                                       "\n",
                                       "\r",
                                       " blanks ",
                                       "=cmd|' /C calc'!A0",
                                       "-1",
                                       "@x",
                                       "\tTab",
                                       "Äpfel 日本 🏫",
                                       "'single'",
                                       "back\\slash"};
  std::vector<PatchReport> reports;
  for (const auto& text : nasty) reports.push_back({text, "7", text, text, text, text, text, text, text});
  const auto rows = readBack(PatchReportCSVExporter::csv(reports));
  ASSERT_EQ(rows.size(), nasty.size() + 1);
  EXPECT_EQ(rows[0], (std::vector<std::string>{"Computer Name", "Version", "Username", "Operating System",
                                               "Last Check-In", "Building", "Department", "Site"}));
  for (std::size_t index = 0; index < nasty.size(); ++index)
    EXPECT_EQ(rows[index + 1], std::vector<std::string>(8, nasty[index])) << index;
}

}  // namespace
}  // namespace jamf
