#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "OrvikCore/Explore/ObjectDescriber.h"
#include "OrvikCore/Jamf/JSONTree.h"
#include "tests/Support/DateTexts.h"
#include "tests/Support/ScopedVariable.h"
#include "tests/Support/ScopedZone.h"

namespace orvik {
namespace {

using test::ScopedVariable;
using test::ScopedZone;
using test::withPlainBlanks;
using Describer = ObjectDescriber;

/// American dates in UTC.
struct ValueTextTest : testing::Test {
  ScopedZone zone{"UTC"};
  ScopedVariable locale{"LC_ALL", "en_US.UTF-8"};

  static std::string textOf(std::string_view json) {
    const auto text = Describer::text(JSONTree::parse(json).raw());
    return text ? withPlainBlanks(*text) : "(nothing)";
  }
  static std::string unwrapped(std::string_view json) {
    const auto tree = JSONTree::parse(json);
    return Describer::unwrap(*tree.raw()).serialized();
  }
};

struct Row {
  std::string_view given;
  std::string_view expected;
};

TEST_F(ValueTextTest, NullAndWhatIsMissingHaveNoText) {
  EXPECT_EQ(textOf("null"), "(nothing)");
  EXPECT_EQ(Describer::text(std::nullopt), std::nullopt);
}

TEST_F(ValueTextTest, TruthValuesAreToldFromNumbers) {
  EXPECT_EQ(textOf("true"), "Yes");
  EXPECT_EQ(textOf("false"), "No");
  EXPECT_EQ(textOf("1"), "1");
  EXPECT_EQ(textOf("0"), "0");
}

TEST_F(ValueTextTest, NumbersAreShownAsTheyAreStored) {
  for (const auto& [given, expected] : std::vector<Row>{{"-1", "-1"},
                                                        {"1.50", "1.5"},
                                                        {"1e2", "100"},
                                                        {"1e20", "1e+20"},
                                                        {"9223372036854775807", "9223372036854775807"},
                                                        {"18446744073709551615", "18446744073709551615"}})
    EXPECT_EQ(textOf(given), expected);
}

TEST_F(ValueTextTest, ATextIsItselfEvenWhenEmpty) {
  EXPECT_EQ(textOf(R"("")"), "");
  EXPECT_EQ(textOf(R"("a\nb ")"), "a\nb ");
  EXPECT_EQ(textOf(R"("Ä日")"), "Ä日");
}

TEST_F(ValueTextTest, ADateWithTimeIsShownAsTheUserReadsItAndADayStaysAText) {
  for (const auto& [given, expected] :
       std::vector<Row>{{R"("2025-03-04T09:15:00Z")", "Mar 4, 2025, 9:15 AM"},
                        {R"("2025-03-04T09:15:00.123Z")", "Mar 4, 2025, 9:15 AM"},
                        {R"("2025-03-04T09:15:00.1Z")", "Mar 4, 2025, 9:15 AM"},
                        {R"("2025-03-04T09:15:00+01:00")", "Mar 4, 2025, 8:15 AM"},
                        {R"("2025-03-04T09:15:00.512+0000")", "Mar 4, 2025, 9:15 AM"},
                        {R"("2025-03-04T09:15:00.123456789-05:30")", "Mar 4, 2025, 2:45 PM"},
                        {R"("2025-03-04")", "2025-03-04"},
                        {R"("2025-03-04T09:15:00")", "2025-03-04T09:15:00"},
                        {R"("2025-03-04 09:15:00Z")", "2025-03-04 09:15:00Z"},
                        {R"("2025-02-30T09:15:00Z")", "2025-02-30T09:15:00Z"},
                        {R"("2025-03-04T09:15:00 Z")", "2025-03-04T09:15:00 Z"},
                        {R"("2025-03-04T09:15:00Zürich")", "2025-03-04T09:15:00Zürich"}})
    EXPECT_EQ(textOf(given), expected);
}

TEST_F(ValueTextTest, ADateHasAtMost35Characters) {
  const std::string fraction35 = "2025-03-04T09:15:00.12345678901234Z";
  ASSERT_EQ(fraction35.size(), 35);
  EXPECT_EQ(textOf('"' + fraction35 + '"'), "Mar 4, 2025, 9:15 AM");
  const std::string fraction36 = "2025-03-04T09:15:00.123456789012345Z";
  EXPECT_EQ(textOf('"' + fraction36 + '"'), fraction36);
}

TEST_F(ValueTextTest, DatesFollowTheUsersLocaleAndZone) {
  zone.set("Europe/Berlin");
  locale.set("de_DE.UTF-8");
  EXPECT_EQ(textOf(R"("2025-03-04T09:15:00Z")"), "04.03.2025, 10:15");
}

TEST_F(ValueTextTest, AnObjectIsItsNameElseItsDisplayNameElseTheNumberOfItsFields) {
  for (const auto& [given, expected] : std::vector<Row>{{R"({"id":1,"name":"Lab"})", "Lab"},
                                                        {R"({"name":"Lab","displayName":"Room"})", "Lab"},
                                                        {R"({"name":"","displayName":"Room"})", ""},
                                                        {R"({"name":null,"displayName":"Room"})", "Room"},
                                                        {R"({"name":[],"displayName":"Room"})", "Room"},
                                                        {R"({"name":{"name":"inner"}})", "inner"},
                                                        {R"({"name":7})", "7"},
                                                        {R"({"displayName":"Room"})", "Room"},
                                                        {R"({"id":1,"x":2})", "2 fields"},
                                                        {R"({"name":null})", "1 fields"},
                                                        {R"({})", "0 fields"}})
    EXPECT_EQ(textOf(given), expected) << given;
}

TEST_F(ValueTextTest, AListIsItsTextsElseTheNumberOfItsElements) {
  for (const auto& [given, expected] : std::vector<Row>{{"[]", "(nothing)"},
                                                        {"[1,2,3]", "1, 2, 3"},
                                                        {R"(["a",null,true])", "a, Yes"},
                                                        {R"(["",""])", ", "},
                                                        {R"([{"name":"a"},{"id":1,"x":2}])", "a, 2 fields"},
                                                        {R"([["a","b"],[],["c"]])", "a, b, c"},
                                                        {"[null,null]", "2 items"},
                                                        {"[[]]", "1 items"},
                                                        {"[[null]]", "1 items"}})
    EXPECT_EQ(textOf(given), expected) << given;
}

TEST_F(ValueTextTest, OnlyAListHasASummary) {
  const auto summary = [](std::string_view json) { return Describer::summary(*JSONTree::parse(json).raw()); };
  EXPECT_EQ(summary("[1,null]"), "2");
  EXPECT_EQ(summary("[]"), "none");
  for (const auto* json : {"{}", R"({"a":1})", "1", R"("x")", "null", "true"})
    EXPECT_EQ(summary(json), std::nullopt) << json;
}

TEST_F(ValueTextTest, AClassicObjectWithOneRootKeyIsUnwrappedWhileAnObjectOfTwoKeysStays) {
  EXPECT_EQ(unwrapped(R"({"policy":{"id":1,"x":2}})"), R"({"id":1,"x":2})");
  EXPECT_EQ(unwrapped(R"({"policy":{"id":1},"other":{}})"), R"({"policy":{"id":1},"other":{}})");
  EXPECT_EQ(unwrapped(R"({"policy":{}})"), "{}");
}

TEST_F(ValueTextTest, UnwrappingHappensOnce) {
  EXPECT_EQ(unwrapped(R"({"a":{"b":{"c":1}}})"), R"({"b":{"c":1}})");
}

TEST_F(ValueTextTest, AnObjectWhoseSingleKeyHasATextIsNotUnwrapped) {
  for (const auto* json :
       {R"({"policy":"x"})", R"({"policy":[{}]})", R"({"policy":null})", "{}", "[{}]", "1"})
    EXPECT_EQ(unwrapped(json), json);
}

TEST_F(ValueTextTest, ANodeIsFoundThroughObjectsOnly) {
  const auto tree = JSONTree::parse(R"({"a":{"b":{"c":[{"d":1}]},"n":null},"t":"x"})");
  const auto at = [&](const Describer::Path& path) -> std::string {
    const auto node = Describer::node(path, *tree.raw());
    return node ? node->serialized() : "(nothing)";
  };
  EXPECT_EQ(at({"a", "b", "c"}), R"([{"d":1}])");
  EXPECT_EQ(at({"a", "n"}), "null");
  EXPECT_EQ(at({"t"}), R"("x")");
  EXPECT_EQ(at({}), R"({"a":{"b":{"c":[{"d":1}]},"n":null},"t":"x"})");
  EXPECT_EQ(at({"a", "x"}), "(nothing)");
  EXPECT_EQ(at({"a", "b", "c", "d"}), "(nothing)");
  EXPECT_EQ(at({"a", "n", "x"}), "(nothing)");
  EXPECT_EQ(at({"t", "x"}), "(nothing)");
}

TEST_F(ValueTextTest, AKeyBecomesWords) {
  for (const auto& [key, label] : std::vector<Row>{{"jamfProVersion", "Jamf pro version"},
                                                   {"URLPath", "URL path"},
                                                   {"id", "Id"},
                                                   {"general", "General"},
                                                   {"macOSVersion", "Mac OS version"},
                                                   {"FileVault2Status", "File vault2 status"},
                                                   {"fileVault2Status", "File vault2 status"},
                                                   {"a_b-c d", "A b c d"},
                                                   {"last_contact_time_utc", "Last contact time utc"},
                                                   {"", ""},
                                                   {"__", ""},
                                                   {"_leading--and trailing_", "Leading and trailing"},
                                                   {"URL", "URL"},
                                                   {"aURL", "A URL"},
                                                   {"parameter4", "Parameter4"},
                                                   {"X", "X"},
                                                   {"x_Y", "X y"},
                                                   {"UDIDs", "UDI ds"},
                                                   {"ID2", "ID2"},
                                                   {"id2Name", "Id2 name"},
                                                   {"MD5Hash", "MD5 hash"},
                                                   {"A1B", "A1 b"},
                                                   {"4", "4"},
                                                   {"42", "42"},
                                                   {"42nd", "42nd"},
                                                   {"vpp.Account", "Vpp.account"},
                                                   {"redeploy_Days_before", "Redeploy days before"},
                                                   {"IPAddress6Of", "IP address6 of"}})
    EXPECT_EQ(Describer::label(key), label) << key;
}

TEST_F(ValueTextTest, AKeyOfOtherScriptsBecomesWordsToo) {
  for (const auto& [key, label] : std::vector<Row>{{"größeÄndern", "Größe ändern"},
                                                   {"écoleNom", "École nom"},
                                                   {"ÄÖÜName", "ÄÖÜ name"},
                                                   {"Ä", "Ä"},
                                                   {"имяПользователя", "Имя пользователя"},
                                                   {"日本Name", "日本name"},
                                                   {"名_前", "名 前"},
                                                   {"x٣Y", "X٣ y"}})
    EXPECT_EQ(Describer::label(key), label) << key;
}

TEST_F(ValueTextTest, KnownVariantsHaveTitlesAndOthersAreLabelled) {
  EXPECT_EQ(Describer::variantTitle("pro"), "Jamf Pro API");
  EXPECT_EQ(Describer::variantTitle("classic"), "Classic API");
  EXPECT_EQ(Describer::variantTitle("members"), "Members");
  EXPECT_EQ(Describer::variantTitle("list"), "List entry");
  EXPECT_EQ(Describer::variantTitle("groupMembers"), "Group members");
}

TEST_F(ValueTextTest, VariantsHaveARank) {
  EXPECT_EQ(Describer::variantRank("pro"), 0);
  EXPECT_EQ(Describer::variantRank("classic"), 1);
  EXPECT_EQ(Describer::variantRank("members"), 2);
  EXPECT_EQ(Describer::variantRank("list"), 3);
  EXPECT_EQ(Describer::variantRank("anything"), 4);
  EXPECT_EQ(Describer::variantRank(""), 4);
}

TEST_F(ValueTextTest, KeysOfSecretsAreRecognisedInWhateverCase) {
  for (const auto* key : {"password", "adminPassword", "of_password_SHA256", "clientSecret", "TOKEN",
                          "unlockToken", "sha256", "Sha256Digest"})
    EXPECT_TRUE(Describer::isSecretLike(key)) << key;
  for (const auto* key : {"", "pass", "word", "sha512", "name", "hashValue"})
    EXPECT_FALSE(Describer::isSecretLike(key)) << key;
}

TEST_F(ValueTextTest, AFileHasAStatus) {
  using enum FileRef::Status;
  struct FileRow {
    FileRef::Status status;
    std::optional<bool> verified;
    std::optional<std::string> message;
    std::string_view expected;
  };
  for (const auto& [status, verified, message, expected] : std::vector<FileRow>{
           {downloaded, {}, {}, "Downloaded"},
           {downloaded, true, {}, "Downloaded"},
           {downloaded, false, {}, "Downloaded (hash differs from Jamf Pro)"},
           {reused, {}, {}, "Same as previous backup"},
           {reused, false, {}, "Same as previous backup"},
           {unavailable, {}, "not found on the server", "Not available: not found on the server"},
           {unavailable, {}, {}, "Not available: no source"},
           {failed, {}, "the connection broke", "Failed: the connection broke"},
           {failed, {}, {}, "Failed: no reason is known"},
           {skipped, {}, "x", "Not downloaded (switched off)"}}) {
    FileRef file;
    file.status = status;
    file.jamfHashVerified = verified;
    file.message = message;
    EXPECT_EQ(Describer::fileStatus(file), expected);
  }
}

}  // namespace
}  // namespace orvik
