#include "OrvikCore/Jamf/ContentRange.h"

#include <gtest/gtest.h>

namespace orvik {
namespace {

using Parts = ContentRange;

TEST(ContentRange, SaysWhatItsTextSays) {
  const std::pair<const char*, Parts> rows[] = {
      {"bytes 1000-1999/2000", {1000, 1999, 2000}},
      {"bytes 0-0/1", {0, 0, 1}},
      {"bytes 0-9/*", {0, 9, {}}},
      {"bytes */2000", {{}, {}, 2000}},
      {"Bytes 1-2/3", {1, 2, 3}},
      {"  bytes\t 1 - 2 / 3 ", {1, 2, 3}},
      {"bytes 0-9223372036854775806/9223372036854775807", {0, INT64_MAX - 1, INT64_MAX}},
      {"bytes 0-9/9223372036854775808", {0, 9, {}}},
      {"bytes 9-8/20", {{}, {}, 20}},
      {"bytes x-9/20", {{}, {}, 20}},
      {"bytes 1-/20", {{}, {}, 20}},
      {"bytes -9/20", {{}, {}, 20}},
      {"bytes 1-9/-20", {1, 9, {}}},
      {"bytes 1-9/+20", {1, 9, {}}},
      {"bytes 1-9/20x", {1, 9, {}}},
      {"bytes 1-9", {}},
      {"bytes", {}},
      {"bytes1-9/20", {}},
      {"items 1-9/20", {}},
      {"", {}},
  };
  for (const auto& [text, parts] : rows) EXPECT_EQ(ContentRange::parse(text), parts) << text;
}

TEST(ByteCount, IsADecimalNumberWithoutASign) {
  EXPECT_EQ(parseByteCount("0"), 0);
  EXPECT_EQ(parseByteCount("9223372036854775807"), INT64_MAX);
  for (const char* text : {"", "-0", "-1", "+1", " 1", "1 ", "0x1", "1.0", "9223372036854775808"})
    EXPECT_EQ(parseByteCount(text), std::nullopt) << text;
}

}  // namespace
}  // namespace orvik
