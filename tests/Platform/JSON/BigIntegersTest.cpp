#include "Platform/JSON/BigIntegers.h"

#include <string>

#include <gtest/gtest.h>

namespace platform::json::detail {
namespace {

TEST(BigIntegersTest, OnlyIntegersBeyond64BitsAreMarked) {
  EXPECT_EQ(markBigIntegers("18446744073709551616"), "18446744073709551616e0");
  EXPECT_EQ(markBigIntegers("[-9223372036854775809, 1]"), "[-9223372036854775809e0, 1]");
  EXPECT_EQ(markBigIntegers("{\"a\":99999999999999999999,\"b\":1234567890123456789012}"),
            "{\"a\":99999999999999999999e0,\"b\":1234567890123456789012e0}");
}

TEST(BigIntegersTest, WhatFitsOrIsNoIntegerStays) {
  for (const char* text : {"", "18446744073709551615", "-9223372036854775808", "9223372036854775808", "1e400",
                           "123456789012345678901.0", "123456789012345678901e1", "00000000000000000000001",
                           "-00000000000000000000001", "a123456789012345678901", "123456789012345678901a",
                           "-", "--123456789012345678901", "+123456789012345678901"})
    EXPECT_EQ(markBigIntegers(text), std::nullopt) << text;
}

TEST(BigIntegersTest, TextsStay) {
  EXPECT_EQ(markBigIntegers(R"(["123456789012345678901", "\"", "\\"])"), std::nullopt);
  EXPECT_EQ(markBigIntegers(R"(["\\",123456789012345678901,"\",123456789012345678901,"])"),
            R"(["\\",123456789012345678901e0,"\",123456789012345678901,"])");
  EXPECT_EQ(markBigIntegers("\"123456789012345678901"), std::nullopt);
  EXPECT_EQ(markBigIntegers("\"123456789012345678901\\"), std::nullopt);
}

}  // namespace
}  // namespace platform::json::detail
