#include "orvik/Output/NearNames.h"

#include <gtest/gtest.h>

namespace orvik::host {
namespace {

TEST(NearNames, ASlipOrTwoOfTheFingerAreNear) {
  EXPECT_EQ(nearIt("polices", {"policies", "scripts"}), "; near it: policies");
  EXPECT_EQ(nearIt("bakcup", {"backup", "pack"}), "; near it: backup");
  EXPECT_EQ(nearIt("baccups", {"backup"}), "; near it: backup");
  EXPECT_EQ(nearIt("baccupss", {"backup"}), "");
}

TEST(NearNames, AShortWordIsNearWithOneSlipOnly) {
  EXPECT_EQ(nearIt("ad", {"add", "test", "gc"}), "; near it: add");
  EXPECT_EQ(nearIt("key", {"gc", "mcp", "mcq"}), "");
  EXPECT_EQ(nearIt("x", {"gc", "show"}), "");
}

TEST(NearNames, APartOfANameIsNear) {
  EXPECT_EQ(nearIt("profile", {"computerConfigurationProfiles", "policies"}),
            "; near it: computerConfigurationProfiles");
  EXPECT_EQ(nearIt("pro", {"computerConfigurationProfiles"}), "");
}

TEST(NearNames, CaseAndDashesDoNotCount) {
  EXPECT_EQ(nearIt("SCRIPTS", {"scripts"}), "; near it: scripts");
  EXPECT_EQ(nearIt("--fom", {"--from", "--to"}), "; near it: --from");
  EXPECT_EQ(nearIt("-from", {"--from"}), "; near it: --from");
}

TEST(NearNames, NothingIsNearNothingOrATextWithoutEnd) {
  EXPECT_EQ(nearIt("", {"a", ""}), "");
  EXPECT_EQ(nearIt("--", {"--a"}), "");
  EXPECT_EQ(nearIt(std::string(100'000, 'a'), {std::string(100'000, 'a')}), "");
  EXPECT_EQ(nearIt("aaaa", {std::string(100'000, 'a')}), "");
}

TEST(NearNames, FiveAreEnoughAndTheyStandInTheirOrder) {
  EXPECT_EQ(nearIt("site", {"site7", "site6", "site5", "site4", "site3", "site2"}),
            "; near it: site7, site6, site5, site4, site3");
}

}  // namespace
}  // namespace orvik::host
