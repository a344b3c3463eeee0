#include "JamfCore/Networking/ClassicAPIXML.h"

#include <gtest/gtest.h>

#include <string>

#include "Platform/Files/Files.h"
#include "tests/Support/Commands.h"

namespace jamf {
namespace {

using namespace std::string_literals;

/// The texts below a document as another parser reads them, one "path=text" a line, and empty elements too.
std::string readElsewhere(const platform::Bytes& xml) {
  const platform::files::TempFolder folder;
  platform::files::atomicWrite(xml, folder / "body.xml");
  return orvik::test::outputOf("python3", {"-c", R"(
import sys, xml.etree.ElementTree as tree
def walk(element, path):
  path = path + '/' + element.tag
  if len(element) == 0: print(path + '=' + (element.text or ''))
  for child in element: walk(child, path)
walk(tree.parse(sys.argv[1]).getroot(), '')
)",
                                           (folder / "body.xml").string()});
}

PolicyGeneralWrite policy(std::string name) {
  PolicyGeneralWrite general;
  general.name = std::move(name);
  return general;
}

TEST(ClassicAPIXML, MarkupIsEscapedAndAnAmpersandOnce) {
  EXPECT_EQ(ClassicAPIXML::escape("A&B <C>"), "A&amp;B &lt;C&gt;");
  EXPECT_EQ(ClassicAPIXML::escape("&amp;"), "&amp;amp;");
  EXPECT_EQ(ClassicAPIXML::escape(R"("it's")"), "&quot;it&apos;s&quot;");
  EXPECT_EQ(ClassicAPIXML::escape("Größe\n"), "Größe\n");
  EXPECT_EQ(ClassicAPIXML::escape(""), "");
}

TEST(ClassicAPIXML, APolicyHasItsMembersInOrderAndAllTruthValues) {
  EXPECT_EQ(policy("A&B <C>").xmlData({}),
            "<policy><general><name>A&amp;B &lt;C&gt;</name><enabled>false</enabled>"
            "<trigger_checkin>false</trigger_checkin>"
            "<trigger_enrollment_complete>false</trigger_enrollment_complete>"
            "<trigger_login>false</trigger_login>"
            "<trigger_network_state_changed>false</trigger_network_state_changed>"
            "<trigger_startup>false</trigger_startup></general></policy>");
}

TEST(ClassicAPIXML, APolicyWritesWhatIsOptionalOnlyWhenItIsThere) {
  PolicyGeneralWrite general{"P", true, true, true, true, true, true, "pages", "Ongoing", "Apps & Co"};
  EXPECT_EQ(general.xmlData(ClassicAPIScopeWrite{}),
            "<policy><general><name>P</name><enabled>true</enabled><trigger_checkin>true</trigger_checkin>"
            "<trigger_enrollment_complete>true</trigger_enrollment_complete>"
            "<trigger_login>true</trigger_login>"
            "<trigger_network_state_changed>true</trigger_network_state_changed>"
            "<trigger_startup>true</trigger_startup><trigger_other>pages</trigger_other>"
            "<frequency>Ongoing</frequency><category><name>Apps &amp; Co</name></category></general>"
            "<scope><all_computers>false</all_computers><computers/><computer_groups/><buildings/>"
            "<departments/></scope></policy>");
}

TEST(ClassicAPIXML, AProfileWritesItsNameAndWhatIsThere) {
  ConfigurationProfileGeneralWrite general;
  general.name = "Wi-Fi";
  EXPECT_EQ(general.xmlData({}),
            "<os_x_configuration_profile><general><name>Wi-Fi</name></general>"
            "</os_x_configuration_profile>");
  general = {"Wi-Fi", "for <staff>", "Install Automatically", false, "System", "Net", "<plist>&amp;</plist>"};
  EXPECT_EQ(general.xmlData({}),
            "<os_x_configuration_profile><general><name>Wi-Fi</name>"
            "<description>for &lt;staff&gt;</description>"
            "<distribution_method>Install Automatically</distribution_method>"
            "<user_removable>false</user_removable><level>System</level>"
            "<category><name>Net</name></category>"
            "<payloads>&lt;plist&gt;&amp;amp;&lt;/plist&gt;</payloads></general>"
            "</os_x_configuration_profile>");
}

TEST(ClassicAPIXML, AScopeOfAllComputersClearsEveryList) {
  EXPECT_EQ(ClassicAPIScopeWrite{.allComputers = true}.xmlElement(),
            "<scope><all_computers>true</all_computers><computers/><computer_groups/><buildings/>"
            "<departments/></scope>");
}

TEST(ClassicAPIXML, AScopeWritesEveryIDInItsElement) {
  const ClassicAPIScopeWrite scope{false, {5}, {1, -2}, {9'223'372'036'854'775'807}, {4}};
  EXPECT_EQ(
      scope.xmlElement(),
      "<scope><all_computers>false</all_computers><computers><computer><id>5</id></computer></computers>"
      "<computer_groups><computer_group><id>1</id></computer_group><computer_group><id>-2</id>"
      "</computer_group></computer_groups><buildings><building><id>9223372036854775807</id></building>"
      "</buildings><departments><department><id>4</id></department></departments></scope>");
}

TEST(ClassicAPIXML, AScopeIsDecodedWithEveryKeyOptional) {
  const platform::json::Decoder decoder;
  EXPECT_EQ(decoder.decode<ClassicAPIScopeWrite>("{}"), ClassicAPIScopeWrite{});
  EXPECT_EQ(decoder.decode<ClassicAPIScopeWrite>(R"({"allComputers":true,"computerGroupIds":[1,2]})"),
            (ClassicAPIScopeWrite{true, {}, {1, 2}, {}, {}}));
  EXPECT_EQ(
      decoder.decode<ClassicAPIScopeWrite>(R"({"computerIds":[5],"buildingIds":[6],"departmentIds":[7]})"),
      (ClassicAPIScopeWrite{false, {5}, {}, {6}, {7}}));
  try {
    decoder.decode<ClassicAPIScopeWrite>(R"({"computerIds":["5"]})");
    FAIL();
  } catch (const platform::json::DecodingError& error) {
    EXPECT_EQ(error.description(), "computerIds[0]: not an integer");
  }
}

TEST(ClassicAPIXML, AnotherParserReadsWhatWasWritten) {
  PolicyGeneralWrite general = policy("A&B <C> \"D\" 'E' &amp; ]]> Größe 日本 \U0001F600");
  general.triggerOther = "<![CDATA[x]]>";
  general.categoryName = "R&D";
  EXPECT_EQ(
      readElsewhere(general.xmlData(ClassicAPIScopeWrite{false, {5, 6}, {}, {}, {}})),
      "/policy/general/name=A&B <C> \"D\" 'E' &amp; ]]> Größe 日本 \U0001F600\n"
      "/policy/general/enabled=false\n/policy/general/trigger_checkin=false\n"
      "/policy/general/trigger_enrollment_complete=false\n/policy/general/trigger_login=false\n"
      "/policy/general/trigger_network_state_changed=false\n/policy/general/trigger_startup=false\n"
      "/policy/general/trigger_other=<![CDATA[x]]>\n/policy/general/category/name=R&D\n"
      "/policy/scope/all_computers=false\n/policy/scope/computers/computer/id=5\n"
      "/policy/scope/computers/computer/id=6\n/policy/scope/computer_groups=\n/policy/scope/buildings=\n"
      "/policy/scope/departments=\n");
  ConfigurationProfileGeneralWrite profile;
  profile.name = "P";
  profile.payloads =
      "<?xml version=\"1.0\"?><!DOCTYPE plist><plist><string>a &lt; b &amp;&amp; c</string></plist>";
  EXPECT_EQ(readElsewhere(profile.xmlData({})),
            "/os_x_configuration_profile/general/name=P\n/os_x_configuration_profile/general/payloads=" +
                *profile.payloads + "\n");
}

TEST(ClassicAPIXML, AnIDIsReadFromTheFirstPairOfTags) {
  EXPECT_EQ(ClassicAPIXML::extractID("<policy><id>42</id></policy>"), 42);
  EXPECT_EQ(ClassicAPIXML::extractID(
                R"(<?xml version="1.0" encoding="UTF-8"?><policy><id>7</id><id>8</id></policy>)"),
            7);
  EXPECT_EQ(ClassicAPIXML::extractID("</id><id>9</id>"), 9);
  EXPECT_EQ(ClassicAPIXML::extractID("<id>-1</id>"), -1);
  EXPECT_EQ(ClassicAPIXML::extractID("<id>9223372036854775807</id>"), 9'223'372'036'854'775'807);
}

TEST(ClassicAPIXML, WhatIsNoIDGivesNothing) {
  for (const auto& text :
       {"<id></id>"s, "<id>42"s, "42</id>"s, "</id>42<id>"s, ""s, "<ID>1</ID>"s, "<id> 1</id>"s,
        "<id>1 </id>"s, "<id>1.0</id>"s, "<id>x</id>"s, "<id>9223372036854775808</id>"s, "<id><b>1</b></id>"s,
        "<id>+-1</id>"s, "<id>1</id>\xff"s, "<id x=\"\">1</id>"s, "<id>1\0</id>"s})
    EXPECT_EQ(ClassicAPIXML::extractID(text), std::nullopt) << text;
}

}  // namespace
}  // namespace jamf
