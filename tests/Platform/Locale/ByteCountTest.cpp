#include <gtest/gtest.h>

#include <limits>

#include "Platform/Locale/Text.h"

namespace platform::locale {
namespace {

struct Row {
  std::int64_t bytes;
  std::string text;
};

class ByteCount : public testing::TestWithParam<Row> {};

TEST_P(ByteCount, ReadsAsWritten) { EXPECT_EQ(byteCount(GetParam().bytes), GetParam().text); }

INSTANTIATE_TEST_SUITE_P(Small, ByteCount,
                         testing::Values(Row{0, "Zero KB"}, Row{1, "1 byte"}, Row{2, "2 bytes"},
                                         Row{512, "512 bytes"}, Row{999, "999 bytes"}));

INSTANTIATE_TEST_SUITE_P(KilobytesWithoutDecimals, ByteCount,
                         testing::Values(Row{1000, "1 KB"}, Row{1499, "1 KB"}, Row{1500, "2 KB"},
                                         Row{12345, "12 KB"}, Row{999'499, "999 KB"}));

INSTANTIATE_TEST_SUITE_P(NeverAThousandOfAUnit, ByteCount,
                         testing::Values(Row{999'500, "1 MB"}, Row{999'950, "1 MB"}, Row{999'999, "1 MB"},
                                         Row{999'949'999, "999.9 MB"}, Row{999'950'000, "1 GB"},
                                         Row{999'994'999'999, "999.99 GB"}, Row{999'995'000'000, "1 TB"},
                                         Row{999'995'000'000'000, "1 PB"},
                                         Row{999'995'000'000'000'000, "1 EB"}));

INSTANTIATE_TEST_SUITE_P(MegabytesWithOneDecimal, ByteCount,
                         testing::Values(Row{1'000'000, "1 MB"}, Row{1'200'000, "1.2 MB"},
                                         Row{1'249'999, "1.2 MB"}, Row{1'250'000, "1.3 MB"},
                                         Row{10'040'000, "10 MB"}, Row{268'435'456, "268.4 MB"}));

INSTANTIATE_TEST_SUITE_P(LargeWithTwoDecimals, ByteCount,
                         testing::Values(Row{1'000'000'000, "1 GB"}, Row{1'230'000'000, "1.23 GB"},
                                         Row{1'235'000'000, "1.24 GB"}, Row{1'500'000'000, "1.5 GB"},
                                         Row{1'050'000'000, "1.05 GB"}, Row{1'004'000'000, "1 GB"},
                                         Row{2'500'000'000'000, "2.5 TB"},
                                         Row{3'140'000'000'000'000, "3.14 PB"},
                                         Row{std::numeric_limits<std::int64_t>::max(), "9.22 EB"}));

INSTANTIATE_TEST_SUITE_P(Negative, ByteCount,
                         testing::Values(Row{-1, "-1 byte"}, Row{-512, "-512 bytes"}, Row{-1'500, "-2 KB"},
                                         Row{-1'200'000, "-1.2 MB"}, Row{-999'950, "-1 MB"},
                                         Row{std::numeric_limits<std::int64_t>::min(), "-9.22 EB"}));

}  // namespace
}  // namespace platform::locale
