#include "OrvikCore/Config/ManagedInstances.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <memory>
#include <string>

namespace orvik {
namespace {

using ManagedInstances::stableID;

/// SHA-256 of `text` in hexadecimal, as the openssl program computes it.
std::string opensslDigest(const std::string& text) {
  const std::string command = "printf %s '" + text + "' | openssl dgst -sha256 -r";
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  std::array<char, 65> digest{};
  if (!pipe || std::fread(digest.data(), 1, 64, pipe.get()) != 64) return "openssl did not answer";
  return digest.data();
}

TEST(ManagedInstances, TheIDIsTheDigestOfURLAndClientWithTheMarksOfANameBasedUUID) {
  std::string hex = opensslDigest("https://server.example|Client-1");
  ASSERT_EQ(hex.size(), 64u) << hex;
  for (char& c : hex) c = static_cast<char>(std::toupper(c));
  const std::string variants = "89AB";
  hex[12] = '5';
  hex[16] = variants[std::stoul(hex.substr(16, 1), nullptr, 16) & 3];
  const std::string expected = hex.substr(0, 8) + "-" + hex.substr(8, 4) + "-" + hex.substr(12, 4) + "-" +
                               hex.substr(16, 4) + "-" + hex.substr(20, 12);
  EXPECT_EQ(stableID("https://server.example", "Client-1").text(), expected);
}

TEST(ManagedInstances, TheCaseOfTheURLDoesNotMatter) {
  EXPECT_EQ(stableID("HTTPS://Server.Example", "c"), stableID("https://server.example", "c"));
}

TEST(ManagedInstances, AnotherClientIsAnotherInstance) {
  EXPECT_NE(stableID("https://server.example", "c"), stableID("https://server.example", "C"));
  EXPECT_NE(stableID("https://server.example", "c"), stableID("https://server.example/", "c"));
}

using platform::plist::Value;
using testing::ElementsAre;
using testing::IsEmpty;

Value dictionary(std::vector<std::pair<std::string, std::string>> members) {
  Value::Dictionary content;
  for (auto& [key, value] : members) content.emplace_back(key, Value(std::move(value)));
  return Value(std::move(content));
}

constexpr const char* sealed = "ORVIK-ENC:v1:abc";

TEST(ManagedInstances, AnElementBecomesAnInstance) {
  const auto result =
      ManagedInstances::parse(Value(Value::Array{dictionary({{"Name", "School"},
                                                             {"URL", "https://jamf.example"},
                                                             {"ClientID", "c1"},
                                                             {"ClientSecret", sealed},
                                                             {"FileShareMountPath", "/mnt/p"}})}));
  EXPECT_THAT(result.warnings, IsEmpty());
  ASSERT_EQ(result.instances.size(), 1U);
  const auto& instance = result.instances.front();
  EXPECT_EQ(instance.name, "School");
  EXPECT_EQ(instance.url, "https://jamf.example");
  EXPECT_EQ(instance.clientID, "c1");
  EXPECT_EQ(instance.fileShareMountPath, "/mnt/p");
  EXPECT_EQ(instance.id, stableID("https://jamf.example", "c1"));
  EXPECT_EQ(instance.managedSecret->reveal(), sealed);
}

TEST(ManagedInstances, WithoutANameTheHostOrElseTheURLNamesAnInstance) {
  const auto result = ManagedInstances::parse(Value(Value::Array{
      dictionary({{"URL", "https://jamf.example:8443/x"}, {"ClientID", "c"}, {"ClientSecret", sealed}}),
      dictionary({{"Name", ""}, {"URL", "jamf.example"}, {"ClientID", "c"}, {"ClientSecret", sealed}})}));
  ASSERT_EQ(result.instances.size(), 2U);
  EXPECT_EQ(result.instances[0].name, "jamf.example");
  EXPECT_EQ(result.instances[1].name, "jamf.example");
}

TEST(ManagedInstances, TwoEntriesOfOneURLInAnyCaseAndOneClientHaveOneID) {
  const auto result = ManagedInstances::parse(Value(Value::Array{
      dictionary({{"URL", "https://JAMF.example"}, {"ClientID", "c"}, {"ClientSecret", sealed}}),
      dictionary({{"URL", "https://jamf.example"}, {"ClientID", "c"}, {"ClientSecret", sealed}})}));
  ASSERT_EQ(result.instances.size(), 2U);
  EXPECT_EQ(result.instances[0].id, result.instances[1].id);
}

TEST(ManagedInstances, AThirdElementWithoutURLIsAWarningWithTheIndex2AndNoInstance) {
  const auto whole = dictionary({{"URL", "https://a.example"}, {"ClientID", "c"}, {"ClientSecret", sealed}});
  const auto result = ManagedInstances::parse(
      Value(Value::Array{whole, whole, dictionary({{"ClientID", "c"}, {"ClientSecret", sealed}}), whole}));
  EXPECT_EQ(result.instances.size(), 3U);
  EXPECT_THAT(result.warnings,
              ElementsAre("ManagedInstances[2] needs URL, ClientID and ClientSecret; ignored."));
}

TEST(ManagedInstances, ASecretInPlainIsAWarningAndTheInstanceAppears) {
  const auto result = ManagedInstances::parse(Value(Value::Array{dictionary(
      {{"Name", "School"}, {"URL", "https://a.example"}, {"ClientID", "c"}, {"ClientSecret", "hunter2"}})}));
  EXPECT_EQ(result.instances.size(), 1U);
  EXPECT_THAT(
      result.warnings,
      ElementsAre("ManagedInstances[0] (School) has an unencrypted ClientSecret. Anyone on this Mac can "
                  "read Managed Preferences; encrypt it with `orvikctl encrypt`."));
}

TEST(ManagedInstances, ElementsThatAreWrongInEveryWayStopNoOther) {
  const auto whole = dictionary({{"URL", "https://a.example"}, {"ClientID", "c"}, {"ClientSecret", sealed}});
  const auto broken = [&](const char* key, Value value) {
    Value::Dictionary content = *whole.dictionary();
    for (auto& [name, old] : content)
      if (name == key) old = value;
    return Value(content);
  };
  Value::Array elements;
  for (const auto* key : {"URL", "ClientID", "ClientSecret"})
    for (const auto& value : {Value(std::string()), Value(true), Value(std::int64_t{1}), Value(2.5),
                              Value(Value::Array{}), Value(Value::Dictionary{}), Value(Value::Data{"x"})})
      elements.push_back(broken(key, value));
  elements.push_back(Value(Value::Dictionary{}));
  elements.push_back(broken("Name", Value(true)));
  elements.push_back(whole);
  const auto result = ManagedInstances::parse(Value(elements));
  EXPECT_EQ(result.warnings.size(), 22U);
  EXPECT_EQ(result.instances.size(), 2U);
}

TEST(ManagedInstances, AnythingButAnArrayOfDictionariesIsEmpty) {
  const auto whole = dictionary({{"URL", "https://a.example"}, {"ClientID", "c"}, {"ClientSecret", sealed}});
  for (const auto& value : {Value(std::string("x")), Value(true), whole, Value(Value::Array{}),
                            Value(Value::Array{whole, Value(std::string("x"))})}) {
    const auto result = ManagedInstances::parse(value);
    EXPECT_THAT(result.instances, IsEmpty());
    EXPECT_THAT(result.warnings, IsEmpty());
  }
}

}  // namespace
}  // namespace orvik
