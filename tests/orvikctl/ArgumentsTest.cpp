#include "orvikctl/Arguments.h"

#include <gtest/gtest.h>

namespace {

using namespace orvik::ctl;

TEST(Positional, DropsEachOptionWithWhateverStandsBehindIt) {
  EXPECT_EQ(positional({}), Arguments());
  EXPECT_EQ(positional({"a", "b"}), (Arguments{"a", "b"}));
  EXPECT_EQ(positional({"--a", "--b", "c"}), Arguments{"c"});
  EXPECT_EQ(positional({"--key", "k.pem", "folder"}), Arguments{"folder"});
  EXPECT_EQ(positional({"folder", "--key"}), Arguments{"folder"});
  EXPECT_EQ(positional({"a", "--x", "b", "c", "--", "d", "e"}), (Arguments{"a", "c", "e"}));
}

TEST(Positional, KeepsOneDashAndTheEmptyText) {
  EXPECT_EQ(positional({"-h", "", "-"}), (Arguments{"-h", "", "-"}));
}

TEST(Option, IsTheElementBehindTheFirstMatch) {
  EXPECT_EQ(option("--key", {}), std::nullopt);
  EXPECT_EQ(option("--key", {"folder", "--key"}), std::nullopt);
  EXPECT_EQ(option("--key", {"--key", "a", "--key", "b"}), "a");
  EXPECT_EQ(option("--key", {"--key", "--out", "x"}), "--out");
  EXPECT_EQ(option("--key", {"--keys", "a", "--KEY", "b", "--key=c", "d"}), std::nullopt);
  EXPECT_EQ(option("--key", {"--out", "--key", "b"}), "b");
}

}  // namespace
