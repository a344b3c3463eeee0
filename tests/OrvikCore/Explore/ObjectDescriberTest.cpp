#include "OrvikCore/Explore/ObjectDescriber.h"

#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OrvikCore/Jamf/SectionCatalog.h"
#include "tests/OrvikCore/Explore/Describing.h"
#include "tests/Support/DateTexts.h"
#include "tests/Support/ScopedVariable.h"
#include "tests/Support/ScopedZone.h"

namespace orvik {
namespace {

using test::described;
using test::factLines;
using test::listLines;
using testing::ElementsAre;
using testing::IsEmpty;

using Lines = std::vector<std::string>;

TEST(ObjectDescriberTest, TheKindIsTheSectionsTitleElseItsID) {
  EXPECT_EQ(described("computerGroups", "{}").kind, "Computer groups (smart and static)");
  EXPECT_EQ(described("somethingNew", "{}").kind, "somethingNew");
  EXPECT_EQ(described("somethingNew", "{}").title, "Lab");
}

TEST(ObjectDescriberTest, AFactWhoseFirstPathGivesAnEmptyTextFallsThroughToTheSecond) {
  EXPECT_EQ(factLines(described("computers",
                                R"({"hardware":{"serialNumber":""},"general":{"serial_number":"S"}})")),
            Lines{"Serial number: S"});
  EXPECT_EQ(factLines(described("computers",
                                R"({"hardware":{"serialNumber":null},"general":{"serial_number":"S"}})")),
            Lines{"Serial number: S"});
  EXPECT_EQ(factLines(described("computers",
                                R"({"hardware":{"serialNumber":[]},"general":{"serial_number":"S"}})")),
            Lines{"Serial number: S"});
  EXPECT_EQ(factLines(described("computers",
                                R"({"hardware":{"serialNumber":"A"},"general":{"serial_number":"S"}})")),
            Lines{"Serial number: A"});
}

TEST(ObjectDescriberTest, AFactWithoutAnyTextIsNotShown) {
  EXPECT_THAT(factLines(described("computers", R"({"hardware":{"serialNumber":"","model":null}})")),
              IsEmpty());
}

TEST(ObjectDescriberTest, PathsComeBeforeVariants) {
  const auto description = described(
      "computers", {{"pro", R"({"general":{"serial_number":"second path"},"x":1})"},
                    {"classic", R"({"computer":{"hardware":{"serialNumber":"first path"},"x":1}})"}});
  EXPECT_EQ(factLines(description), Lines{"Serial number: first path"});
}

TEST(ObjectDescriberTest, VariantsAreAskedInTheOrderOfTheirRank) {
  const auto description =
      described("computers", {{"zebra", R"({"general":{"supervised":false,"managementId":"z"}})"},
                              {"classic", R"({"general":{"managementId":"c"},"x":1})"},
                              {"pro", R"({"general":{"supervised":true},"x":1})"}});
  EXPECT_EQ(factLines(description), (Lines{"Supervised: Yes", "Management ID: c"}));
  ASSERT_EQ(description.outline.size(), 3U);
  EXPECT_EQ(description.outline[0].label, "Jamf Pro API");
  EXPECT_EQ(description.outline[1].label, "Classic API");
  EXPECT_EQ(description.outline[2].label, "Zebra");
}

TEST(ObjectDescriberTest, VariantsOfTheSameRankKeepTheirOrder) {
  const auto description = described("x", {{"b", "{}"}, {"a", "{}"}, {"list", "{}"}, {"members", "{}"}});
  ASSERT_EQ(description.outline.size(), 4U);
  EXPECT_EQ(description.outline[0].id(), "members");
  EXPECT_EQ(description.outline[1].id(), "list");
  EXPECT_EQ(description.outline[2].id(), "b");
  EXPECT_EQ(description.outline[3].id(), "a");
}

TEST(ObjectDescriberTest, EachVariantIsUnwrapped) {
  const auto description =
      described("policies", {{"classic", R"({"policy":{"general":{"enabled":true},"scope":{}}})"}});
  EXPECT_EQ(factLines(description), Lines{"Enabled: Yes"});
  ASSERT_EQ(description.outline.size(), 2U);
  EXPECT_EQ(description.outline[0].id(), "classic.general");
}

TEST(ObjectDescriberTest, AnEmptyListShowsNothingInAFact) {
  EXPECT_THAT(factLines(described("scripts", R"({"info":[],"notes":["a","b"]})")),
              ElementsAre("Notes: a, b"));
}

TEST(ObjectDescriberTest, DatesInFactsAreShownAsTheUserReadsThem) {
  const test::ScopedZone zone("UTC");
  const test::ScopedVariable locale("LC_ALL", "en_US.UTF-8");
  const auto lines = factLines(described(
      "computers",
      R"({"id":1,"general":{"reportDate":"2025-03-04T09:15:00Z","lastEnrolledDate":"2025-03-04"}})"));
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(test::withPlainBlanks(lines[0]), "Last inventory: Mar 4, 2025, 9:15 AM");
  EXPECT_EQ(lines[1], "Enrolled: 2025-03-04");
}

TEST(ObjectDescriberTest, AStaticGroupShowsNoInTypeAndStaticGroupInKind) {
  EXPECT_EQ(factLines(described("computerGroups", R"({"is_smart":false,"id":1})")),
            (Lines{"Type: No", "Kind: Static group"}));
}

TEST(ObjectDescriberTest, ASmartGroupIsOneWhereTheFirstTruthValueSaysSo) {
  EXPECT_EQ(factLines(described("userGroups", R"({"is_smart":true,"id":1})")),
            (Lines{"Type: Yes", "Kind: Smart group"}));
  EXPECT_EQ(factLines(described("userGroups", {{"classic", R"({"is_smart":"true","id":1})"},
                                               {"list", R"({"is_smart":true,"id":1})"}})),
            (Lines{"Type: true", "Kind: Smart group"}));
  EXPECT_EQ(factLines(described("userGroups", {{"classic", R"({"is_smart":false,"id":1})"},
                                               {"list", R"({"is_smart":true,"id":1})"}})),
            (Lines{"Type: No", "Kind: Static group"}));
  EXPECT_EQ(factLines(described("userGroups", "{}")), Lines{"Kind: Static group"});
}

TEST(ObjectDescriberTest, ThePolicysTriggersAreNamed) {
  const auto triggers = [](const std::string& general) {
    return factLines(described("policies", R"({"general":)" + general + R"(,"x":1})"));
  };
  EXPECT_EQ(
      triggers(R"({"trigger_checkin":true,"trigger_enrollment_complete":true,"trigger_login":true,
                         "trigger_logout":true,"trigger_network_state_changed":true,"trigger_startup":true})"),
      Lines{
          "Triggers: Recurring check-in, Enrollment complete, Login, Logout, Network state change, Startup"});
  EXPECT_EQ(triggers(R"({"trigger_checkin":false,"trigger_startup":true})"), Lines{"Triggers: Startup"});
  EXPECT_THAT(triggers(R"({"trigger_checkin":false,"trigger_login":"true"})"), IsEmpty());
  EXPECT_EQ(triggers(R"({"trigger_other":"pages"})"), Lines{"Custom trigger: pages"});
}

TEST(ObjectDescriberTest, AnElementIsALineOfItsFields) {
  const auto description = described("policies", R"({"scripts":[
      {"name":"Set dock","priority":"After"},{"name":"Wipe"},{"priority":"Before"},{"id":1},"stray",null,
      {"name":"","priority":"After"},{"name":{"name":"inner"},"priority":7}]})");
  EXPECT_EQ(listLines(description), (Lines{"Scripts: Set dock · After", "Scripts: Wipe", "Scripts: Before",
                                           "Scripts: After", "Scripts: inner · 7"}));
}

TEST(ObjectDescriberTest, AnElementWithoutFieldsIsItsText) {
  const auto description =
      described("computerExtensionAttributes", R"({"popupMenuChoices":["A",2,null,"",["x","y"],{"a":1}]})");
  EXPECT_EQ(listLines(description), (Lines{"Pop-up choices: A", "Pop-up choices: 2", "Pop-up choices: x, y",
                                           "Pop-up choices: 1 fields"}));
}

TEST(ObjectDescriberTest, ASingleTableIsAListOfOne) {
  EXPECT_EQ(listLines(described("users",
                                R"({"user_groups":{"size":2,"user_group":{"id":3,"name":"Staff"}},"x":1})")),
            Lines{"User groups: Staff"});
}

TEST(ObjectDescriberTest, AListWithoutEntriesIsNotShown) {
  for (const auto* scripts : {"[]", "{}", "null", "true", "7", R"("x")", R"([{"id":1}])", "[[]]"})
    EXPECT_THAT(listLines(described("policies", std::string(R"({"x":1,"scripts":)") + scripts + "}")),
                IsEmpty())
        << scripts;
}

TEST(ObjectDescriberTest, AListIsThatOfTheFirstVariantThatHasIt) {
  const std::string listed = R"({"computers":[{"name":"B"}],"x":1})";
  const auto from = [&](const std::string& classic) {
    return listLines(described("computerGroups", {{"classic", classic}, {"members", listed}}));
  };
  EXPECT_EQ(from(R"({"computers":[{"name":"A"}],"x":1})"), Lines{"Members: A"});
  EXPECT_THAT(from(R"({"computers":[],"x":1})"), IsEmpty());
  EXPECT_EQ(from(R"({"computers":null,"x":1})"), Lines{"Members: B"});
  EXPECT_EQ(from(R"({"x":1})"), Lines{"Members: B"});
}

TEST(ObjectDescriberTest, CodeIsShownAsItIsStored) {
  const auto description = described("scripts", R"({"scriptContents":"2025-03-04T09:15:00Z","x":1})");
  ASSERT_EQ(description.texts.size(), 1U);
  EXPECT_EQ(description.texts[0], (ObjectDescription::Text{"Script", "2025-03-04T09:15:00Z", true}));
  EXPECT_THAT(described("scripts", R"({"scriptContents":"","x":1})").texts, IsEmpty());
  EXPECT_THAT(described("scripts", R"({"scriptContents":null,"x":1})").texts, IsEmpty());
}

/// The Classic record of a profile with that payload, which needs no escapes.
std::string profile(const std::string& payload) {
  return R"({"configuration_profile":{"general":{"payloads":")" + payload + R"("},"scope":{}}})";
}

TEST(ObjectDescriberTest, AProfileShowsItsPayloadsAndItsXML) {
  const std::string xml =
      "<plist><dict><key>PayloadContent</key><array><dict><key>PayloadType</key><string>wifi</string></dict>"
      "<dict><key>PayloadType</key><string>dock</string></dict><dict/></array></dict></plist>";
  for (const auto* section : {"computerConfigurationProfiles", "mobileConfigurationProfiles"}) {
    const auto description = described(section, {{"classic", profile(xml)}});
    EXPECT_EQ(listLines(description), (Lines{"Payloads (2): wifi", "Payloads (2): dock"}));
    EXPECT_THAT(description.texts, ElementsAre(ObjectDescription::Text{"Profile XML", xml, true}));
  }
  EXPECT_THAT(described("policies", {{"classic", profile(xml)}}).texts, IsEmpty());
}

TEST(ObjectDescriberTest, AProfileWithoutPayloadsShowsNeitherThemNorItsXML) {
  for (const auto* payload :
       {"", "no property list", "<plist><dict/></plist>",
        "<plist><dict><key>PayloadContent</key><array/></dict></plist>",
        "<plist><dict><key>PayloadContent</key><string>wifi</string></dict></plist>",
        "<!DOCTYPE plist [<!ENTITY a 'b'>]><plist><dict><key>PayloadContent</key><array><dict>"
        "<key>PayloadType</key><string>&a;</string></dict></array></dict></plist>"}) {
    const auto description = described("mobileConfigurationProfiles", {{"classic", profile(payload)}});
    EXPECT_THAT(listLines(description), IsEmpty()) << payload;
    EXPECT_THAT(description.texts, IsEmpty()) << payload;
    EXPECT_EQ(description.outline[0].children->at(0).value, payload);
  }
}

TEST(ObjectDescriberTest, ASpecsTextsAreToBeHadAlone) {
  const auto classic = JSONTree::parse(R"({"input_type":{"script":"echo"},"x":1})");
  const auto other = JSONTree::parse(R"({"input_type":{"script":""},"x":1})");
  const auto* spec = ObjectDescriber::spec("mobileExtensionAttributes");
  ASSERT_NE(spec, nullptr);
  const auto texts = ObjectDescriber::texts(*spec, {{"pro", *other.raw()}, {"classic", *classic.raw()}});
  EXPECT_THAT(texts, ElementsAre(ObjectDescription::Text{"Script", "echo", true}));
}

TEST(ObjectDescriberTest, AFileAddsItsNameSizeAndStatus) {
  FileRef file;
  file.fileName = "Tool.pkg";
  file.size = 1'234'567;
  file.status = FileRef::Status::downloaded;
  auto description = described("packageFiles", {}, file);
  EXPECT_EQ(factLines(description),
            (Lines{"File: Tool.pkg", "File size: 1.2 MB", "File in backup: Downloaded"}));
  EXPECT_EQ(description.file, file);
  EXPECT_THAT(description.outline, IsEmpty());
  file.size = std::nullopt;
  file.status = FileRef::Status::unavailable;
  EXPECT_EQ(factLines(described("packages", {{"pro", R"({"fileName":"Tool.pkg","x":1})"}}, file)),
            (Lines{"File name: Tool.pkg", "File: Tool.pkg", "File in backup: Not available: no source"}));
}

TEST(ObjectDescriberTest, AFactIsShownOnceWithTheSameLabelAndValue) {
  FileRef file;
  file.fileName = "Tool.pkg";
  file.status = FileRef::Status::reused;
  EXPECT_EQ(factLines(described("x", {{"pro", R"({"file":"Tool.pkg","y":1})"}}, file)),
            (Lines{"File: Tool.pkg", "Y: 1", "File in backup: Same as previous backup"}));
  EXPECT_EQ(factLines(described("x", R"({"a_b":1,"a-b":2,"aB":1})")), (Lines{"A b: 2", "A b: 1"}));
}

TEST(ObjectDescriberTest, AFlatObjectOf30KeysShows20FactsInTheOrderOfKeysAndNoSecret) {
  std::string json = "{";
  for (int i = 29; i >= 0; --i) json += "\"key" + std::to_string(10 + i) + "\":" + std::to_string(i) + ",";
  json += R"("key10Password":"p","key11secret":"s","key12Token":"t","key13SHA256":"h"})";
  const auto lines = factLines(described("categories", json));
  ASSERT_EQ(lines.size(), 20U);
  for (int i = 0; i < 20; ++i)
    EXPECT_EQ(lines[static_cast<std::size_t>(i)], "Key" + std::to_string(10 + i) + ": " + std::to_string(i));
}

TEST(ObjectDescriberTest, AGenericDescriptionLeavesOutWhatIsNamedOrHasParts) {
  EXPECT_EQ(factLines(described("categories",
                                R"({"id":1,"name":"x","list":[1],"table":{"a":1},"zeta":true,"alpha":"a"})")),
            (Lines{"Alpha: a", "Zeta: Yes"}));
}

TEST(ObjectDescriberTest, AGenericDescriptionIsThatOfTheGeneralPart) {
  const std::string json = R"({"outside":1,"general":{"id":1,"name":"x","level":"System"}})";
  EXPECT_EQ(factLines(described("ebooks", json)), Lines{"Level: System"});
  EXPECT_EQ(factLines(described("ebooks", R"({"outside":1,"general":"x"})")),
            (Lines{"General: x", "Outside: 1"}));
}

TEST(ObjectDescriberTest, AGenericDescriptionCountsWhatHasNoText) {
  std::string json = "{";
  for (int i = 10; i < 35; ++i)
    json += (i == 10 ? "\"k" : ",\"k") + std::to_string(i) + (i % 2 ? "\":null" : "\":1");
  EXPECT_EQ(factLines(described("categories", json + "}")).size(), 10U);
}

TEST(ObjectDescriberTest, AGenericDescriptionIsMadeOfTheFirstVariant) {
  EXPECT_EQ(factLines(described("accounts", {{"classic", R"({"b":"classic","c":"C","x":[]})"},
                                             {"pro", R"({"a":"A","b":"","x":[]})"}})),
            (Lines{"A: A", "B: classic"}));
}

TEST(ObjectDescriberTest, TheOutlineHidesNothing) {
  const auto description =
      described("webhooks", R"({"password":"p","api_token":"t","x":{"clientSecret":"s"}})");
  EXPECT_THAT(factLines(description), IsEmpty());
  ASSERT_EQ(description.outline.size(), 3U);
  EXPECT_EQ(description.outline[0].value, "t");
  EXPECT_EQ(description.outline[1].value, "p");
  EXPECT_EQ(description.outline[2].children->at(0).value, "s");
}

TEST(ObjectDescriberTest, ObjectsOfAnyShapeAreDescribed) {
  for (const auto* json :
       {"null", "true", "7", R"("text")", "[]", "[1,2]", "{}", "[[[]]]", R"({"general":[]})"})
    for (const auto& section : SectionCatalog::all()) {
      const auto description = described(section.id, json);
      const bool isGroup =
          std::set<std::string_view>{"computerGroups", "mobileDeviceGroups", "userGroups"}.contains(
              section.id);
      EXPECT_EQ(factLines(description), isGroup ? Lines{"Kind: Static group"} : Lines())
          << section.id << json;
      EXPECT_THAT(listLines(description), IsEmpty()) << section.id << json;
      EXPECT_THAT(description.texts, IsEmpty()) << section.id << json;
    }
}

TEST(ObjectDescriberTest, WrongShapesWherePartsAreExpectedShowNothing) {
  const std::string json =
      R"({"general":[{"enabled":true}],"scope":"all","package_configuration":{"packages":7},
      "scripts":{"name":{"id":1}},"files_processes":[],"printers":[[{"name":"x"}]],"reboot":null})";
  const auto description = described("policies", json);
  EXPECT_THAT(factLines(description), IsEmpty());
  EXPECT_EQ(listLines(description), Lines{"Scripts: 1 fields"});
  EXPECT_EQ(description.outline.size(), 7U);
}

TEST(ObjectDescriberTest, AnObjectWithoutVariantsIsDescribedByItsName) {
  const auto description = described("policies", std::vector<test::VariantText>{});
  EXPECT_EQ(description.title, "Lab");
  EXPECT_EQ(description.kind, "Policies");
  EXPECT_THAT(description.facts, IsEmpty());
  EXPECT_THAT(described("categories", std::vector<test::VariantText>{}).facts, IsEmpty());
}

}  // namespace
}  // namespace orvik
