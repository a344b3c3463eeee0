#include "orvik/Orgs/Organizations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "Platform/Files/Files.h"
#include "SampleServer/SampleServer.h"
#include "orvik/ExitStatus.h"
#include "tests/Support/ScopedVariable.h"

namespace orvik::host {
namespace {

using jamf::JamfOrganization;

class OrganizationsOfUser : public testing::Test {
 protected:
  static JamfOrganization named(const std::string& name) {
    return {platform::UUID::random(), name, "https://a.example", "c", {}, {}, {}};
  }
  static Failure failureOf(const std::function<void()>& action) {
    try {
      action();
    } catch (...) {
      return describe(std::current_exception());
    }
    return {ExitStatus::done, ""};
  }

  platform::files::TempFolder home;
  test::ScopedVariable bus{"DBUS_SESSION_BUS_ADDRESS"};
  test::ScopedVariable runtime{"XDG_RUNTIME_DIR"};
  test::ScopedVariable data{"XDG_DATA_HOME", home.path().string()};
};

TEST_F(OrganizationsOfUser, ANameGoesBeforeAnIDAndOneOfSeveralIsNoChoice) {
  const std::vector<JamfOrganization> list{named("a"), named("b"), named("b")};
  EXPECT_EQ(organizationNamed(list, "a"), list[0]);
  EXPECT_EQ(organizationNamed(list, list[2].id.text()), list[2]);
  const auto several = failureOf([&] { organizationNamed(list, "b"); });
  EXPECT_EQ(several.status, ExitStatus::usage);
  EXPECT_THAT(several.message, testing::HasSubstr(list[1].id.text() + ", " + list[2].id.text()));
  const auto none = failureOf([&] { organizationNamed(list, "A"); });
  EXPECT_EQ(none.status, ExitStatus::notFound);
  EXPECT_EQ(none.message, "There is no organization A. There are: a, b, b.");
}

TEST_F(OrganizationsOfUser, AClientIsHadByNameAndAnUnknownNameListsWhatThereIs) {
  sample::SampleServer server;
  const auto organizations = openOrganizations(home / "a.sqlite");
  EXPECT_EQ(failureOf([&] { organizationClient(*organizations, "School"); }).message,
            "There is no organization School: none is registered. Register one with orvik orgs add.");
  organizations->addOrganization("School", server.url(), server.clientID(),
                                 platform::SecretString(server.clientSecret()));
  const auto client = organizationClient(*organizations, "School");
  EXPECT_THAT(client->get("api/v1/jamf-pro-version", {}, {}), testing::HasSubstr("version"));
  const auto failure = failureOf([&] { organizationClient(*organizations, "other"); });
  EXPECT_EQ(failure.status, ExitStatus::notFound);
  EXPECT_EQ(failure.message, "There is no organization other. There are: School.");
}

TEST_F(OrganizationsOfUser, TrustAnchorsThatAreNotThereAreTold) {
  EXPECT_THAT(failureOf([&] { openOrganizations(home / "a.sqlite", home / "none.pem"); }).message,
              testing::HasSubstr("There is no file of trust anchors at"));
  EXPECT_EQ(existingOrganizations(home / "a.sqlite"), nullptr);
}

TEST_F(OrganizationsOfUser, AKeychainThatRefusesAndADatabaseInUseHaveTheirOwnStatus) {
  EXPECT_EQ(failureOf([] { throw jamf::KeychainError::unexpectedStatus(-1, "no"); }).status,
            ExitStatus::credential);
  EXPECT_EQ(failureOf([] { throw platform::DatabaseError(platform::DatabaseErrorKind::busy, ""); }).status,
            ExitStatus::locked);
  EXPECT_EQ(failureOf([] { throw platform::DatabaseError(platform::DatabaseErrorKind::full, ""); }).status,
            ExitStatus::failed);
}

}  // namespace
}  // namespace orvik::host
