#include "JamfCore/Networking/ResponseText.h"

#include <gtest/gtest.h>

namespace jamf {
namespace {

TEST(ResponseText, IsTheBodyWhenItIsUtf8) {
  EXPECT_EQ(responseText("{\"error\":\"grün\"}", "a-long-token"), "{\"error\":\"grün\"}");
  EXPECT_EQ(responseText("", "a-long-token"), "");
  EXPECT_EQ(responseText("\xff\xfe", "a-long-token"), std::nullopt);
}

TEST(ResponseText, ASecretThatTheServerQuotesIsHidden) {
  EXPECT_EQ(responseText("got a+long&secret and a+long%26secret.", "a+long&secret"),
            "got [secret] and [secret].");
  EXPECT_EQ(responseText("aaaaaaaaaaaaaaaa", "aaaaaaaa"), "[secret][secret]");
}

TEST(ResponseText, AShortOrEmptySecretChangesNothing) {
  EXPECT_EQ(responseText("invalid client", ""), "invalid client");
  EXPECT_EQ(responseText("invalid client", "client"), "invalid client");
}

}  // namespace
}  // namespace jamf
