#include "SampleServer/FaultRules.h"
#include "tests/Support/InstanceHost.h"
#include "tests/Support/PDFText.h"

namespace orvik {
namespace {

using testing::HasSubstr;
namespace files = platform::files;

/// Every way that a client secret takes through the program, in one home. What each program says is searched
/// by `RunningProgram`, what is left in the home at the end of each test.
class NoSecretIsLeft : public test::InstanceHost {
 protected:
  /// Nothing but the keychain's own file and the file that the administrator made holds one.
  void expectOnlyInKeychain() const { test::expectNoSecrets(folder.path(), {secretFile, keychainFile()}); }

  /// Sections whose package files come with signed addresses.
  Arguments backingUp(const Arguments& which, const Arguments& more = {}) const {
    Arguments all{"backup", "--to",   root.string(),
                  "--rate", "0",      "--attempts",
                  "1",      "--only", "scripts,packages,jcdsFiles,packageFiles"};
    all.insert(all.end(), which.begin(), which.end());
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }
  Arguments byURL() const { return {"--url", server.url(), "--client-id", server.clientID()}; }

  /// So that a search has something to find.
  void expectTokensAndSignedAddressesWereHandedOut() {
    EXPECT_GT(server.log().count("api/oauth/token"), 0U);
    std::uint64_t downloads = 0;
    for (const auto& file : server.packageFiles()) downloads += server.log().count("cdn/" + file.fileName);
    EXPECT_GT(downloads, 0U);
  }
};

TEST_F(NoSecretIsLeft, ByRegistration) {
  const auto again = [&](const test::ProgramEnd& end) {
    EXPECT_EQ(end.status, 0) << end.error;
    EXPECT_EQ(files::read(keychainFile()), server.clientSecret());
    EXPECT_EQ(std::filesystem::status(keychainFile()).permissions(), std::filesystem::perms(0600));
    expectOnlyInKeychain();
  };
  again(add("School"));
  again(run(adding("School", {"--secret-file", "-"}), server.clientSecret() + "\n"));
  again(run(adding("School", {"--secret-command", "cat " + secretFile.string()})));
  again(run(adding("School", {"--json"}), {}, {{"ORVIK_CLIENT_SECRET", server.clientSecret()}}));
  test::RunningProgram running(atTerminal(adding("School")));
  ASSERT_TRUE(running.waitFor("Client secret"));
  running.type(server.clientSecret() + "\n");
  again(running.wait());

  EXPECT_EQ(run({"instances", "list"}).status, 0);
  EXPECT_EQ(run({"instances", "list", "--json"}).status, 0);
  EXPECT_EQ(run({"instances", "test", "School"}).status, 0);
  EXPECT_EQ(run({"instances", "test", "School", "--json"}).status, 0);
  expectOnlyInKeychain();
  EXPECT_EQ(run({"instances", "remove", "School", "--yes"}).status, 0);
  EXPECT_FALSE(hasSecret());
}

TEST_F(NoSecretIsLeft, ByBackupsAndWhatIsMadeOfThem) {
  const Arguments file{"--secret-file", secretFile.string()};
  EXPECT_EQ(run(backingUp(byURL(), file)).status, 0);
  server.change("scripts", server.ids("scripts").front());
  EXPECT_EQ(run(backingUp(byURL(), {"--json"}), {}, {{"ORVIK_CLIENT_SECRET", server.clientSecret()}}).status,
            0);
  auto simulation = backingUp(byURL(), file);
  simulation.front() = "simulate";
  simulation.insert(simulation.end(), {"--report", (folder / "simulation.pdf").string()});
  EXPECT_EQ(run(simulation).status, 0);
  expectTokensAndSignedAddressesWereHandedOut();

  const auto instance = repository().instanceDirectory.string();
  EXPECT_EQ(run({"export", instance, "scripts", "--out", (folder / "exported").string()}).status, 0);
  EXPECT_EQ(run({"export", instance, "--tree", (folder / "tree").string()}).status, 0);
  EXPECT_EQ(run({"export", instance, "--git", (folder / "repository").string()}).status, 0);
  EXPECT_EQ(run({"show", instance, "packages"}).status, 0);
  EXPECT_EQ(run({"diff", instance, "--json"}).status, 0);
  auto list = start({});
  list.arguments = {std::string(ORVIK_PROGRAM_FOLDER) + "/orvikctl", "verify", instance};
  EXPECT_EQ(test::runToEnd(list).status, 0);

  // The streams of a document are packed.
  int documents = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.path())) {
    if (entry.path().extension() != ".pdf") continue;
    ++documents;
    const test::PDFText document(files::read(entry.path()));
    for (const auto& text : {document.text(), document.unpacked()})
      EXPECT_THAT(test::secretsIn(text), testing::IsEmpty()) << entry.path();
  }
  EXPECT_EQ(documents, 5);
}

TEST_F(NoSecretIsLeft, WhenCredentialsAreRefusedOrTheServerIsAway) {
  EXPECT_EQ(add("School").status, 0);
  writeSecret("sample-secret-that-is-wrong\n");
  const Arguments file{"--secret-file", secretFile.string()};
  EXPECT_EQ(run(backingUp(byURL(), file)).status, 12);
  EXPECT_EQ(run(backingUp(byURL(), {"--secret-file", secretFile.string(), "--json"})).status, 12);
  EXPECT_EQ(run({"instances", "test", "School", "--secret-file", secretFile.string()}).status, 12);
  ::chmod(secretFile.c_str(), 0644);
  EXPECT_EQ(run(adding("Other", file)).status, 12);
  ::chmod(secretFile.c_str(), 0600);
  server.stop();
  EXPECT_EQ(run({"instances", "test", "School"}).status, 1);
  EXPECT_EQ(run(backingUp({"--url", "http://127.0.0.1:1", "--client-id", "c"}, file)).status, 1);
  expectOnlyInKeychain();
}

TEST_F(NoSecretIsLeft, ByBackupsOfARegisteredServer) {
  EXPECT_EQ(add("School").status, 0);
  EXPECT_EQ(run(backingUp({"--instance", "School"})).status, 0);
  EXPECT_EQ(run(backingUp({"--instance", "School", "--json"})).status, 0);
  EXPECT_EQ(run(backingUp({"--all"})).status, 0);
  EXPECT_EQ(
      run(backingUp({"--all", "--json"}), {}, {{"ORVIK_CLIENT_SECRET", "sample-secret-of-none"}}).status, 0);
  EXPECT_EQ(run({"config", "show"}).status, 0);
  expectTokensAndSignedAddressesWereHandedOut();
  expectOnlyInKeychain();
  EXPECT_EQ(run({"instances", "remove", "School", "--yes"}).status, 0);
  EXPECT_EQ(run(backingUp({"--instance", "School"})).status, 10);
  EXPECT_FALSE(hasSecret());
}

/// Proxies and clumsy servers do so.
TEST_F(NoSecretIsLeft, WhenTheServerRepeatsWhatItWasSent) {
  EXPECT_EQ(add("School").status, 0);
  const std::string sent = "grant_type=client_credentials&client_secret=" + server.clientSecret();
  for (const int status : {200, 400, 401, 403, 500}) {
    server.faults().clear();
    server.faults().add({"api/oauth/token", "", {}, 0, sample::FaultAnswer{status, {}, sent}});
    const auto end = run({"instances", "test", "School"});
    EXPECT_NE(end.status, 0) << status;
    if (status != 200) {
      EXPECT_THAT(end.error, HasSubstr("client_secret=[secret]")) << status;
    }
    EXPECT_NE(run(backingUp(byURL(), {"--secret-file", secretFile.string(), "--json"})).status, 0) << status;
    server.faults().clear();
    server.faults().add(
        {"api/oauth/token",
         "",
         {},
         0,
         sample::FaultAnswer{status, {}, R"({"errors":[{"description":")" + sent + R"("}]})"}});
    EXPECT_NE(run({"instances", "test", "School"}).status, 0) << status;
  }
  expectOnlyInKeychain();
}

}  // namespace
}  // namespace orvik
