#include "managedconfig/ManagedConfig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <limits>
#include <thread>

#include "Platform/Files/Files.h"
#include "tests/Support/LogRecorder.h"

namespace tuv {
namespace {

using platform::preferences::UserPreferences;
using testing::HasSubstr;
using enum ManagedConfigOrigin;

enum class Colour { red, green };
constexpr auto enumTexts(Colour) {
  using namespace std::string_view_literals;
  return std::array{std::pair{Colour::red, "red"sv}, std::pair{Colour::green, "green"sv}};
}

const auto files = booleanKey("DownloadFiles", true);
const auto folderKey = textKey("BackupFolder", "/backups");
const auto keep = integerKey("KeepCount", 7);
const auto pace = numberKey("Pace", 2.5);
const auto colour = caseKey("Colour", Colour::red);

constexpr const char* domain = "orvik.test";

class ManagedConfigTest : public testing::Test {
 protected:
  ManagedConfig config(std::shared_ptr<ManagedConfigSource> source) const {
    return ManagedConfig(std::move(source), UserDefaultsSettingsSource(user));
  }
  ManagedConfig fixed(StaticConfigSource::Values values) const {
    return config(std::make_shared<StaticConfigSource>(std::move(values)));
  }
  std::shared_ptr<MDMPreferencesSource> forced() const {
    return std::make_shared<MDMPreferencesSource>(domain, managed.path(), geteuid());
  }
  void force(std::string_view json) const {
    platform::files::atomicWrite(json, managed / (std::string(domain) + ".json"));
  }

  platform::files::TempFolder managed;
  platform::files::TempFolder home;
  UserPreferences user{domain, home / "config"};
};

TEST_F(ManagedConfigTest, AFixedSourceServesEveryFormOfKey) {
  const auto settings = fixed({{"DownloadFiles", "no"},
                               {"KeepCount", "12"},
                               {"Pace", "0.5"},
                               {"Colour", "green"},
                               {"BackupFolder", "/srv"}});
  EXPECT_FALSE(settings.value(files));
  EXPECT_EQ(settings.value(keep), 12);
  EXPECT_EQ(settings.value(pace), 0.5);
  EXPECT_EQ(settings.value(colour), Colour::green);
  EXPECT_EQ(settings.value(folderKey), "/srv");
  EXPECT_EQ(settings.resolve(keep).origin, mdm);
}

TEST_F(ManagedConfigTest, AForcedValueWinsOverTheUsers) {
  force(R"({"KeepCount": 3})");
  user.set("KeepCount", "9");
  const auto resolved = config(forced()).resolve(keep);
  EXPECT_EQ(resolved.value, 3);
  EXPECT_EQ(resolved.origin, mdm);
}

TEST_F(ManagedConfigTest, AForcedMaybeFallsThroughToTheUsersValue) {
  force(R"({"DownloadFiles": "maybe"})");
  user.set("DownloadFiles", "false");
  const auto resolved = config(forced()).resolve(files);
  EXPECT_FALSE(resolved.value);
  EXPECT_EQ(resolved.origin, userSetting);
}

TEST_F(ManagedConfigTest, BooleansAreWordsInAnyCase) {
  for (const auto* text : {"YES", "yes", "True", "1"}) EXPECT_TRUE(files.decode(text).value()) << text;
  for (const auto* text : {"NO", "False", "0"}) EXPECT_FALSE(files.decode(text).value()) << text;
  for (const auto* text : {"", "maybe", "2", " yes", "on"}) EXPECT_FALSE(files.decode(text)) << text;
  EXPECT_EQ(files.encode(true), "true");
  EXPECT_EQ(files.encode(false), "false");
}

TEST_F(ManagedConfigTest, NumbersAreWholeTexts) {
  EXPECT_EQ(keep.decode("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
  for (const auto* text : {"", "7 ", "7.0", "0x10", "99999999999999999999", "seven"})
    EXPECT_FALSE(keep.decode(text)) << text;
  EXPECT_EQ(pace.decode("1e3"), 1000);
  for (const auto* text : {"", "inf", "nan", "1,5", "1.5s"}) EXPECT_FALSE(pace.decode(text)) << text;
  EXPECT_EQ(pace.decode(pace.encode(0.1)), 0.1);
  EXPECT_EQ(keep.decode(keep.encode(-4)), -4);
}

TEST_F(ManagedConfigTest, ACaseIsItsText) {
  EXPECT_EQ(colour.encode(Colour::green), "green");
  EXPECT_FALSE(colour.decode("Green"));
}

TEST_F(ManagedConfigTest, AForcedNumberOrBooleanForATextIsReadAsText) {
  force(R"({"BackupFolder": 42})");
  EXPECT_EQ(config(forced()).value(folderKey), "42");
  force(R"({"BackupFolder": true})");
  EXPECT_EQ(config(forced()).value(folderKey), "true");
  force(R"({"BackupFolder": 2.5})");
  EXPECT_EQ(config(forced()).value(folderKey), "2.5");
}

TEST_F(ManagedConfigTest, AListOrDictionaryIsNoSettingAndCanBeHadWhole) {
  force(R"({"BackupFolder": ["a"], "ManagedInstances": [{"URL": "x"}]})");
  const auto source = forced();
  EXPECT_EQ(config(source).resolve(folderKey).origin, builtInDefault);
  const auto instances = source->object("ManagedInstances");
  ASSERT_TRUE(instances && instances->array());
  EXPECT_EQ(*instances->array()->front().find("URL")->string(), "x");
}

TEST_F(ManagedConfigTest, ClearingTheUsersValueBringsTheDefaultBack) {
  auto settings = fixed({});
  settings.setUserValue<std::int64_t>(30, keep);
  EXPECT_EQ(settings.resolve(keep).value, 30);
  EXPECT_EQ(settings.resolve(keep).origin, userSetting);
  settings.setUserValue<std::int64_t>(std::nullopt, keep);
  EXPECT_EQ(settings.resolve(keep).value, 7);
  EXPECT_EQ(settings.resolve(keep).origin, builtInDefault);
  EXPECT_EQ(settings.generation(), 2U);
}

TEST_F(ManagedConfigTest, RefreshingReadsWhatIsForcedAnew) {
  auto settings = config(forced());
  EXPECT_EQ(settings.value(keep), 7);
  force(R"({"KeepCount": 3})");
  EXPECT_EQ(settings.value(keep), 7);
  settings.refresh();
  EXPECT_EQ(settings.value(keep), 3);
  EXPECT_EQ(settings.generation(), 1U);
}

TEST_F(ManagedConfigTest, APropertyListIsReadAndGoesBeforeJSON) {
  force(R"({"KeepCount": 3})");
  platform::files::atomicWrite(
      "<plist version=\"1.0\"><dict><key>KeepCount</key><integer>5</integer><key>DownloadFiles</key><false/>"
      "</dict></plist>",
      managed / (std::string(domain) + ".plist"));
  const auto settings = config(forced());
  EXPECT_EQ(settings.value(keep), 5);
  EXPECT_FALSE(settings.value(files));
}

TEST_F(ManagedConfigTest, AFileThatOthersMayWriteIsIgnoredWithANotice) {
  const support::LogRecorder log;
  force(R"({"KeepCount": 3})");
  ASSERT_EQ(chmod((managed / (std::string(domain) + ".json")).c_str(), 0666), 0);
  EXPECT_EQ(config(forced()).value(keep), 7);
  EXPECT_TRUE(log.mentions("others than its owner may write it"));
}

TEST_F(ManagedConfigTest, AFileOfAnotherOwnerIsIgnored) {
  force(R"({"KeepCount": 3})");
  const auto source = std::make_shared<MDMPreferencesSource>(domain, managed.path(), geteuid() + 1);
  EXPECT_EQ(config(source).value(keep), 7);
}

TEST_F(ManagedConfigTest, DamagedForcedSettingsForceNothing) {
  for (const auto* text : {"", "[]", "{", "null", "{\"KeepCount\": }", "\xFF"}) {
    force(text);
    EXPECT_EQ(config(forced()).resolve(keep).origin, builtInDefault) << text;
  }
}

TEST_F(ManagedConfigTest, AnEmptyOrTravellingDomainHasNoValues) {
  force(R"({"KeepCount": 3})");
  for (const auto* name : {"", "../orvik.test", ".orvik.test", "/etc/passwd"})
    EXPECT_FALSE(MDMPreferencesSource(name, managed.path(), geteuid()).rawValue("KeepCount")) << name;
}

TEST_F(ManagedConfigTest, SettingAValueKeepsWhatElseTheFileSays) {
  platform::files::createDirectories(user.path().parent_path());
  platform::files::atomicWrite(R"({"Other": [1, {"a": null}], "KeepCount": 5})", user.path());
  auto settings = fixed({});
  settings.setUserValue<bool>(false, files);
  EXPECT_EQ(settings.value(keep), 5);
  EXPECT_THAT(platform::files::read(user.path()), HasSubstr("\"Other\""));
  EXPECT_THAT(platform::files::read(user.path()), HasSubstr("null"));
}

TEST_F(ManagedConfigTest, AUsersFileThatIsNoObjectIsNotReplaced) {
  platform::files::createDirectories(user.path().parent_path());
  platform::files::atomicWrite("my notes", user.path());
  auto settings = fixed({});
  EXPECT_EQ(settings.resolve(keep).origin, builtInDefault);
  EXPECT_THROW(settings.setUserValue<bool>(false, files), platform::Error);
  EXPECT_EQ(platform::files::read(user.path()), "my notes");
}

TEST_F(ManagedConfigTest, ThreadsMaySetAndResolveAtOnce) {
  auto settings = fixed({});
  std::vector<std::jthread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&, i] {
      const auto key = integerKey("Key" + std::to_string(i), -1);
      for (std::int64_t n = 0; n < 10; ++n) {
        settings.setUserValue<std::int64_t>(n, key);
        EXPECT_EQ(settings.value(key), n);
      }
    });
  threads.clear();
  EXPECT_EQ(settings.generation(), 40U);
}

}  // namespace
}  // namespace tuv
