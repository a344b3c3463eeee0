#include "orvik/Browse/BrowseCommand.h"

#include <sys/stat.h>

#include "tests/Support/BrowsingClient.h"
#include "tests/Support/ExploreHost.h"
#include "tests/Support/FolderState.h"

namespace orvik {
namespace {

using test::BrowsingClient;
using test::member;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
namespace files = platform::files;

class Browse : public test::ExploreHost {
 protected:
  static std::string backup(const std::string& id, const std::string& rest = "") {
    return "/api/folders/0/backups/" + id + rest;
  }
  static std::string textOf(const platform::json::Value& value, std::string_view key) {
    const auto* found = value.find(key);
    return found ? std::string(found->text()) : "(none)";
  }

  BrowsingClient client{starting("browse", {"--json"})};
};

TEST_F(Browse, ListsFoldersBackupsAndSections) {
  EXPECT_THAT(client.get("/api/folders"), AllOf(StartsWith("HTTP/1.1 200 OK"), HasSubstr("no-store")));
  EXPECT_THAT(client.body("/api/folders"),
              AllOf(HasSubstr("{\"folder\":0,\"name\":\"North\""), HasSubstr("\"sealed\":false")));
  const auto backups = client.json("/api/folders/0/backups");
  ASSERT_THAT(*backups.find("backups")->array_(), SizeIs(3));
  const auto& newest = backups.find("backups")->array_()->front();
  EXPECT_EQ(member(newest, "backup"), third);
  EXPECT_EQ(member(newest, "parent"), second);
  EXPECT_EQ(textOf(newest, "counts"),
            R"({"changed":2,"failed":0,"new":0,"removed":0,"total":3,"unchanged":1})");
  EXPECT_EQ(textOf(newest, "reports"), "[]");
  EXPECT_THAT(client.body(backup(third)), AllOf(HasSubstr(R"("id":"policies","title":"Policies")"),
                                                HasSubstr(R"("id":"scripts","title":"Scripts")")));
}

TEST_F(Browse, AnObjectIsWhatShowPrintsWithItsDownloads) {
  const auto shown = command("show", {"scripts", "5", "--json"}).output;
  const auto object = client.body(backup(third, "/object?section=scripts&id=5"));
  EXPECT_THAT(object, StartsWith(shown.substr(0, shown.rfind('}'))));
  EXPECT_THAT(object, HasSubstr(R"("downloads":[{"form":0,)"));
  EXPECT_EQ(client.body(backup(third, "/download?section=scripts&id=5&form=0")),
            "#!/bin/sh\necho two\nexit 0\n");
  EXPECT_THAT(client.get(backup(third, "/download?section=scripts&id=5")),
              HasSubstr("\r\nContent-Disposition: attachment\r\n"));
  EXPECT_THAT(client.get(backup(third, "/download?section=scripts&id=5&form=9")), StartsWith("HTTP/1.1 404"));
}

TEST_F(Browse, AProfileComesInLinesToo) {
  const std::string payloads =
      "<?xml version='1.0'?><plist><dict><key>PayloadContent</key><array><dict><key>PayloadType</key>"
      "<string>com.example.wifi</string></dict></array></dict></plist>";
  using platform::json::Value;
  const auto profile = Value::object(
      {{"general", Value::object({{"name", "Wi-Fi"}, {"payloads", payloads}})}, {"scope", Value::object()}});
  const std::string fourth = "2025-03-06T091500Z";
  test::WrittenBackup(stored, fourth)
      .section("computerConfigurationProfiles")
      .item("9", "Wi-Fi", profile.text(), Change::new_)
      .publish(third);
  const auto page = client.json(backup(fourth, "/object?section=computerConfigurationProfiles&id=9"));
  const auto& text = page.find("texts")->array_()->at(0);
  EXPECT_EQ(member(text, "text"), payloads);
  EXPECT_THAT(member(text, "readable"), StartsWith("<?xml version='1.0'?>\n<plist>\n  <dict>\n    <key>"));
}

TEST_F(Browse, EntriesAreThoseOfShow) {
  const auto entries = client.json(backup(second, "/entries?section=policies"));
  EXPECT_EQ(member(*entries.find("section"), "title"), "Policies");
  std::string lines;
  for (const auto& each : *entries.find("entries")->array_()) lines += each.text() + "\n";
  EXPECT_EQ(lines, command("show", {"policies", "--backup", second, "--json"}).output);
}

TEST_F(Browse, ChangesOfAScriptAreLinesAndOthersAreValues) {
  EXPECT_THAT(
      client.body(backup(third, "/change?section=scripts&id=5&from=" + std::string(first))),
      HasSubstr(
          R"("lines":[{"kind":"same","old":1,"new":1,"text":"#!/bin/sh"},)"
          R"({"kind":"removed","old":2,"text":"echo one"},{"kind":"added","new":2,"text":"echo two"})"));
  EXPECT_EQ(client.body(backup(third, "/change?section=policies&id=1&from=" + std::string(second))),
            R"({"changes":[{"path":"General › Frequency","old":"Once per computer","new":"Ongoing"}]})");
  EXPECT_EQ(client.body(backup(third, "/change?section=policies&id=2&from=" + std::string(first))),
            R"({"changes":[]})");
  EXPECT_THAT(client.get(backup(third, "/change?section=policies&id=77&from=" + std::string(first))),
              AllOf(StartsWith("HTTP/1.1 404"), HasSubstr("holds an object 77")));
}

TEST_F(Browse, DifferencesAreThoseOfDiffWithoutTheFields) {
  const auto found = client.json(backup(third, "/differences?from=" + std::string(first)));
  std::vector<std::string> kinds;
  for (const auto& section : *found.find("sections")->array_())
    for (const auto& each : *section.find("differences")->array_())
      kinds.push_back(member(each, "section") + " " + member(each, "id") + " " + member(each, "change"));
  EXPECT_THAT(kinds, testing::UnorderedElementsAre("policies 1 changed", "policies 2 removed",
                                                   "policies 3 new", "scripts 5 changed"));
}

TEST_F(Browse, SearchFindsNamesAndContents) {
  EXPECT_THAT(client.body(backup(third, "/search?q=wi-fi")),
              AllOf(HasSubstr("Install Wi-Fi"), HasSubstr("\"limited\":false")));
  EXPECT_THAT(client.body(backup(third, "/search?q=echo")), HasSubstr("\"hits\":[]"));
  EXPECT_THAT(client.body(backup(third, "/search?q=echo&contents=1")), HasSubstr("echo two"));
  EXPECT_THAT(client.body(backup(third, "/search?q=Install&limit=1")), HasSubstr("\"limited\":true"));
  EXPECT_THAT(client.get(backup(third, "/search?q=")), StartsWith("HTTP/1.1 400"));
}

TEST_F(Browse, HistoryNamesTheVersionBefore) {
  const auto history = client.json("/api/folders/0/history?section=policies&id=1");
  ASSERT_THAT(*history.find("versions")->array_(), SizeIs(3));
  EXPECT_EQ(member(history, "name"), "Install Office");
  EXPECT_EQ(member(history.find("versions")->array_()->back(), "before"), second);
  EXPECT_EQ(textOf(history.find("versions")->array_()->front(), "before"), "(none)");
}

TEST_F(Browse, WithoutTheTokenThePageAloneIsServed) {
  const std::string host = "Host: localhost:1\r\n";
  const auto page = client.raw("GET / HTTP/1.1\r\n" + host);
  EXPECT_THAT(page, AllOf(StartsWith("HTTP/1.1 200 OK"), HasSubstr("Content-Type: text/html; charset=utf-8"),
                          HasSubstr("Content-Security-Policy: default-src 'none'; script-src 'self'"),
                          HasSubstr("<!doctype html>")));
  for (const auto* path : {"/api/folders", "/api/folders/0/backups", "/nothing", "/../etc/passwd"})
    EXPECT_THAT(client.raw("GET " + std::string(path) + " HTTP/1.1\r\n" + host), StartsWith("HTTP/1.1 401"))
        << path;
  EXPECT_THAT(client.raw("GET /api/folders HTTP/1.1\r\n" + host + "Authorization: Bearer 0123456789abcdef"),
              StartsWith("HTTP/1.1 401"));
}

TEST_F(Browse, RefusesOtherSitesOtherNamesAndWrites) {
  const auto authorization = "\r\nAuthorization: Bearer " + client.token;
  EXPECT_THAT(client.raw("GET /api/folders HTTP/1.1\r\nHost: evil.example" + authorization),
              StartsWith("HTTP/1.1 403"));
  EXPECT_THAT(client.raw("GET / HTTP/1.1\r\nHost: evil.example"), StartsWith("HTTP/1.1 403"));
  EXPECT_THAT(client.raw("GET /api/folders HTTP/1.1\r\nHost: localhost\r\nOrigin: https://evil.example" +
                         authorization),
              StartsWith("HTTP/1.1 403"));
  for (const auto* method : {"POST", "PUT", "DELETE", "HEAD"})
    EXPECT_THAT(client.raw(std::string(method) + " /api/folders HTTP/1.1\r\nHost: localhost" + authorization),
                StartsWith("HTTP/1.1 405"))
        << method;
}

TEST_F(Browse, AnAddressThatIsNoneIsToldInWords) {
  for (const auto* target :
       {"/api", "/api/folders/7/backups", "/api/folders/x", "/api/folders/0/backups/..",
        "/api/folders/0/backups/2020-01-01T000000Z", "/api/folders/0/backups/..%2f..%2fetc"})
    EXPECT_THAT(client.get(target), AllOf(StartsWith("HTTP/1.1 404"), HasSubstr("{\"message\":\"")))
        << target;
  EXPECT_THAT(client.get(backup(third, "/entries?section=polices")),
              AllOf(StartsWith("HTTP/1.1 400"), HasSubstr("polices")));
  EXPECT_THAT(client.get(backup(third, "/object?section=policies&id=77")), StartsWith("HTTP/1.1 404"));
  EXPECT_THAT(client.get(backup(third, "/report?name=backup")), StartsWith("HTTP/1.1 404"));
  EXPECT_THAT(client.get(backup(third, "/report?name=../manifest.json")), StartsWith("HTTP/1.1 400"));
}

TEST_F(Browse, DamageIsToldAndNotHandedOut) {
  test::write(indexOf(second, "policies"), "torn");
  EXPECT_THAT(client.get(backup(second, "/entries?section=policies")),
              AllOf(StartsWith("HTTP/1.1 500"), HasSubstr("can't be read")));
  const auto entry = BackupReader(repository, third).entry("scripts", "5").value();
  test::write(repository.store().objectURL(entry.item.objects.begin()->second), "{}");
  EXPECT_THAT(client.body(backup(third, "/object?section=scripts&id=5")),
              AllOf(HasSubstr("\"downloads\":[]"), HasSubstr("damaged")));
}

TEST_F(Browse, ABackupThatIsMadeOrDeletedMeanwhileIsNoticed) {
  const std::string fourth = "2025-03-06T091500Z";
  EXPECT_THAT(client.get(backup(fourth)), StartsWith("HTTP/1.1 404"));
  test::WrittenBackup(stored, fourth).section("policies").publish(third);
  EXPECT_THAT(client.get(backup(fourth)), StartsWith("HTTP/1.1 200"));
  std::filesystem::remove_all(repository.backupDirectory(fourth));
  EXPECT_THAT(client.get(backup(fourth)), StartsWith("HTTP/1.1 404"));
}

TEST_F(Browse, ChangesNothingAndEndsWithASignal) {
  const auto before = test::contentOf(folder());
  for (const auto& rest :
       {"", "/entries?section=scripts", "/object?section=scripts&id=5", "/search?q=e&contents=1"})
    client.get(backup(third, rest));
  const auto end = client.stop();
  EXPECT_EQ(end.status, 130);
  EXPECT_EQ(test::contentOf(folder()), before);
}

TEST_F(Browse, ATokenIsGoodForOneRun) {
  const auto token = client.token;
  EXPECT_GE(token.size(), 64U);
  BrowsingClient other(starting("browse", {"--json"}));
  EXPECT_NE(other.token, token);
  other.token = token;
  EXPECT_THAT(other.get("/api/folders"), StartsWith("HTTP/1.1 401"));
}

TEST_F(Browse, PrintsTheAddressAndSaysHowItEnds) {
  test::RunningProgram program(starting("browse"));
  ASSERT_TRUE(program.waitFor("Control-C") && program.waitFor("#token="));
  EXPECT_THAT(program.output(), AllOf(StartsWith("http://127.0.0.1:"), HasSubstr("/#token=")));
}

TEST_F(Browse, APortThatIsTakenIsNamed) {
  const auto end = command("browse", {"--port", std::to_string(client.port)});
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error,
              AllOf(HasSubstr(std::to_string(client.port)), HasSubstr("maybe another orvik browse")));
  EXPECT_EQ(run({"browse", (home / "nothing").string()}).status, 10);
}

TEST_F(Browse, OnADesktopTheBrowserGetsAFileAndNoToken) {
  const auto bin = home / "bin";
  files::createDirectories(bin);
  test::write(bin / "xdg-open",
              "#!/bin/sh\ncp \"$1\" \"$HOME/opened\"\nls -l \"$1\" > \"$HOME/mode\"\n"
              "echo \"$*\" > \"$HOME/arguments\"\n");
  ::chmod((bin / "xdg-open").c_str(), 0755);
  auto start = onTerminal(starting("browse"));
  start.environment["DISPLAY"] = ":0";
  start.environment["PATH"] = bin.string() + ":/usr/bin:/bin";
  test::RunningProgram program(start);
  ASSERT_TRUE(program.waitFor("Your browser opens it."));
  const auto url = program.output().substr(0, program.output().find_first_of("\r\n"));
  const auto arguments = home / "arguments";
  for (int i = 0; i < 100 && !files::exists(arguments); ++i) ::usleep(50'000);
  EXPECT_THAT(files::read(home / "opened"), HasSubstr("url=" + url + "\""));
  EXPECT_THAT(files::read(home / "mode"), StartsWith("-rw-------"));
  const auto told = files::read(arguments);
  EXPECT_THAT(told, Not(HasSubstr("token")));
  program.send(SIGTERM);
  program.wait();
  EXPECT_FALSE(files::exists(told.substr(0, told.find('\n'))));
}

}  // namespace
}  // namespace orvik
