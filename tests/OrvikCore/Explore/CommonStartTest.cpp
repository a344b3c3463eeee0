#include "OrvikCore/Explore/CommonStart.h"

#include <gtest/gtest.h>

namespace orvik::test {
namespace {

TEST(CommonStartTest, ItEndsBetweenScalars) {
  EXPECT_EQ(commonStart("", "a"), 0U);
  EXPECT_EQ(commonStart("abc", "abd"), 2U);
  EXPECT_EQ(commonStart("abc", "abcd"), 3U);
  // Both are two bytes, of which the first is the same.
  EXPECT_EQ(commonStart("aé", "aè"), 1U);
}

}  // namespace
}  // namespace orvik::test
