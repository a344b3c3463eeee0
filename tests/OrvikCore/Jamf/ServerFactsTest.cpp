#include "OrvikCore/Jamf/ServerFacts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "JamfCore/Networking/APIError.h"
#include "OrvikCore/Format/BackupEngineError.h"
#include "Platform/Concurrency/Cancellation.h"
#include "tests/Support/ScriptedReader.h"

namespace orvik {
namespace {

using jamf::APIError;
using test::ScriptedReader;
using testing::ElementsAre;

ScriptedReader answering(const std::string& body) {
  return ScriptedReader([body](const auto&, const auto&) { return body; });
}
ScriptedReader failing(const APIError& error) {
  return ScriptedReader([error](const auto&, const auto&) -> platform::Bytes { throw error; });
}

TEST(ServerFacts, TheVersionIsReadFromItsPath) {
  auto server = answering(R"({"version":"11.2.0"})");
  EXPECT_EQ(ServerFacts::version(server, {}), "11.2.0");
  EXPECT_EQ(server.calls().at(0).path, "api/v1/jamf-pro-version");
}

TEST(ServerFacts, AServerThatHidesItsVersionIsNoFailure) {
  for (const int status : {403, 404}) {
    auto server = failing(APIError::requestFailed(status, {}));
    EXPECT_EQ(ServerFacts::version(server, {}), std::nullopt);
  }
  auto server = answering("{}");
  EXPECT_EQ(ServerFacts::version(server, {}), std::nullopt);
}

TEST(ServerFacts, OnlyARefusalOfTheClientBlamesItsCredential) {
  using Credential = BackupEngineError::Credential;
  const std::vector<std::pair<APIError, Credential>> rows{
      {APIError::authenticationFailed(400, {}), Credential::refused},
      {APIError::authenticationFailed(401, {}), Credential::refused},
      {APIError::authenticationFailed(403, {}), Credential::refused},
      {APIError::notAuthenticated(), Credential::refused},
      {APIError::authenticationFailed(503, {}), Credential::notAtFault},
      {APIError::transport("no answer"), Credential::notAtFault},
      {APIError::requestFailed(500, {}), Credential::notAtFault}};
  for (const auto& [error, credential] : rows) {
    auto server = failing(error);
    try {
      ServerFacts::version(server, {});
      ADD_FAILURE() << error.description();
    } catch (const BackupEngineError& failure) {
      EXPECT_EQ(failure.kind(), BackupEngineError::Kind::cannotConnect);
      EXPECT_EQ(failure.credential(), credential) << error.description();
    }
  }
}

TEST(ServerFacts, AnAnswerThatIsNoJSONIsNoServer) {
  auto server = answering("<html>");
  EXPECT_THROW(ServerFacts::version(server, {}), BackupEngineError);
}

TEST(ServerFacts, AStopIsACancellationAndNoFailure) {
  std::stop_source source;
  source.request_stop();
  auto server = failing(APIError::transport("cancelled"));
  EXPECT_THROW(ServerFacts::version(server, source.get_token()), platform::CancellationError);
  EXPECT_THROW(ServerFacts::privileges(server, source.get_token()), platform::CancellationError);
}

TEST(ServerFacts, PrivilegesStandInTheAccountOrBesideIt) {
  auto server = answering(R"({"account":{"privileges":["b","a",7]},"privileges":["x"]})");
  EXPECT_THAT(ServerFacts::privileges(server, {}).value(), ElementsAre("7", "a", "b"));
  auto older = answering(R"({"privileges":["x"]})");
  EXPECT_THAT(ServerFacts::privileges(older, {}).value(), ElementsAre("x"));
}

TEST(ServerFacts, AServerThatDoesNotTellPrivilegesIsNoFailure) {
  for (const auto* body : {"{}", "[]", "<html>", R"({"privileges":"x"})"}) {
    auto server = answering(body);
    EXPECT_EQ(ServerFacts::privileges(server, {}), std::nullopt) << body;
  }
  auto server = failing(APIError::requestFailed(500, {}));
  EXPECT_EQ(ServerFacts::privileges(server, {}), std::nullopt);
}

TEST(ServerFacts, ReadingBeginsWithItsWord) {
  EXPECT_TRUE(ServerFacts::isReading("Read Policies"));
  EXPECT_TRUE(ServerFacts::isReading("read users"));
  EXPECT_FALSE(ServerFacts::isReading("Update Policies"));
  EXPECT_FALSE(ServerFacts::isReading(""));
}

}  // namespace
}  // namespace orvik
