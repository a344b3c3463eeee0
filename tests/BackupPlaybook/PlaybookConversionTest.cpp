#include "BackupPlaybook/PlaybookConversion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orvik {
namespace {

using namespace jamf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

ConvertedObject convert(std::string_view section, const std::string& json, const CategoryNames& names = {}) {
  return playbookSection(section)->convert(JSONTree::parse(json), names);
}

template <class Record>
Record recordOf(const ConvertedObject& object) {
  return std::get<Record>(object.resource.value().record);
}

std::string group(const std::string& criteria, const std::string& more = "") {
  return R"({"computer_group":{"id":4,"name":"G","is_smart":true,"site":{"id":-1,"name":"None"},"criteria":)" +
         criteria + more + R"(,"computers":[{"id":1,"name":"Mac"}]}})";
}

TEST(PlaybookConversion, CriteriaComeInTheOrderOfTheirPriorities) {
  const auto made = convert("computerGroups", group(R"([
      {"name":"B","priority":1,"and_or":"or","search_type":"like","value":"y","closing_paren":true},
      {"name":"A","priority":0,"and_or":"and","search_type":"is","value":"","opening_paren":true,"closing_paren":false}])"));
  EXPECT_THAT(made.lost, IsEmpty());
  EXPECT_EQ(
      recordOf<PlaybookSmartGroup>(made),
      (PlaybookSmartGroup{.name = "G",
                          .criteria = {{{.field = "A", .searchType = "is", .value = "", .openingParen = true},
                                        {.field = "B",
                                         .searchType = "like",
                                         .value = "y",
                                         .andOr = AndOr::or_,
                                         .closingParen = true}}}}));
}

TEST(PlaybookConversion, PrioritiesThatDoNotCountUpAreTold) {
  for (const std::string priorities : {"0,0", "1,2", "0,2", "null,1"}) {
    const auto comma = priorities.find(',');
    const auto made = convert(
        "computerGroups",
        group(R"([{"name":"A","search_type":"is","priority":)" + priorities.substr(0, comma) +
              R"(},{"name":"B","search_type":"is","priority":)" + priorities.substr(comma + 1) + "}]"));
    EXPECT_THAT(made.lost, ElementsAre(HasSubstr("priorities"))) << priorities;
    EXPECT_EQ(recordOf<PlaybookSmartGroup>(made).criteria->size(), 2U);
  }
}

TEST(PlaybookConversion, GroupsThatAPlaybookCannotHaveAreLeftOutWithAReason) {
  EXPECT_EQ(convert("computerGroups", R"({"computer_group":{"name":"S","is_smart":false}})").reason,
            "a playbook has no static groups");
  EXPECT_EQ(convert("computerGroups", group(R"("text")")).reason, "its criteria can't be read");
  EXPECT_EQ(convert("computerGroups", group(R"([{"name":"A"}])")).reason, "its criteria can't be read");
  EXPECT_EQ(convert("computerGroups", group(R"([{"name":"A","search_type":"is","and_or":"xor"}])")).reason,
            "its criteria can't be read");
  EXPECT_EQ(recordOf<PlaybookSmartGroup>(convert("computerGroups", group(R"({"size":0})"))).criteria,
            std::nullopt);
}

TEST(PlaybookConversion, TheSiteOfAGroupIsTold) {
  const auto made = convert("computerGroups", group("[]", R"(,"site":{"id":2,"name":"North"})"));
  EXPECT_THAT(made.lost, ElementsAre("site"));
}

TEST(PlaybookConversion, APolicyKeepsItsGeneralPartAndTellsOfItsWork) {
  const auto made = convert("policies", R"json({"policy":{"general":{"id":7,"name":"P","enabled":true,
      "trigger":"EVENT","trigger_checkin":true,"trigger_login":false,"trigger_other":"","frequency":"Ongoing",
      "retry_attempts":-1,"target_drive":"/","category":{"id":3,"name":"Apps"},"site":{"id":-1,"name":"None"}},
      "scope":{"all_computers":false,"exclusions":{"computers":[{"id":4,"name":"Mac"}]}},
      "self_service":{"use_for_self_service":false,"self_service_display_name":"P","install_button_text":"Install"},
      "scripts":[{"id":2,"name":"S"}],"printers":[""],"reboot":{"minutes_until_reboot":5},
      "new_in_a_later_release":{"on":true}}})json");
  EXPECT_EQ(recordOf<PlaybookPolicy>(made), (PlaybookPolicy{.name = "P",
                                                            .enabled = true,
                                                            .triggerCheckin = true,
                                                            .frequency = "Ongoing",
                                                            .categoryName = "Apps"}));
  EXPECT_THAT(made.lost, ElementsAre("scope", "scripts", "new_in_a_later_release"));
}

TEST(PlaybookConversion, ACategoryThatStandsForNoneIsLeftOut) {
  for (const std::string none : {R"({"id":-1,"name":"No category assigned"})",
                                 R"({"id":-1,"name":"Unknown"})", R"({"id":3,"name":""})", "{}", "null"}) {
    EXPECT_EQ(
        recordOf<PlaybookPolicy>(convert("policies", R"({"general":{"name":"P","category":)" + none + "}}"))
            .categoryName,
        std::nullopt)
        << none;
  }
  for (const std::string none : {R"("categoryName":"NONE")", R"("categoryId":"-1","categoryName":"None")",
                                 R"("categoryName":"")", R"("categoryName":null)"}) {
    EXPECT_EQ(recordOf<PlaybookScript>(convert("scripts", R"({"name":"S",)" + none + "}")).categoryName,
              std::nullopt)
        << none;
  }
}

TEST(PlaybookConversion, AProfileKeepsItsPayloads) {
  const auto made = convert("computerConfigurationProfiles", R"json({"os_x_configuration_profile":{"general":
      {"id":1,"name":"W","description":"","uuid":"u","level":"System","user_removable":false,
      "distribution_method":"Install Automatically","redeploy_on_update":"All","payloads":"<plist>\n</plist>"},
      "scope":{"all_computers":true},"self_service":{"security":{"removal_disallowed":"Never"}}}})json");
  EXPECT_EQ(recordOf<PlaybookConfigurationProfile>(made),
            (PlaybookConfigurationProfile{.name = "W",
                                          .distributionMethod = "Install Automatically",
                                          .userRemovable = false,
                                          .level = "System",
                                          .payloads = "<plist>\n</plist>"}));
  EXPECT_THAT(made.lost, ElementsAre("redeploy_on_update", "scope"));
}

TEST(PlaybookConversion, AScriptTellsOfItsParameters) {
  const auto made = convert(
      "scripts", R"({"id":"6","name":"S","info":"","notes":"n","priority":"AT_REBOOT","categoryId":"3",
      "categoryName":"Apps","parameter4":"App","parameter5":"","scriptContents":"#!/bin/sh\n"})");
  EXPECT_EQ(recordOf<PlaybookScript>(made), (PlaybookScript{.name = "S",
                                                            .notes = "n",
                                                            .priority = ScriptPriority::atReboot,
                                                            .categoryName = "Apps",
                                                            .scriptContents = "#!/bin/sh\n"}));
  EXPECT_THAT(made.lost, ElementsAre("parameter4"));
}

TEST(PlaybookConversion, AValueThatPlaybooksDoNotKnowIsTold) {
  const auto made = convert(
      "computerExtensionAttributes",
      R"({"name":"E","dataType":"BOOLEAN","enabled":false,"inputType":"POPUP","inventoryDisplayType":"GENERAL",
      "popupMenuChoices":["b","a"],"manageExistingData":null})");
  EXPECT_EQ(recordOf<PlaybookComputerExtensionAttribute>(made),
            (PlaybookComputerExtensionAttribute{.name = "E",
                                                .enabled = false,
                                                .inventoryDisplayType = AttributeDisplay::general,
                                                .inputType = AttributeInput::popup,
                                                .popupMenuChoices = {{"b", "a"}}}));
  EXPECT_THAT(made.lost, ElementsAre("dataType"));
  EXPECT_THAT(convert("scripts", R"({"name":"S","priority":"NEVER"})").lost, ElementsAre("priority"));
}

TEST(PlaybookConversion, APackageNamesItsCategoryAndTellsOfItsFile) {
  const std::string record =
      R"({"packageName":"P","fileName":"p.pkg","categoryId":"9","priority":10,"rebootRequired":true,
      "md5":"x","size":"5","parentPackageId":"-1","manifest":"<plist/>"})";
  const auto made = convert("packages", record, {{"9", "Apps"}});
  EXPECT_EQ(
      recordOf<PlaybookPackage>(made),
      (PlaybookPackage{
          .name = "P", .fileName = "p.pkg", .priority = 10, .categoryName = "Apps", .rebootRequired = true}));
  EXPECT_THAT(made.lost, ElementsAre("file", "manifest"));
  EXPECT_THAT(convert("packages", record).lost, ElementsAre("file", "categoryId", "manifest"))
      << "no such category";
  EXPECT_EQ(convert("packages", R"({"packageName":"P","priority":1})").reason, "it names no file");
  EXPECT_EQ(convert("packages", R"({"packageName":"P","fileName":"f"})").reason, "it has no priority");
}

TEST(PlaybookConversion, RecordsOfAnyShapeAreBorne) {
  for (const auto& section : playbookSections())
    for (const std::string record : {"null", "[]", "1", "{}", R"("x")", R"({"policy":{}})",
                                     R"({"general":[]})", R"({"criteria":{"a":[{}]},"is_smart":true})"}) {
      const auto made = convert(section.id, record);
      EXPECT_TRUE(made.resource || !made.reason.empty()) << section.id << record;
    }
  EXPECT_EQ(playbookSection("mobileConfigurationProfiles"), nullptr);
}

}  // namespace
}  // namespace orvik
