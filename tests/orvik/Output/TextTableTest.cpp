#include "orvik/Output/TextTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Platform/Locale/DisplayWidth.h"

namespace orvik::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TextTable twoColumns() { return TextTable({{"NAME"}, {"SIZE", TextTable::Align::right}}); }

TEST(TextTable, ColumnsAreAsWideAsTheirWidestCell) {
  auto table = twoColumns();
  table.add({"School", "1.2 GB"});
  table.add({"A", "5 KB"});
  EXPECT_THAT(table.lines(Paint(false)), ElementsAre("NAME      SIZE", "School  1.2 GB", "A         5 KB"));
}

TEST(TextTable, WideLettersAreAlignedByWhatATerminalShows) {
  auto table = twoColumns();
  table.add({"学校", "1"});
  table.add({"e\u0301cole", "22"});
  const auto lines = table.lines(Paint(false));
  ASSERT_EQ(lines.size(), 3u);
  for (const auto& line : lines) EXPECT_EQ(platform::locale::displayWidth(line), 11u) << line;
}

TEST(TextTable, NothingStandsBehindTheLastCell) {
  TextTable table({{"NAME"}, {"NOTE"}});
  table.add({"School"});
  table.add({"A", "x"});
  EXPECT_THAT(table.lines(Paint(false)), ElementsAre("NAME    NOTE", "School", "A       x"));
}

TEST(TextTable, RemarksStandBelowTheirRowAndWidenNoColumn) {
  auto table = twoColumns();
  table.add({"A", "1"});
  table.remark("something that is longer than all columns", Paint::Ink::warning);
  table.add({"B", "2"});
  EXPECT_THAT(
      table.lines(Paint(false)),
      ElementsAre("NAME  SIZE", "A        1", "  something that is longer than all columns", "B        2"));
}

TEST(TextTable, CellsCannotControlATerminalAndAreCut) {
  auto table = twoColumns();
  table.add({"a\x1b[2J\nb", std::string(100, 'x')});
  const auto line = table.lines(Paint(false)).at(1);
  EXPECT_THAT(line, testing::StartsWith("a␛[2J␊b  xxx"));
  EXPECT_THAT(line, testing::EndsWith("xx…"));
  EXPECT_LT(platform::locale::displayWidth(line), 80u);
}

TEST(TextTable, WithoutARowThereIsNoHeading) { EXPECT_THAT(twoColumns().lines(Paint(false)), IsEmpty()); }

}  // namespace
}  // namespace orvik::host
