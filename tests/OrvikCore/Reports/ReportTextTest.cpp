#include "OrvikCore/Reports/ReportText.h"

#include <gtest/gtest.h>

#include "OrvikCore/Reports/ReportContext.h"
#include "tests/Support/SampleRecords.h"
#include "tests/Support/ScopedZone.h"

namespace orvik::test {
namespace {

TEST(ReportTextTest, ALineIsOneAndNoLongerThanItMayBe) {
  EXPECT_EQ(reportText::line("abc", 3), "abc");
  EXPECT_EQ(reportText::line("abcd", 3), "abc…");
  EXPECT_EQ(reportText::line("ééé", 2), "éé…");
  EXPECT_EQ(reportText::line("a\nb\u2028c", 10), "a b c");
  EXPECT_EQ(reportText::line("", 3), "");
}

TEST(ReportTextTest, MarksWithoutEndAreCut) {
  std::string text = "a";
  for (int i = 0; i < 100'000; ++i) text += "\u0301";
  EXPECT_LT(reportText::line(text, 10).size(), 200U);
}

TEST(ReportTextTest, DatesAreThoseOfTheZoneAndNameIt) {
  const ScopedZone zone("CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(reportText::dateAndTime(date("2025-07-04T09:15:07Z")), "2025-07-04 11:15:07 +02:00");
  EXPECT_EQ(reportText::dateAndTime(date("2025-03-04T09:15:07Z")), "2025-03-04 10:15:07 +01:00");
}

TEST(ReportTextTest, AFooterOfALongNameStillNamesTheBackup) {
  const ScopedZone zone("UTC");
  auto manifest = plainManifest("2025-03-04T091500Z");
  ReportContext context;
  context.created = date("2025-03-06T10:00:00Z");
  EXPECT_EQ(context.footer(manifest), "North · 2025-03-04T091500Z · created 2025-03-06 10:00:00 +00:00");
  manifest.instance.name = std::string(10'000, 'x');
  EXPECT_EQ(context.footer(manifest),
            std::string(40, 'x') + "… · 2025-03-04T091500Z · created 2025-03-06 10:00:00 +00:00");
}

TEST(ReportTextTest, WhoRanItAndWhere) {
  ReportContext context;
  context.user = "Ada Lovelace (ada)";
  context.host = "engine";
  EXPECT_EQ(context.runBy(), "Ada Lovelace (ada) on engine");
}

}  // namespace
}  // namespace orvik::test
