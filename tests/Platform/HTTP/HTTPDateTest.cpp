#include "Platform/HTTP/HTTPDate.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

TEST(HTTPDate, TheFormOfHeadersIsRead) {
  // RFC 9110, 5.6.7
  EXPECT_EQ(parseHTTPDate("Sun, 06 Nov 1994 08:49:37 GMT"), parseISO8601("1994-11-06T08:49:37Z"));
  EXPECT_EQ(parseHTTPDate("Thu, 29 Feb 2024 23:59:59 GMT"), parseISO8601("2024-02-29T23:59:59Z"));
  for (const auto* month :
       {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"})
    EXPECT_TRUE(parseHTTPDate(std::string("Sun, 06 ") + month + " 1994 08:49:37 GMT")) << month;
}

TEST(HTTPDate, AnythingElseIsNoDate) {
  for (const auto* text :
       {"", "Sunday, 06-Nov-94 08:49:37 GMT", "Sun Nov  6 08:49:37 1994", "Sun, 06 Nov 1994 08:49:37 CET",
        "Sun, 31 Nov 1994 08:49:37 GMT", "Sun, 06 Nov 1994 25:49:37 GMT", "Sun, 06 anF 1994 08:49:37 GMT",
        "Sun, 06 nov 1994 08:49:37 GMT", "Sun; 06 Nov 1994 08:49:37 GMT", "Sun, 06-Nov 1994 08:49:37 GMT",
        "Sun, 06 Nov-1994 08:49:37 GMT", "Sun, 06 Nov 1994T08:49:37 GMT", "Sun, 06 Nov 1994 08:49:37 GMT ",
        "Sun, -6 Nov 1994 08:49:37 GMT"})
    EXPECT_EQ(parseHTTPDate(text), std::nullopt) << text;
}

}  // namespace
}  // namespace platform
