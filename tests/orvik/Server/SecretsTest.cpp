#include "orvik/Server/Secrets.h"

#include <gtest/gtest.h>

#include "tests/Support/HostFixture.h"

namespace orvik {
namespace {

using test::ProgramEnd;
using test::runToEnd;
using testing::HasSubstr;
using testing::Not;

class Secrets : public test::HostFixture {
 protected:
  /// Runs a backup with these arguments and checks that the secret is nowhere in what it says.
  ProgramEnd run(const Arguments& more, const std::string& input = {},
                 const std::map<std::string, std::string>& environment = {}) {
    auto with = start(backupWithoutSecret(more));
    with.input = input;
    for (const auto& [name, value] : environment) with.environment[name] = value;
    auto end = runToEnd(with);
    EXPECT_THAT(end.output + end.error, Not(HasSubstr(server.clientSecret())));
    return end;
  }
};

TEST_F(Secrets, AFileLosesOneLineEnd) {
  for (const auto* lineEnd : {"", "\n", "\r\n"}) {
    writeSecret(server.clientSecret() + lineEnd);
    EXPECT_EQ(run({"--secret-file", secretFile.string()}).status, 0);
  }
  writeSecret(server.clientSecret() + "\n\n");
  EXPECT_EQ(run({"--secret-file", secretFile.string()}).status, 12);
}

TEST_F(Secrets, AFileThatOthersCanReadIsRefusedWithTheRemedy) {
  for (const mode_t mode : {0640u, 0604u, 0622u}) {
    writeSecret(server.clientSecret(), mode);
    const auto end = run({"--secret-file", secretFile.string()});
    EXPECT_EQ(end.status, 12);
    EXPECT_THAT(end.error, HasSubstr("chmod 600 " + secretFile.string()));
  }
  EXPECT_FALSE(platform::files::exists(root));
}

TEST_F(Secrets, ADashIsStandardInput) {
  EXPECT_EQ(run({"--secret-file", "-"}, server.clientSecret() + "\n").status, 0);
  EXPECT_EQ(run({"--secret-file", "-"}).status, 12);
}

TEST_F(Secrets, TheFirstLineOfACommandCounts) {
  EXPECT_EQ(run({"--secret-command", "cat " + secretFile.string() + "; echo more"}).status, 0);
}

TEST_F(Secrets, ACommandThatFailsIsAnErrorWhateverItPrinted) {
  const auto end = run({"--secret-command", "cat " + secretFile.string() + "; exit 7"});
  EXPECT_EQ(end.status, 12);
  EXPECT_THAT(end.error, HasSubstr("status 7"));
}

TEST_F(Secrets, TheEnvironmentServesAndIsClearedForChildren) {
  EXPECT_EQ(run({}, {}, {{"ORVIK_CLIENT_SECRET", server.clientSecret()}}).status, 0);
  const std::string command = "test -z \"$ORVIK_CLIENT_SECRET\" && cat " + secretFile.string();
  EXPECT_EQ(run({"--secret-command", command}, {}, {{"ORVIK_CLIENT_SECRET", "another"}}).status, 0);
}

TEST_F(Secrets, NoLookIntoTheProcessFindsTheVariable) {
  auto with = start({"sample-server"});
  with.environment["ORVIK_CLIENT_SECRET"] = "a-secret-to-look-for";
  with.arguments = {"/bin/sh", "-c", "exec " + program() + " sample-server"};
  test::RunningProgram running(with);
  ASSERT_TRUE(running.waitFor("Secret file"));
  const auto variables = platform::files::read("/proc/" + std::to_string(running.id()) + "/environ");
  EXPECT_THAT(variables, HasSubstr("TMPDIR="));
  EXPECT_THAT(variables, Not(HasSubstr("a-secret-to-look-for")));
  running.send(SIGTERM);
  EXPECT_EQ(running.wait().status, 130);
}

TEST_F(Secrets, ASystemdCredentialServesLast) {
  const auto credential = folder / "credentials" / "orvik-client-secret";
  platform::files::atomicWrite(server.clientSecret() + "\n", credential);
  exempt.insert(credential);
  const std::map<std::string, std::string> environment{
      {"CREDENTIALS_DIRECTORY", (folder / "credentials").string()}};
  EXPECT_EQ(run({}, {}, environment).status, 0);
  auto both = environment;
  both["ORVIK_CLIENT_SECRET"] = "wrong";
  EXPECT_EQ(run({}, {}, both).status, 12);
}

TEST_F(Secrets, NoSecretAndAWrongOneHaveTheirStatus) {
  const auto none = run({});
  EXPECT_EQ(none.status, 12);
  EXPECT_THAT(none.error, HasSubstr("--secret-file"));
  EXPECT_FALSE(platform::files::exists(root));

  writeSecret("not-the-secret-of-this-client");
  const auto wrong = run({"--secret-file", secretFile.string()});
  EXPECT_EQ(wrong.status, 12);
  EXPECT_THAT(wrong.error, HasSubstr("Authentication"));
  EXPECT_THAT(wrong.error, Not(HasSubstr("not-the-secret-of-this-client")));
  EXPECT_TRUE(repository().completeBackups().empty());
}

TEST_F(Secrets, ATokenThatIsRefusedForAnotherReasonIsNoMatterOfTheSecret) {
  for (const int status : {404, 429, 503}) {
    server.faults().clear();
    server.faults().add({"api/oauth/token", "", {}, 0, sample::FaultAnswer{status, {}, "x"}});
    EXPECT_EQ(run({"--secret-file", secretFile.string()}).status, 1) << status;
  }
}

TEST_F(Secrets, AFileThatIsTooLongOrMissingIsRefused) {
  writeSecret(std::string(70000, 'x'));
  EXPECT_EQ(run({"--secret-file", secretFile.string()}).status, 12);
  EXPECT_EQ(run({"--secret-file", (folder / "none").string()}).status, 12);
  EXPECT_EQ(run({"--secret-file", folder.path().string()}).status, 12);
}

TEST_F(Secrets, ASecretOnTheCommandLineIsNotRepeated) {
  for (const Arguments& more :
       {Arguments{"--client-secret", server.clientSecret()}, Arguments{server.clientSecret()},
        Arguments{"--client-secret=" + server.clientSecret()}})
    EXPECT_EQ(run(more).status, 2);
}

TEST_F(Secrets, ASignalEndsTheWaitForASecret) {
  for (const Arguments& more : {Arguments{"--secret-command", "echo waiting >&2; exec sleep 60"}}) {
    test::RunningProgram running(start(backupWithoutSecret(more)));
    ASSERT_TRUE(running.waitFor("waiting"));
    const auto begin = platform::MonotonicClock::now();
    running.send(SIGTERM);
    EXPECT_EQ(running.wait().status, 130);
    EXPECT_LT(platform::MonotonicClock::now() - begin, std::chrono::seconds(2));
  }
}

}  // namespace
}  // namespace orvik
