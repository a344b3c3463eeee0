#include "tests/Support/BrowsingClient.h"
#include "tests/Support/HostFixture.h"
#include "tests/Support/OrganisationFiles.h"

namespace orvik {
namespace {

using test::BrowsingClient;
using test::member;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// `orvik browse` on sealed backups that the real program made.
class BrowseSealed : public test::HostFixture {
 protected:
  BrowseSealed() {
    const auto end = runToEnd(backup({"--encrypt", "--key", organisation.key.string()}));
    EXPECT_EQ(end.status, 0) << end.error;
  }
  test::ProgramStart browsing(const std::filesystem::path& at, const Arguments& more = {}) const {
    Arguments arguments{"browse", at.string(), "--json"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return start(arguments);
  }
  std::string newest() const { return repository().latestComplete()->id; }

  const test::OrganisationFiles organisation = test::OrganisationFiles::make(folder.path());
};

TEST_F(BrowseSealed, WithTheKeyObjectsAndReportsAreOpened) {
  const BrowsingClient client(browsing(root, {"--key", organisation.key.string()}));
  EXPECT_THAT(client.body("/api/folders"), HasSubstr("\"sealed\":true"));
  const auto at = "/api/folders/0/backups/" + newest();
  EXPECT_THAT(client.body(at + "/entries?section=buildings"), HasSubstr("\"change\":\"new\""));
  EXPECT_THAT(client.get(at + "/report?name=backup"),
              AllOf(StartsWith("HTTP/1.1 200"), HasSubstr("application/pdf"), HasSubstr("\r\n\r\n%PDF-")));
}

TEST_F(BrowseSealed, WithoutAKeyASingleFolderIsRefused) {
  auto start = browsing(root / "127.0.0.1");
  const auto end = runToEnd(start);
  EXPECT_EQ(end.status, 12);
  EXPECT_THAT(end.error, StartsWith("orvik: "));
  EXPECT_THAT(end.output, Not(HasSubstr("listening")));
}

TEST_F(BrowseSealed, AmongSeveralALockedFolderSaysWhy) {
  auto plain =
      start({"backup", "--to", (folder / "more").string(), "--url", server.url(), "--client-id",
             server.clientID(), "--secret-file", secretFile.string(), "--only", "buildings", "--rate", "0"});
  ASSERT_EQ(runToEnd(plain).status, 0);
  std::filesystem::rename(folder / "more/127.0.0.1", root / "plain");
  const BrowsingClient client(browsing(root));
  const auto folders = client.json("/api/folders");
  ASSERT_EQ(folders.find("folders")->array_()->size(), 2U);
  EXPECT_THAT(folders.find("folders")->array_()->at(0).text(), HasSubstr("\"problem\":\""));
  EXPECT_THAT(folders.find("folders")->array_()->at(1).text(), Not(HasSubstr("problem")));
  const auto at = "/api/folders/0/backups/" + newest();
  EXPECT_THAT(client.get(at), StartsWith("HTTP/1.1 200"));  // what it holds is told, as orvik sections does
  EXPECT_THAT(client.get(at + "/entries?section=buildings"), StartsWith("HTTP/1.1 403"));
  EXPECT_THAT(client.get("/api/folders/1/backups"),
              AllOf(StartsWith("HTTP/1.1 200"), HasSubstr("\"sealed\":false")));
}

}  // namespace
}  // namespace orvik
