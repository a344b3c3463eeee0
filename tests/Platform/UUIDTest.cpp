#include "Platform/UUID.h"

#include <gtest/gtest.h>

#include <set>

namespace platform {
namespace {

TEST(UUIDTest, TheTextIsTheCanonicalFormInUpperCase) {
  UUID uuid;
  EXPECT_EQ(uuid.text(), "00000000-0000-0000-0000-000000000000");
  for (std::uint8_t i = 0; i < 16; ++i) uuid.bytes[i] = static_cast<std::uint8_t>(0xF0 + i);
  EXPECT_EQ(uuid.text(), "F0F1F2F3-F4F5-F6F7-F8F9-FAFBFCFDFEFF");
}

TEST(UUIDTest, ParsesEitherCase) {
  const auto upper = UUID::parse("6BA7B810-9DAD-11D1-80B4-00C04FD430C8");
  ASSERT_TRUE(upper);
  EXPECT_EQ(upper->text(), "6BA7B810-9DAD-11D1-80B4-00C04FD430C8");
  EXPECT_EQ(UUID::parse("6ba7b810-9DAD-11d1-80b4-00C04fd430c8"), upper);
}

TEST(UUIDTest, RefusesEveryOtherText) {
  for (const auto* text : {"", "6BA7B8109DAD11D180B400C04FD430C8", "{6BA7B810-9DAD-11D1-80B4-00C04FD430C8}",
                           "6BA7B810-9DAD-11D1-80B4-00C04FD430C", "6BA7B810-9DAD-11D1-80B4-00C04FD430C80",
                           "6BA7B810-9DAD-11D1-80B4-00C04FD430CG", "6BA7B8109-DAD-11D1-80B4-00C04FD430C8",
                           "6BA7B810 9DAD-11D1-80B4-00C04FD430C8", " 6BA7B810-9DAD-11D1-80B4-00C04FD430C",
                           "6BA7B810--9DA-11D1-80B4-00C04FD430C8"})
    EXPECT_EQ(UUID::parse(text), std::nullopt) << text;
}

TEST(UUIDTest, RandomOnesAreOfVersion4AndDiffer) {
  std::set<UUID> seen;
  for (int i = 0; i < 1000; ++i) {
    const UUID uuid = UUID::random();
    EXPECT_EQ(uuid.bytes[6] >> 4, 4);
    EXPECT_EQ(uuid.bytes[8] >> 6, 2);
    EXPECT_EQ(UUID::parse(uuid.text()), uuid);
    seen.insert(uuid);
  }
  EXPECT_EQ(seen.size(), 1000U);
}

}  // namespace
}  // namespace platform
