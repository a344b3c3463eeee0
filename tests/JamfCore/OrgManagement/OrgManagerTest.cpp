#include "JamfCore/OrgManagement/OrgManager.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <functional>
#include <future>
#include <latch>
#include <thread>

#include "JamfCore/OrgManagement/DeviceCache.h"
#include "Platform/Keychain/Passwords.h"
#include "tests/JamfCore/ClientFixture.h"
#include "tests/JamfCore/LocalDatabase.h"

namespace jamf {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Summary = OrgManager::Summary;

constexpr const char* hidden = "a-secret-to-look-for";

class Organizations : public test::LocalDatabase {
 protected:
  OrgManager makeManager(std::shared_ptr<platform::HTTPSession> session = {}) const {
    return OrgManager(open(), keychain, std::move(session));
  }
  JamfOrganization add(const std::string& name, const std::string& url = "https://a.example") {
    return manager.addOrganization(name, url, "client-" + name, secret(hidden));
  }
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& each : open()->fetch<JamfOrganization>()) found.push_back(each.name);
    return found;
  }
  static std::string failureOf(const std::function<void()>& action) {
    try {
      action();
    } catch (const tuv::Error& error) {
      return error.description();
    }
    return "it did not fail";
  }
  /// Holds the right to write, as another process may.
  std::unique_ptr<platform::Database> writer() const {
    return std::make_unique<platform::Database>(
        platform::Database::open(path, PersistenceController::applicationID));
  }

  OrgManager manager = makeManager();
};

TEST_F(Organizations, AddingKeepsTheRecordInTheDatabaseAndTheSecretInTheKeychain) {
  const auto before = platform::now();
  const auto made =
      manager.addOrganization("School", "https://school.example", "4711", secret(hidden), "Main");
  EXPECT_EQ(made.name, "School");
  EXPECT_EQ(made.baseURLString, "https://school.example");
  EXPECT_EQ(made.clientID, "4711");
  EXPECT_EQ(made.clientName, "Main");
  EXPECT_GE(made.createdAt, before);
  EXPECT_EQ(made.lastUsedAt, std::nullopt);
  EXPECT_THAT(manager.organizations(), ElementsAre(made));
  EXPECT_THAT(open()->fetch<JamfOrganization>(), ElementsAre(made));
  EXPECT_EQ(textOf(manager.clientSecret(made)), hidden);
  EXPECT_EQ(textOf(keychain.secret(made.id, "clientSecret")), hidden);
  const auto file = platform::files::read(path);
  EXPECT_EQ(file.find(hidden), file.npos);
}

TEST_F(Organizations, SummariesHoldNamesAndAddressesInTheOrderOfTheirMaking) {
  add("b");
  add("a", "https://b.example");
  auto expected = std::vector<Summary>();
  for (const auto& each : manager.organizations()) expected.push_back({each.name, each.baseURLString});
  EXPECT_EQ(manager.organizationSummaries(), expected);
  EXPECT_EQ(expected.size(), 2U);
}

TEST_F(Organizations, TwoCallsGiveTheSameClientAndEachOrganizationItsOwn) {
  const auto one = add("one"), two = add("two");
  const auto client = manager.apiClient(one);
  EXPECT_TRUE(client);
  EXPECT_EQ(manager.apiClient(one), client);
  EXPECT_EQ(manager.apiClient("one"), client);
  EXPECT_NE(manager.apiClient(two), client);
}

TEST_F(Organizations, AnUpdateMakesANewClient) {
  const auto org = add("one");
  const auto client = manager.apiClient(org);
  manager.updateOrganization(org, "renamed", org.baseURLString, org.clientID, {}, {});
  EXPECT_NE(manager.apiClient(org), client);
  EXPECT_EQ(textOf(manager.clientSecret(org)), hidden) << "no new secret keeps the stored one";
  EXPECT_EQ(manager.apiClient("one"), nullptr);
  manager.updateOrganization(manager.organizations()[0], "renamed", "https://b.example", "c",
                             secret("another"), "n");
  const auto changed = manager.organizations()[0];
  EXPECT_EQ(changed.baseURLString, "https://b.example");
  EXPECT_EQ(changed.clientID, "c");
  EXPECT_EQ(changed.clientName, "n");
  EXPECT_EQ(changed.createdAt, org.createdAt);
  EXPECT_EQ(textOf(manager.clientSecret(org)), "another");
}

TEST_F(Organizations, ANameInAnotherCaseIsNone) {
  add("School");
  EXPECT_TRUE(manager.apiClient("School"));
  EXPECT_EQ(manager.apiClient("school"), nullptr);
  EXPECT_EQ(manager.apiClient("School "), nullptr);
}

TEST_F(Organizations, OfTwoWithOneNameTheFirstCounts) {
  const auto first = add("same");
  auto later = first;
  later.id = platform::UUID::random();
  later.createdAt += std::chrono::seconds(1);
  open()->save([&](ModelChanges& changes) { changes.insert(later); });
  EXPECT_EQ(manager.apiClient("same"), manager.apiClient(first));
  EXPECT_NE(manager.apiClient("same"), manager.apiClient(later));
}

TEST_F(Organizations, AnAddressThatIsNoneFailsWhenAClientIsWanted) {
  for (const std::string url : {"", "school.example", "ftp://a.example", "https://"}) {
    const auto org = add("x" + url, url);
    EXPECT_EQ(failureOf([&] { manager.apiClient(org); }), "The Jamf Pro instance URL is missing or invalid.")
        << url;
  }
}

TEST_F(Organizations, SessionsWaitThirtySecondsForAByteAndSixtyInAll) {
  EXPECT_EQ(OrgManager::sessionConfiguration().mostIdleTimeout, std::chrono::seconds(30));
  EXPECT_EQ(OrgManager::sessionConfiguration().totalTimeout, std::chrono::seconds(60));
}

TEST_F(Organizations, RemovingTakesRecordSecretAndDevices) {
  const auto org = add("one"), other = add("two");
  Device device;
  device.id = "1";
  const DeviceCache cache(open());
  cache.store({device}, org.id);
  cache.store({device}, other.id);
  manager.removeOrganization(org);
  EXPECT_THAT(names(), ElementsAre("two"));
  EXPECT_EQ(textOf(manager.clientSecret(org)), "nothing");
  EXPECT_TRUE(cache.cachedDevices(org.id).empty());
  EXPECT_EQ(cache.cachedDevices(other.id).size(), 1U);
  EXPECT_EQ(failureOf([&] { manager.apiClient(org); }),
            "No client secret is available for this organization. Try re-adding it.");
  EXPECT_EQ(manager.apiClient("one"), nullptr);
  EXPECT_EQ(failureOf([&] { manager.updateOrganization(org, "x", "", "", secret("y"), {}); }),
            "The organization one was removed.");
  EXPECT_EQ(secretCount(), 1U);
  manager.removeOrganization(org);  // gone already
}

TEST_F(Organizations, ADuplicateHasTheSameServerAndSecretAndAnIDOfItsOwn) {
  const auto org = manager.addOrganization("one", "https://a.example", "c", secret(hidden), "n");
  const auto copy = manager.duplicateOrganization(org, "two");
  EXPECT_NE(copy.id, org.id);
  EXPECT_EQ(copy.name, "two");
  EXPECT_EQ(copy.baseURLString, org.baseURLString);
  EXPECT_EQ(copy.clientID, org.clientID);
  EXPECT_EQ(textOf(manager.clientSecret(copy)), hidden);
  manager.removeOrganization(org);
  EXPECT_EQ(textOf(manager.clientSecret(copy)), hidden);
}

TEST_F(Organizations, TheActiveOneIsNothingUntilChosenAndAfterItsRemoval) {
  const auto org = add("one");
  EXPECT_EQ(manager.activeOrganization(), std::nullopt);
  EXPECT_EQ(manager.activeClient(), nullptr);
  manager.setActiveOrganizationID(org.id);
  EXPECT_EQ(manager.activeOrganization(), org);
  EXPECT_EQ(manager.activeClient(), manager.apiClient(org));
  manager.removeOrganization(org);
  EXPECT_EQ(manager.activeOrganization(), std::nullopt);
  EXPECT_EQ(manager.activeClient(), nullptr);
}

TEST_F(Organizations, WhatAnotherProcessChangesIsSeenAtTheNextLook) {
  auto other = makeManager();
  const auto org = other.addOrganization("one", "https://a.example", "c", secret(hidden));
  EXPECT_TRUE(manager.organizations().empty());
  const auto client = manager.apiClient("one");
  EXPECT_TRUE(client);
  EXPECT_THAT(manager.organizationSummaries(), ElementsAre(Summary{"one", "https://a.example"}));
  other.refresh();
  other.updateOrganization(org, "two", org.baseURLString, org.clientID, {}, {});
  EXPECT_EQ(manager.apiClient("two"), client) << "the same server and client";
  other.updateOrganization(other.organizations()[0], "two", "https://b.example", "c", {}, {});
  EXPECT_NE(manager.apiClient("two"), client);
  other.removeOrganization(org);
  EXPECT_EQ(manager.apiClient("two"), nullptr);
}

TEST_F(Organizations, AKeychainThatRefusesLeavesNoRecordBehind) {
  const auto org = add("one");
  ::chmod(secrets.c_str(), 0755);
  EXPECT_THAT(failureOf([&] { add("two"); }), HasSubstr("Keychain error (-2070)"));
  EXPECT_THAT(failureOf([&] { manager.removeOrganization(org); }), HasSubstr("Keychain error (-2070)"));
  EXPECT_THAT(failureOf([&] { manager.updateOrganization(org, "x", "", "", secret("y"), {}); }),
              HasSubstr("Keychain error (-2070)"));
  manager.updateOrganization(org, "renamed", "https://a.example", "c", {}, {});  // needs no keychain
  ::chmod(secrets.c_str(), 0700);
  EXPECT_THAT(names(), ElementsAre("renamed"));
  EXPECT_EQ(textOf(manager.clientSecret(org)), hidden);
}

TEST_F(Organizations, ADatabaseThatRefusesLeavesTheSecretsAsTheyWere) {
  const auto org = add("one");
  // A record that can't be saved after its secret was written: at the very end of the change.
  writer()->run(
      "CREATE TABLE Never (id TEXT PRIMARY KEY) STRICT; CREATE TABLE Guard (id TEXT NOT NULL REFERENCES "
      "Never (id) DEFERRABLE INITIALLY DEFERRED) STRICT;"
      "CREATE TRIGGER a AFTER INSERT ON JamfOrganization BEGIN INSERT INTO Guard VALUES ('x'); END;"
      "CREATE TRIGGER b AFTER UPDATE ON JamfOrganization BEGIN INSERT INTO Guard VALUES ('x'); END;"
      "CREATE TRIGGER c AFTER DELETE ON JamfOrganization BEGIN INSERT INTO Guard VALUES ('x'); END;");
  const auto refused = HasSubstr(path.string() + " refuses a record");
  EXPECT_THAT(failureOf([&] { add("two"); }), refused);
  EXPECT_EQ(secretCount(), 1U) << "no secret without its record";
  EXPECT_THAT(failureOf([&] { manager.updateOrganization(org, "x", "", "", secret("another"), {}); }),
              refused);
  EXPECT_THAT(failureOf([&] { manager.removeOrganization(org); }), refused);
  EXPECT_EQ(textOf(manager.clientSecret(org)), hidden);
  EXPECT_THAT(names(), ElementsAre("one"));
  EXPECT_EQ(manager.apiClient("one"), manager.apiClient(org));
}

TEST_F(Organizations, ASecretThatIsNoTextDoesNotKeepAnOrganizationFromGoing) {
  const auto org = add("one");
  platform::keychain::secretFolder(secrets)->set(keychain.service, org.id.text() + ".clientSecret",
                                                 secret("\xFF"));
  manager.removeOrganization(org);
  EXPECT_TRUE(names().empty());
  EXPECT_EQ(secretCount(), 0U);
}

TEST_F(Organizations, AnyThreadMayCall) {
  const auto org = add("one");
  std::vector<std::jthread> threads;
  for (int i = 0; i < 6; ++i)
    threads.emplace_back([&, i] {
      for (int j = 0; j < 20; ++j) {
        EXPECT_TRUE(manager.apiClient("one"));
        if (i == 0) add("more");
        EXPECT_FALSE(manager.organizationSummaries().empty());
      }
    });
  threads.clear();
  EXPECT_EQ(manager.organizations().size(), 21U);
}

/// A server that asks for the secret, and one request of whose that can be held up.
class OrganizationsInUse : public Organizations {
 protected:
  std::latch arrived{1}, go{1};
  test::ClientFixture server{[this](support::ScriptedServer::Exchange& exchange) {
    if (exchange.request.target() == "/slow") {
      arrived.count_down();
      go.wait();
    }
    exchange.send(support::answer(200, "{}"));
  }};
};

TEST_F(OrganizationsInUse, AClientSendsTheSecretOfTheKeychain) {
  const auto org = add("one", "http://" + server.server.address());
  EXPECT_EQ(manager.apiClient(org)->get("x", {}, {}), "{}");
  const auto sent = server.server.requests();
  ASSERT_FALSE(sent.empty());
  EXPECT_EQ(sent[0].target(), "/api/oauth/token");
  EXPECT_THAT(sent[0].body, HasSubstr("client_id=client-one&client_secret=" + std::string(hidden)));
}

TEST_F(OrganizationsInUse, AMissingSecretIsToldWhenATokenIsWanted) {
  const auto org = add("one", "http://" + server.server.address());
  keychain.deleteSecret(org.id, "clientSecret");
  const auto client = manager.apiClient(org);
  EXPECT_EQ(failureOf([&] { client->get("x", {}, {}); }),
            "No client secret is available for this organization. Try re-adding it.");
  EXPECT_EQ(server.server.requestCount(), 0U);
}

TEST_F(OrganizationsInUse, TheGivenSessionIsUsed) {
  platform::HTTPSessionConfiguration configuration;
  configuration.connectTo = {{"a.example:80", server.server.address()}};
  const auto session = std::make_shared<platform::HTTPSession>(configuration);
  auto own = makeManager(session);
  const auto org = own.addOrganization("one", "http://a.example", "c", secret(hidden));
  EXPECT_EQ(own.apiClient(org)->get("x", {}, {}), "{}");
}

TEST_F(OrganizationsInUse, RemovingAnOrganizationLetsACallUnderWayEndWellAndNoOtherBegin) {
  const auto org = add("one", "http://" + server.server.address());
  auto client = manager.apiClient(org);
  auto call = std::async(std::launch::async, [&] { return client->get("slow", {}, {}); });
  arrived.wait();
  manager.removeOrganization(org);
  go.count_down();
  EXPECT_EQ(call.get(), "{}");
  EXPECT_EQ(manager.apiClient("one"), nullptr);
}

TEST_F(OrganizationsInUse, AClientOutlivesItsManager) {
  OrgManager::Client client;
  {
    auto passing = makeManager();
    client = passing.apiClient(
        passing.addOrganization("one", "http://" + server.server.address(), "c", secret(hidden)));
  }
  EXPECT_EQ(client->get("x", {}, {}), "{}");
}

}  // namespace
}  // namespace jamf
