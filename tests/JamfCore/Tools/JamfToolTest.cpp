#include "JamfCore/Tools/JamfTool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "JamfCore/Models/ComputerGroups.h"

namespace jamf {
namespace {

using testing::StartsWith;

const JamfTool::Arguments arguments{{"text", {std::string("a")}},
                                    {"empty", {std::string()}},
                                    {"number", {3.0}},
                                    {"native", {std::int64_t{12}}},
                                    {"digits", {std::string("-12")}},
                                    {"plus", {std::string("+7")}},
                                    {"word", {std::string("12a")}},
                                    {"flag", {true}},
                                    {"true", {std::string("true")}},
                                    {"false", {std::string("false")}},
                                    {"null", {AnyValue::Null{}}},
                                    {"broken", {std::string("[")}},
                                    {"bytes", {std::string("\"\xff\"")}},
                                    {"list", {std::string(R"(["12","34"])")}}};

template <class Action>
std::string messageOf(const Action& action) {
  try {
    action();
  } catch (const JamfToolError& error) {
    EXPECT_EQ(error.message(), error.description());
    return error.message();
  }
  return "";
}

TEST(JamfTool, ATextArgumentIsATextThatIsNotEmpty) {
  EXPECT_EQ(JamfTool::stringArgument(arguments, "text"), "a");
  for (const auto* key : {"empty", "number", "native", "flag", "null", "missing"}) {
    EXPECT_EQ(messageOf([&] { JamfTool::stringArgument(arguments, key); }),
              "Missing required argument \"" + std::string(key) + "\".");
    EXPECT_EQ(JamfTool::optionalStringArgument(arguments, key), std::nullopt) << key;
  }
}

TEST(JamfTool, AnIntegerIsANativeOneOrATextOfOneAndNeverAJSONNumber) {
  EXPECT_EQ(JamfTool::intArgument(arguments, "native"), 12);
  EXPECT_EQ(JamfTool::intArgument(arguments, "digits"), -12);
  EXPECT_EQ(JamfTool::intArgument(arguments, "plus"), 7);
  for (const auto* key : {"number", "word", "empty", "text", "flag", "null", "missing"}) {
    EXPECT_EQ(messageOf([&] { JamfTool::intArgument(arguments, key); }),
              "Missing or invalid required integer argument \"" + std::string(key) + "\".");
    EXPECT_EQ(JamfTool::optionalIntArgument(arguments, key), std::nullopt) << key;
  }
}

TEST(JamfTool, ATruthValueMayBeATextOfOne) {
  EXPECT_EQ(JamfTool::optionalBoolArgument(arguments, "flag"), true);
  EXPECT_EQ(JamfTool::optionalBoolArgument(arguments, "true"), true);
  EXPECT_EQ(JamfTool::optionalBoolArgument(arguments, "false"), false);
  for (const auto* key : {"text", "number", "empty", "null", "missing"})
    EXPECT_EQ(JamfTool::optionalBoolArgument(arguments, key), std::nullopt) << key;
}

TEST(JamfTool, ADocumentInATextIsDecoded) {
  using Texts = std::vector<std::string>;
  EXPECT_EQ(JamfTool::decodeJSONArgument<Texts>(arguments, "list"), (Texts{"12", "34"}));
  EXPECT_EQ(JamfTool::decodeJSONArgument<Texts>(arguments, "empty"), std::nullopt);
  EXPECT_EQ(JamfTool::decodeJSONArgument<Texts>(arguments, "missing"), std::nullopt);
  EXPECT_THAT(messageOf([&] { JamfTool::decodeJSONArgument<Texts>(arguments, "broken"); }),
              StartsWith("Argument \"broken\" isn't valid JSON for the expected shape: "));
  EXPECT_EQ(
      messageOf([&] { JamfTool::decodeJSONArgument<std::vector<SmartGroupCriterion>>(arguments, "list"); }),
      "Argument \"list\" isn't valid JSON for the expected shape: [0]: not an object");
  EXPECT_EQ(messageOf([&] { JamfTool::decodeJSONArgument<Texts>(arguments, "bytes"); }),
            "Argument \"bytes\" isn't valid UTF-8 JSON.");
}

TEST(JamfTool, ResultsAreReadableWithKeysAscending) {
  EXPECT_EQ(JamfTool::encode(JamfToolCatalog::OrgSummary{"School", "https://school.example"}),
            "{\n  \"baseURL\" : \"https://school.example\",\n  \"name\" : \"School\"\n}");
}

}  // namespace
}  // namespace jamf
