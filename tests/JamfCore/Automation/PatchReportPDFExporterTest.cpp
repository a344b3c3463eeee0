#include "JamfCore/Automation/PatchReportPDFExporter.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "tests/Support/PDFText.h"
#include "tests/Support/ScopedVariable.h"
#include "tests/Support/ScopedZone.h"

namespace jamf {
namespace {

using orvik::test::PDFText;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr const char* headings =
    "Computer Name Version Username Operating System Last Check-In Building Department Site";
constexpr double width = 841.89;
constexpr double height = 595.28;
constexpr double margin = 36;

PatchSummary summary() {
  PatchSummary made;
  made.latestVersion = "141.0";
  made.upToDate = 180;
  made.outOfDate = 31;
  return made;
}

std::vector<PatchReport> computers(int count) {
  std::vector<PatchReport> reports;
  for (int number = 1; number <= count; ++number)
    reports.push_back({fmt::format("TAM-{:05}", number), std::to_string(number), "iokafor", "15.5",
                       "2026-07-20T11:56:02Z", "Main", "Teaching", "North", "140.0"});
  return reports;
}

PDFText pdf(const std::string& title, const std::optional<PatchSummary>& shown,
            const std::vector<PatchReport>& reports) {
  return PDFText(PatchReportPDFExporter::pdf(title, shown, reports));
}

/// What stands on a page, with every run of blanks as one.
std::string flowing(const PDFText& document, int page) { return PDFText::oneSpaced(document.page(page)); }

/// Words that reach beyond the margins of the page.
std::vector<std::string> strays(const PDFText& document) {
  constexpr double slack = 1;
  std::vector<std::string> found;
  for (const auto& word : document.words())
    if (word.left < margin - slack || word.right > width - margin + slack || word.top < margin - slack ||
        word.bottom > height - margin + slack)
      found.push_back(fmt::format("{} on page {}", word.text, word.page));
  return found;
}

TEST(PatchReportPDFExporter, NoReportsGiveTheTitleAndTheEmptyTable) {
  const auto document = pdf("Firefox", {}, {});
  EXPECT_EQ(document.pages(), 1);
  EXPECT_EQ(PDFText::oneSpaced(document.text()), std::string("Firefox ") + headings + " ");
  EXPECT_EQ(document.faults(), "");
}

TEST(PatchReportPDFExporter, TheSummaryStandsBetweenTitleAndTable) {
  const auto document = pdf("Firefox", summary(), {});
  EXPECT_EQ(document.flowing(),
            std::string("Firefox Latest version 141.0, 180 up to date, 31 out of date ") + headings + " ");
}

TEST(PatchReportPDFExporter, ARowShowsAllFieldsInTheOrderOfTheHeadings) {
  const orvik::test::ScopedZone zone("UTC");
  EXPECT_THAT(PDFText::oneSpaced(pdf("Firefox", {}, computers(1)).text()),
              HasSubstr("TAM-00001 140.0 iokafor 15.5 2026-07-20 11:56 Main Teaching North"));
}

TEST(PatchReportPDFExporter, AReportLongerThanAPageRepeatsTheHeadingsOnEachPage) {
  const auto document = pdf("Firefox", summary(), computers(500));
  const int pages = document.pages();
  EXPECT_GT(pages, 10);
  std::set<std::string> shown;
  for (int page = 1; page <= pages; ++page) {
    const auto text = flowing(document, page);
    if (page == 1) {
      EXPECT_THAT(text, HasSubstr(std::string("out of date ") + headings + " TAM-00001"));
    } else {
      EXPECT_THAT(text, StartsWith(std::string(headings) + " TAM-"));
    }
    EXPECT_EQ(text.find(headings), text.rfind(headings)) << "once a page";
  }
  for (const auto& word : document.words())
    if (word.text.starts_with("TAM-")) shown.insert(word.text);
  EXPECT_EQ(shown.size(), 500U);
  EXPECT_THAT(strays(document), IsEmpty());
  EXPECT_EQ(document.faults(), "");
}

TEST(PatchReportPDFExporter, AFullPageIsFollowedByNoEmptyOne) {
  const auto shown = [](int count) {
    const auto document = pdf("F", {}, computers(count));
    EXPECT_THAT(flowing(document, document.pages()), HasSubstr("TAM-")) << count;
    return document.pages();
  };
  int full = 34;  // rows of the first page
  while (shown(full) == 1) ++full;
  EXPECT_EQ(shown(full - 1), 1);
  EXPECT_EQ(shown(full), 2);
}

TEST(PatchReportPDFExporter, LongTextsAreCutAndStayInTheirColumns) {
  auto reports = computers(1);
  const std::string longName(300, 'W');
  reports[0] = {longName, "1", longName, longName, longName, longName, longName, longName, longName};
  const auto document = pdf(std::string(2000, 'T') + " " + longName, summary(), reports);
  EXPECT_THAT(strays(document), IsEmpty());
  EXPECT_THAT(document.text(), HasSubstr("…"));
  double right = 0;
  int cells = 0;
  for (const auto& word : document.words()) {
    if (!word.text.starts_with("WWW")) continue;
    ++cells;
    EXPECT_GE(word.left, right) << "a cell begins behind the one before it";
    right = word.right;
  }
  EXPECT_EQ(cells, 8);
}

TEST(PatchReportPDFExporter, TheFontIsTheOneForPrint) {
  const platform::files::TempFolder folder;
  platform::files::atomicWrite(PatchReportPDFExporter::pdf("Firefox", summary(), computers(1)),
                               folder / "a.pdf");
  const auto fonts = orvik::test::outputOf("pdffonts", {(folder / "a.pdf").string()});
  EXPECT_THAT(fonts, AllOf(HasSubstr("LiberationSans-Bold"), HasSubstr("LiberationSans ")));
  EXPECT_THAT(fonts, Not(HasSubstr("Inter")));
}

TEST(PatchReportPDFExporter, TextsThatControlOrTurnAreShownAndMakeAValidDocument) {
  auto reports = computers(2);
  reports[0].computerName = "Cart\n\x1b[1m 日本 🏫";
  reports[1].computerName = std::string("\0\x01", 2);
  reports[1].lastCheckIn = "yesterday";
  const auto document = pdf("Tïtle & <more>\tשלום", summary(), reports);
  EXPECT_EQ(document.faults(), "");
  EXPECT_EQ(document.pages(), 1);
  EXPECT_THAT(document.text(), AllOf(HasSubstr("日本"), HasSubstr("yesterday"), HasSubstr("Tïtle & <more>")));
}

TEST(PatchReportPDFExporter, TimesAreThoseOfTheZoneAndOfNoLocale) {
  const orvik::test::ScopedZone zone("Europe/Berlin");
  const orvik::test::ScopedVariable language("LC_ALL", "ar_EG.UTF-8");
  EXPECT_THAT(pdf("F", {}, computers(1)).text(), HasSubstr("2026-07-20 13:56"));
}

}  // namespace
}  // namespace jamf
