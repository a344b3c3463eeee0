#include "OrvikCore/Jamf/DistributionPoint.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace orvik {
namespace {

std::optional<DistributionPoint> point(const std::string& members, const std::string& anonymous = "true",
                                       const std::string& enabled = "true") {
  return DistributionPoint::anonymousHTTP(
      JSONTree::parse(fmt::format(R"({{"distribution_point":{{"name":"Library","http_downloads_enabled":{},
                       "no_authentication_required":{}{}}}}})",
                                  enabled, anonymous, members.empty() ? "" : "," + members)));
}

std::string baseOf(const std::string& members) {
  const auto found = point(members);
  return found ? found->base : "(none)";
}

TEST(DistributionPoint, ItsStatedURLIsItsBaseWithoutSlashesAtTheEnd) {
  EXPECT_EQ(baseOf(R"("http_url":"https://files.example.org/JamfShare/","ip_address":"other")"),
            "https://files.example.org/JamfShare");
  EXPECT_EQ(point(R"("http_url":"https://files.example.org/")")->name, "Library");
}

TEST(DistributionPoint, WithoutAURLItIsPutTogether) {
  EXPECT_EQ(baseOf(R"("ip_address":"files.example.org")"), "https://files.example.org");
  EXPECT_EQ(baseOf(R"("server":"files.example.org","http_url":"")"), "https://files.example.org");
  EXPECT_EQ(baseOf(R"("ip_address":"h","server":"s","protocol":"http","port":8080,"context":"/a b/c/")"),
            "http://h:8080/a%20b/c");
  EXPECT_EQ(baseOf(R"("ip_address":"h","port":"","context":"")"), "https://h");
  EXPECT_EQ(baseOf(R"("ip_address":"h","port":0,"context":"/")"), "https://h");
  EXPECT_EQ(baseOf(R"("ip_address":"2001:db8::1","port":443)"), "https://[2001:db8::1]:443");
}

TEST(DistributionPoint, OneThatWantsCredentialsOrServesNoHTTPIsNoSource) {
  const std::string url = R"("http_url":"https://h")";
  EXPECT_FALSE(point(url, "false"));
  EXPECT_FALSE(point(url, "true", "false"));
  EXPECT_TRUE(point(url, "\"true\"", "\"true\""));
}

TEST(DistributionPoint, OneWithoutAnAddressThatCanBeAskedIsSkipped) {
  EXPECT_FALSE(point(""));
  EXPECT_FALSE(point(R"("protocol":"https")"));
  EXPECT_FALSE(point(R"("http_url":"smb://h/share")"));
  EXPECT_FALSE(point(R"("http_url":"not a url")"));
  EXPECT_FALSE(point(R"("ip_address":"h","port":"many")"));
}

TEST(DistributionPoint, CredentialsInItsURLAreDropped) {
  EXPECT_EQ(baseOf(R"("http_url":"https://user:word@h/x?y=1")"), "https://h/x");
}

TEST(DistributionPoint, PackagesLieBelowItWithEncodedNames) {
  EXPECT_EQ(point(R"("http_url":"https://h/x")")->packageURL("a b/ü#?%.pkg"),
            "https://h/x/Packages/a%20b%2F%C3%BC%23%3F%25.pkg");
}

}  // namespace
}  // namespace orvik
