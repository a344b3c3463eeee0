#include "BackupPlaybook/RecordRest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orvik {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> restOf(const std::string& json, const RecordRest& rest = {}) {
  const auto document = platform::json::Document::parse(json);
  return rest.of(document->root(), "Own name");
}

TEST(RecordRest, WhatIsEmptySaysNothing) {
  EXPECT_THAT(
      restOf(R"({"a":null,"b":"","c":false,"d":0,"e":-1,"f":[],"g":{},"h":[""],"i":{"j":[{"k":""}]}})"),
      IsEmpty());
}

TEST(RecordRest, WhatHasAValueIsNamedInTheOrderOfTheRecord) {
  EXPECT_THAT(
      restOf(R"({"z":"x","b":true,"c":2,"d":-2,"e":1.5,"f":["",{"id":3}],"g":{"h":{"i":"j"}},"n":""})"),
      ElementsAre("z", "b", "c", "d", "e", "f", "g"));
}

TEST(RecordRest, TheObjectsOwnNameAndUsualValuesSayNothing) {
  const RecordRest rest{.usual = R"({"a":"none","b":{"c":true,"d":5}})"};
  EXPECT_THAT(restOf(R"({"a":"none","b":{"c":true,"d":5,"e":"Own name"}})", rest), IsEmpty());
  EXPECT_THAT(restOf(R"({"a":"some","b":{"c":false,"d":5}})", rest), ElementsAre("a", "b"));
  EXPECT_THAT(restOf(R"({"a":1,"b":{"d":0}})", rest), ElementsAre("a", "b")) << "another kind of value";
}

TEST(RecordRest, WhatWasReadIsNotNamed) {
  EXPECT_THAT(restOf(R"({"a":1,"b":2})", {.read = {"a"}}), ElementsAre("b"));
}

}  // namespace
}  // namespace orvik
