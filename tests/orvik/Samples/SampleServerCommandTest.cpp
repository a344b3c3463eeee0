#include "orvik/Samples/SampleServerCommand.h"

#include <gtest/gtest.h>

#include "Platform/JSON/Value.h"
#include "tests/Support/HostFixture.h"

namespace orvik {
namespace {

using test::runToEnd;
using testing::HasSubstr;

class SampleServerCommand : public test::HostFixture {
 protected:
  static std::string fieldOf(const std::string& output, const std::string& label) {
    const auto start = output.find_first_not_of(' ', output.find(label) + label.size());
    return output.substr(start, output.find('\n', start) - start);
  }
};

TEST_F(SampleServerCommand, ItServesABackupUntilItIsStopped) {
  test::RunningProgram running(start({"sample-server", "--seed", "5"}));
  ASSERT_TRUE(running.waitFor("/client-secret\n"));
  const auto said = running.output();
  const std::filesystem::path file = fieldOf(said, "Secret file");
  struct stat about {};
  ASSERT_EQ(::stat(file.c_str(), &about), 0);
  EXPECT_EQ(about.st_mode & 0777, 0600u);
  const auto backup = runToEnd(start({"backup", "--to", root.string(), "--url", fieldOf(said, "URL"),
                                      "--client-id", fieldOf(said, "Client ID"), "--secret-file",
                                      file.string(), "--rate", "0", "--only", "buildings"}));
  EXPECT_EQ(backup.status, 0) << backup.error;
  running.send(SIGTERM);
  const auto end = running.wait();
  EXPECT_EQ(end.status, 130);
  EXPECT_THAT(end.error, HasSubstr(" requests came: 1 for a token, 0 that write.\n"));
  EXPECT_FALSE(platform::files::exists(file));
}

TEST_F(SampleServerCommand, APortThatIsTakenIsNamed) {
  const auto end = runToEnd(start({"sample-server", "--port", std::to_string(server.port())}));
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr(std::to_string(server.port())));
}

TEST_F(SampleServerCommand, JSONTellsTheSameUnderItsNames) {
  test::RunningProgram running(start({"sample-server", "--json", "--quiet"}));
  ASSERT_TRUE(running.waitFor("\n"));
  const auto document = platform::json::Document::parse(running.output());
  const auto said = platform::json::Value::from(document->root());
  for (const auto* name : {"url", "clientID", "secretFile"}) EXPECT_TRUE(said.find(name)) << name;
  running.send(SIGINT);
  const auto end = running.wait();
  EXPECT_EQ(end.status, 130);
  EXPECT_EQ(end.error, "orvik: cancelled\n");
  EXPECT_THAT(end.output, HasSubstr(R"({"requests":0,"tokenRequests":0,"writingRequests":0})"));
}

}  // namespace
}  // namespace orvik
