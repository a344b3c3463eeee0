#include "Platform/Crypto/Secret256.h"

#include <gtest/gtest.h>

#include <new>
#include <string>

namespace platform {
namespace {

TEST(Secret256Test, IsMadeOfExactly32Bytes) {
  const std::string bytes = "0123456789abcdef0123456789abcdef";
  EXPECT_EQ(Secret256::copyOf(bytes)->reveal(), bytes);
  EXPECT_FALSE(Secret256::copyOf(""));
  EXPECT_FALSE(Secret256::copyOf(bytes.substr(1)));
  EXPECT_FALSE(Secret256::copyOf(bytes + "x"));
}

TEST(Secret256Test, ComparesAllBits) {
  std::string bytes(32, '\0');
  const auto zero = *Secret256::copyOf(bytes);
  EXPECT_EQ(zero, *Secret256::copyOf(bytes));
  for (std::size_t bit = 0; bit < 256; ++bit) {
    auto other = bytes;
    other[bit / 8] = static_cast<char>(1 << bit % 8);
    EXPECT_NE(zero, *Secret256::copyOf(other)) << bit;
  }
}

TEST(Secret256Test, RandomOnesDiffer) { EXPECT_NE(Secret256::random(), Secret256::random()); }

TEST(Secret256Test, WipesItselfWhenItGoes) {
  alignas(Secret256) char place[sizeof(Secret256)];
  auto* secret = new (place) Secret256(*Secret256::copyOf(std::string(32, 's')));
  const volatile char* seen = place;
  ASSERT_EQ(seen[0], 's');
  secret->~Secret256();
  for (std::size_t i = 0; i < sizeof place; ++i) EXPECT_EQ(seen[i], '\0') << i;
}

}  // namespace
}  // namespace platform
