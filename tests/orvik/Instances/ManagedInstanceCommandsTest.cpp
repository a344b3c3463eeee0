#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>

#include "OrvikCore/Config/InstanceStore.h"
#include "Platform/Files/FaultSeam.h"
#include "orvik/Instances/InstanceCommands.h"
#include "tests/Support/ForcedPlaces.h"
#include "tests/Support/ScopedVariable.h"

namespace orvik {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
namespace files = platform::files;

/// What an organisation forces stands in a folder of root's, so these call the commands themselves.
class ManagedInstanceCommands : public testing::Test {
 protected:
  ManagedInstanceCommands() {
    forced.force(
        R"({"ManagedInstances": [{"Name": "Forced", "URL": "https://forced.example/", "ClientID": "c",
                                           "ClientSecret": "in plain"}, {}]})");
    files::atomicWrite("hunter2", secretFile, files::Flush::no, std::filesystem::perms::owner_read);
  }
  host::AddInstanceArguments adding(const std::string& name, const std::string& url) const {
    return {.name = name,
            .url = url,
            .clientID = "c",
            .mount = {},
            .secret = {secretFile.string(), {}},
            .output = {}};
  }
  std::string refusal(const std::function<void()>& command) const {
    try {
      command();
    } catch (const host::UsageError& error) {
      return error.description();
    }
    return "(done)";
  }

  test::ForcedPlaces forced;
  const std::filesystem::path secretFile = forced.folder / "secret";
  test::ScopedVariable data{"XDG_DATA_HOME", forced.folder.path().string()};
  test::ScopedVariable bus{"DBUS_SESSION_BUS_ADDRESS"};
  test::ScopedVariable runtime{"XDG_RUNTIME_DIR"};
  host::Results results;
};

TEST_F(ManagedInstanceCommands, AManagedServerIsNotRegisteredAgainHoweverItsURLIsWritten) {
  for (const auto* url : {"https://forced.example", "HTTPS://FORCED.example//", "forced.example"}) {
    EXPECT_THAT(refusal([&] { host::addInstance(adding("Mine", url), {}, forced.places(), results, {}); }),
                HasSubstr("managed by the organisation already, as Forced"));
  }
  EXPECT_THAT(refusal([&] {
                host::addInstance(adding("forced", "https://b.example"), {}, forced.places(), results, {});
              }),
              HasSubstr("There is an instance Forced already"));
  EXPECT_FALSE(files::exists(forced.data() / "instances.json"));
  EXPECT_FALSE(files::exists(forced.folder / "orvik/secrets"));
}

TEST_F(ManagedInstanceCommands, AManagedInstanceIsNotRemoved) {
  EXPECT_THAT(refusal([&] {
                host::removeInstance({.name = "Forced", .yes = true, .dryRun = false, .output = {}},
                                     forced.places(), results, {});
              }),
              HasSubstr("managed by the organisation"));
}

TEST_F(ManagedInstanceCommands, ListTellsWhoseItIsAndWhatIsWrong) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  host::listInstances({}, forced.places(), results);
  host::listInstances({.output = {.json = true, .quiet = false}}, forced.places(), results);
  const auto output = testing::internal::GetCapturedStdout(), error = testing::internal::GetCapturedStderr();
  EXPECT_THAT(output, AllOf(HasSubstr("the organisation"), HasSubstr("\"managed\":true"),
                            HasSubstr("\"hasSecret\":true"), Not(HasSubstr("in plain"))));
  EXPECT_THAT(error, HasSubstr("ManagedInstances[1] needs URL, ClientID and ClientSecret; ignored."));
  EXPECT_THAT(output, HasSubstr("{\"event\":\"note\",\"text\":\"ManagedInstances[1] needs"));
  EXPECT_THAT(output + error, Not(HasSubstr("in plain")));
}

TEST_F(ManagedInstanceCommands, WhenTheFileCannotBeWrittenTheSecretOfANewInstanceGoesAgain) {
  const auto places = forced.places();
  files::createDirectories(places.data);
  int failures = 0;
  for (std::uint64_t n = 1; n < 60; ++n) {
    files::armFaultSeam(n, files::FaultAction::fail, ENOSPC);
    bool failed = false;
    try {
      testing::internal::CaptureStdout();
      host::addInstance(adding("Mine", "https://own.example"), {}, places, results, {});
    } catch (const tuv::Error&) {
      failed = true;
    }
    testing::internal::GetCapturedStdout();
    const auto operations = files::operationsSinceArmed();
    files::disarmFaultSeam();
    if (operations < n) break;
    EXPECT_TRUE(failed) << n;
    failures += failed;
    EXPECT_TRUE(InstanceStore(places.data).load().empty()) << n;
    EXPECT_TRUE(files::visibleNames(forced.folder / "orvik/secrets").empty()) << n;
  }
  EXPECT_GE(failures, 4);
  EXPECT_EQ(InstanceStore(places.data).load().size(), 1U) << "the last one met no fault";
}

}  // namespace
}  // namespace orvik
