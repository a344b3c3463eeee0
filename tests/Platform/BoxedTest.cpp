#include "Platform/Boxed.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace platform {
namespace {

using Text = Boxed<std::string>;

TEST(Boxed, IsEmptyUntilItIsGivenAValue) {
  Text text;
  EXPECT_FALSE(text);
  EXPECT_EQ(text.value_or("none"), "none");
  EXPECT_EQ(text.optional(), std::nullopt);
  text = "a";
  EXPECT_TRUE(text.has_value());
  EXPECT_EQ(*text, "a");
  EXPECT_EQ(text->size(), 1U);
  text = std::nullopt;
  EXPECT_FALSE(text);
}

TEST(Boxed, ACopyIsItsOwn) {
  Boxed<std::vector<Text>> list = std::vector<Text>{"a", std::nullopt};
  auto copy = list;
  EXPECT_EQ(copy, list);
  (*copy)[0] = "b";
  EXPECT_EQ((*list)[0], "a");
  EXPECT_NE(copy, list);
  list = copy;
  EXPECT_EQ((*list)[0], "b");
}

TEST(Boxed, IsComparedByWhatItHolds) {
  EXPECT_EQ(Text("a"), Text("a"));
  EXPECT_NE(Text("a"), Text());
  EXPECT_EQ(Text(), std::nullopt);
  EXPECT_EQ(Text(std::optional<std::string>("a")), "a");
  EXPECT_EQ(Text(std::optional<std::string>()), Text());
}

TEST(Boxed, TakesTheRoomOfAPointer) { EXPECT_EQ(sizeof(Text), sizeof(void*)); }

}  // namespace
}  // namespace platform
