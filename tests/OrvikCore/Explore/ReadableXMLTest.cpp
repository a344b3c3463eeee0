#include "OrvikCore/Explore/ReadableXML.h"

#include <gtest/gtest.h>

#include <string>

namespace orvik {
namespace {

TEST(ReadableXML, ALineForEachTagAndTextsInTheLineOfTheirElement) {
  EXPECT_EQ(
      readableXML("<?xml version=\"1.0\"?><!DOCTYPE plist><plist><dict><key>Name</key><string>Wi-Fi &amp; "
                  "more</string><true/><array><data>QQ==</data></array></dict></plist>"),
      "<?xml version=\"1.0\"?>\n"
      "<!DOCTYPE plist>\n"
      "<plist>\n"
      "  <dict>\n"
      "    <key>Name</key>\n"
      "    <string>Wi-Fi &amp; more</string>\n"
      "    <true/>\n"
      "    <array>\n"
      "      <data>QQ==</data>\n"
      "    </array>\n"
      "  </dict>\n"
      "</plist>\n");
}

TEST(ReadableXML, BlanksBetweenTagsDontCount) {
  const auto plain = readableXML("<plist><dict><key>a</key></dict></plist>");
  EXPECT_EQ(readableXML("<plist>\n\t<dict>\r\n  <key>a</key>\n</dict>\n</plist>\n"), plain);
  EXPECT_EQ(readableXML(plain), plain);
}

TEST(ReadableXML, CommentsAndCharacterDataStayWhole) {
  EXPECT_EQ(readableXML("<a><!-- x > y --><b><![CDATA[<c> > ]]></b></a>"),
            "<a>\n  <!-- x > y -->\n  <b><![CDATA[<c> > ]]></b>\n</a>\n");
}

TEST(ReadableXML, WhatIsNoXMLLosesNothingButBlanks) {
  EXPECT_EQ(readableXML(""), "");
  EXPECT_EQ(readableXML("no tag"), "no tag\n");
  EXPECT_EQ(readableXML("<a><b"), "<a>\n  <b\n");
  EXPECT_EQ(readableXML("</a></b>x"), "</a>\n</b>\nx\n");
  EXPECT_EQ(readableXML("<a>x<b>y</b>z</a>"), "<a>x\n  <b>y</b>\n  z\n</a>\n");
}

TEST(ReadableXML, ADeepDocumentGrowsNoMoreThanItHasTags) {
  std::string deep;
  for (int i = 0; i < 100'000; ++i) deep += "<a>";
  EXPECT_LT(readableXML(deep).size(), 100'000U * 140);
}

TEST(ReadableXML, KnowsADocumentByItsBeginning) {
  EXPECT_TRUE(looksLikeXML("\n<?xml version=\"1.0\"?><plist/>"));
  EXPECT_TRUE(looksLikeXML("<plist><dict/></plist>"));
  EXPECT_FALSE(looksLikeXML("#!/bin/sh\necho '<?xml'"));
  EXPECT_FALSE(looksLikeXML("<b>bold</b>"));
  EXPECT_FALSE(looksLikeXML(""));
}

}  // namespace
}  // namespace orvik
