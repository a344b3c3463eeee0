#include "JamfCore/Networking/FlexibleArray.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace jamf {
namespace {

using Numbers = FlexibleArray<std::int64_t>;

struct Holder {
  Numbers numbers;
  static constexpr auto fields() { return fieldList(platform::json::field("numbers", &Holder::numbers)); }
};

Numbers decoded(std::string_view text) { return platform::json::Decoder().decode<Numbers>(text); }

TEST(FlexibleArray, AListIsTheList) { EXPECT_EQ(decoded("[1,2]"), (Numbers{{1, 2}})); }

TEST(FlexibleArray, WhatDoesNotDecodeWholeIsAnEmptyList) {
  for (const auto* text : {"{}", R"([1,"2"])", R"({"number":1})", "null", "\"\"", "1", "[]", "[1.5]"})
    EXPECT_TRUE(decoded(text).empty()) << text;
}

TEST(FlexibleArray, AMissingOrNullKeyIsAnEmptyList) {
  for (const auto* text : {"{}", R"({"numbers":null})", R"({"numbers":{}})"})
    EXPECT_TRUE(platform::json::Decoder().decode<Holder>(text).numbers.empty()) << text;
}

TEST(FlexibleArray, IsWrittenAsAPlainArray) {
  const platform::json::Encoder encoder(platform::json::Rendering::compact);
  EXPECT_EQ(encoder.encode(Numbers{{3, 4}}), "[3,4]");
  EXPECT_EQ(encoder.encode(Holder{}), R"({"numbers":[]})");
}

}  // namespace
}  // namespace jamf
