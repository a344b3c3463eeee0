#include <gtest/gtest.h>

#include "OrvikCore/Explore/ObjectDescriber.h"
#include "Platform/Files/Files.h"

namespace orvik {
namespace {

using Types = std::vector<std::string>;

std::string profile(std::string_view content) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\"><dict>" +
         std::string(content) + "</dict></plist>";
}

Types summaryOf(std::string_view content) { return ObjectDescriber::payloadSummary(profile(content)); }

std::string payload(std::string_view type) {
  return "<dict><key>PayloadVersion</key><integer>1</integer><key>PayloadType</key><string>" +
         std::string(type) + "</string></dict>";
}

TEST(PayloadSummaryTest, NamesTheTypesInTheProfilesOrder) {
  EXPECT_EQ(summaryOf("<key>PayloadContent</key><array>" + payload("com.apple.wifi.managed") +
                      payload("com.apple.mcx") + payload("com.apple.wifi.managed") +
                      "</array><key>PayloadType</key><string>Configuration</string>"),
            (Types{"com.apple.wifi.managed", "com.apple.mcx", "com.apple.wifi.managed"}));
}

TEST(PayloadSummaryTest, PayloadsWithoutATypeAreLeftOut) {
  EXPECT_EQ(summaryOf("<key>PayloadContent</key><array><dict/><string>x</string>"
                      "<dict><key>PayloadType</key><integer>1</integer></dict>" +
                      payload("") + payload("ä") + "</array>"),
            (Types{"", "ä"}));
}

TEST(PayloadSummaryTest, ProfilesOfAnotherShapeHaveNone) {
  EXPECT_EQ(summaryOf(""), Types{});
  EXPECT_EQ(summaryOf("<key>PayloadContent</key><data>AAEC</data>"), Types{});  // an encrypted profile
  EXPECT_EQ(summaryOf("<key>PayloadContent</key>" + payload("a")), Types{});
  EXPECT_EQ(summaryOf("<key>PayloadContent</key><array/>"), Types{});
  EXPECT_EQ(ObjectDescriber::payloadSummary("<plist><array>" + payload("a") + "</array></plist>"), Types{});
}

TEST(PayloadSummaryTest, BlanksAroundTheDocumentDoNotMatter) {
  const auto xml = profile("<key>PayloadContent</key><array>" + payload("a") + "</array>");
  EXPECT_EQ(ObjectDescriber::payloadSummary("\n\t " + xml + "\r\n "), Types{"a"});
}

TEST(PayloadSummaryTest, WhatIsNoPropertyListHasNone) {
  for (const char* text : {"", " ", "hello", "{\"PayloadContent\": []}", "<plist>", "<html/>", "bplist00\x01",
                           "<plist><dict><key>PayloadContent</key></dict></plist>"}) {
    EXPECT_EQ(ObjectDescriber::payloadSummary(text), Types{}) << text;
  }
  const auto xml = profile("<key>PayloadContent</key><array>" + payload("a") + "</array>");
  EXPECT_EQ(ObjectDescriber::payloadSummary(xml.substr(0, xml.size() - 1)), Types{});
}

TEST(PayloadSummaryTest, HostileProfilesHaveNone) {
  const auto body =
      "<plist><dict><key>PayloadContent</key><array>" + payload("&x;") + "</array></dict></plist>";
  EXPECT_EQ(ObjectDescriber::payloadSummary("<!DOCTYPE plist [<!ENTITY x \"a\">]>" + body), Types{});
  EXPECT_EQ(ObjectDescriber::payloadSummary("<!DOCTYPE plist SYSTEM \"x.dtd\">" + body), Types{});
  std::string deep = "<plist>";
  for (int i = 0; i < 100'000; ++i) deep += "<array>";
  EXPECT_EQ(ObjectDescriber::payloadSummary(deep), Types{});
}

TEST(PayloadSummaryTest, AProfileOfAnIndependentToolIsRead) {
  const auto file =
      std::filesystem::path(ORVIK_SOURCE_FOLDER) / "fuzz/corpus/PropertyList/profile.mobileconfig";
  EXPECT_EQ(ObjectDescriber::payloadSummary(platform::files::read(file)),
            (Types{"com.apple.wifi.managed", "com.apple.mcx"}));
}

}  // namespace
}  // namespace orvik
