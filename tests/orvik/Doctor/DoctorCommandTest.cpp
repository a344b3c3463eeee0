#include "orvik/Doctor/DoctorCommand.h"

#include <utime.h>

#include <algorithm>
#include <chrono>

#include "OrvikCore/Format/BackupFormat.h"
#include "orvik/Doctor/PrivilegeTicks.h"
#include "tests/Support/Folders.h"
#include "tests/Support/InstanceHost.h"
#include "tests/Support/SampleRecords.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using test::jsonLines;
using test::member;
using test::ProgramEnd;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
namespace files = platform::files;

class DoctorCommand : public test::InstanceHost {
 protected:
  Arguments arguments(const Arguments& more = {}) const {
    Arguments all{"doctor", "--url",      server.url(), "--client-id", server.clientID(), "--rate",
                  "0",      "--attempts", "1"};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }
  Arguments withSecret(const Arguments& more = {}) const {
    auto all = arguments({"--secret-file", secretFile.string()});
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }
  ProgramEnd doctor(const Arguments& more = {}) const { return run(withSecret(more)); }
  /// The check of that name as JSON; null when there is none.
  static platform::json::Value checkIn(const ProgramEnd& end, std::string_view id) {
    for (auto& line : jsonLines(end.output))
      if (member(line, "check") == id) return line;
    return {};
  }
  platform::json::Value check(std::string_view id, const Arguments& more = {}) const {
    auto all = more;
    all.emplace_back("--json");
    return checkIn(doctor(all), id);
  }
  std::string status(std::string_view id, const Arguments& more = {}) const {
    return member(check(id, more), "status");
  }

  /// What api/v1/auth tells of the client.
  void tellPrivileges(const std::vector<std::string>& privileges) {
    platform::json::Value::Array list(privileges.begin(), privileges.end());
    const auto account = platform::json::Value::object({{"privileges", platform::json::Value::array(list)}});
    server.faults().add({"api/v1/auth",
                         "GET",
                         {},
                         0,
                         sample::FaultAnswer{200,
                                             {{"Content-Type", "application/json"}},
                                             platform::json::Value::object({{"account", account}}).text()}});
  }
  static std::vector<std::string> allPrivileges() {
    std::vector<std::string> all;
    for (const auto& tick : host::privilegeTicks({}, {})) all.push_back(tick.privilege);
    return all;
  }
  void addHeader(const std::string& path, const std::string& name, const std::string& value) {
    server.faults().add({path, "GET", {}, 0, sample::FaultHeader{name, value}});
  }
  static std::string httpDate(platform::Date date) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(date);
    const auto time = std::chrono::system_clock::to_time_t(seconds);
    std::tm parts{};
    ::gmtime_r(&time, &parts);
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), "%a, %d %b %Y %H:%M:%S GMT", &parts);
    return text.data();
  }
};

TEST_F(DoctorCommand, AServerAndAFolderWithoutFaultAreGood) {
  tellPrivileges(allPrivileges());
  files::createDirectories(root);
  const auto end = doctor({"--to", root.string(), "--quiet"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, StartsWith("OK       The server answers at " + server.url() +
                                     ".\n"
                                     "OK       It takes the client " +
                                     server.clientID() + ", whose secret came from the file " +
                                     secretFile.string() + ".\n"));
  EXPECT_EQ(end.lastLine(), "A backup can be made.");
  EXPECT_THAT(end.output, AllOf(Not(HasSubstr("WARNING")), Not(HasSubstr("FAILED"))));
  EXPECT_EQ(end.error, "");
}

TEST_F(DoctorCommand, EachCheckIsALineOfJSON) {
  tellPrivileges(allPrivileges());
  const auto end = doctor({"--json"});
  const auto lines = jsonLines(end.output);
  std::vector<std::string> ids;
  for (const auto& line : lines)
    if (member(line, "event") == "check") ids.push_back(member(line, "check"));
  EXPECT_THAT(ids, testing::ElementsAre("connection", "credentials", "version", "token", "clock", "sections",
                                        "privileges", "changes", "paths"));
  EXPECT_EQ(member(checkIn(end, "version"), "jamfProVersion"), "11.30.1-t1784555528405");
  EXPECT_EQ(member(checkIn(end, "token"), "seconds"), "1199");
  EXPECT_EQ(member(lines.back(), "event"), "finished");
  EXPECT_EQ(member(lines.back(), "ok"), "9");
  EXPECT_EQ(member(lines.back(), "warnings"), "0");
  EXPECT_EQ(member(lines.back(), "failed"), "0");
  EXPECT_EQ(member(lines.back(), "exit"), "0");
  EXPECT_EQ(end.error, "");
}

TEST_F(DoctorCommand, TheServerSeesReadsOfOneElementAndOneRequestForAToken) {
  server.log().setDetail(sample::LogDetail::all);
  EXPECT_EQ(doctor().status, 0);
  std::size_t tokens = 0, reads = 0;
  for (const auto& request : server.log().entries()) {
    const bool isToken = request.method == "POST" && request.path == "api/oauth/token";
    EXPECT_TRUE(isToken || request.method == "GET") << request.method << " " << request.path;
    isToken ? ++tokens : ++reads;
    if (!request.query.empty()) {
      EXPECT_THAT(request.query, StartsWith("page=0&page-size=1")) << request.path;
    }
  }
  EXPECT_EQ(tokens, 1U);
  EXPECT_EQ(reads, 77U + 2U) << "the sections' lists, the version and the client";
  EXPECT_LE(server.maxInFlight(), 4);
}

TEST_F(DoctorCommand, MissingPrivilegesAreTickedOffWithWhatTheyCost) {
  auto privileges = allPrivileges();
  std::erase(privileges, "Read Scripts");
  tellPrivileges(privileges);
  server.refuseSection("scripts", 403);
  const auto end = doctor();
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.output,
              AllOf(HasSubstr("WARNING  1 of the "), HasSubstr("\n           [x] Read Policies\n"),
                    HasSubstr("\n           [ ] Read Scripts, for: Scripts\n"),
                    HasSubstr("WARNING  The server refuses 1 section to the client.")));
  EXPECT_EQ(end.lastLine(), "A backup can be made, with 2 warnings.");
  EXPECT_THAT(member(check("privileges"), "privileges"),
              HasSubstr(R"({"privilege":"Read Scripts","held":false,"sections":["scripts"]})"));
}

TEST_F(DoctorCommand, TheClassicInterfaceRefusesWithAnotherStatus) {
  server.setPrivilegesInAuth(false);
  server.refuseSection("printers", 401);
  const auto end = doctor();
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.output, HasSubstr("[ ] Read Printers, for: Printers"));
}

TEST_F(DoctorCommand, PrivilegesThatAllowChangesAreAWarning) {
  auto privileges = allPrivileges();
  privileges.emplace_back("Delete Computers");
  tellPrivileges(privileges);
  const auto end = doctor();
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.output, HasSubstr("WARNING  1 privilege of the client allows changes, and a backup needs "
                                    "none of them."));
  EXPECT_THAT(end.output, HasSubstr("\n           Delete Computers\n"));
}

TEST_F(DoctorCommand, ATokenThatEveryRequestCostsIsAWarning) {
  server.setTokenLifetime(61s);
  const auto end = doctor({"--json"});
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(member(checkIn(end, "token"), "status"), "warning");
  EXPECT_EQ(member(checkIn(end, "token"), "seconds"), "60");
}

TEST_F(DoctorCommand, PathsThatTheServerHasNotAreListed) {
  server.refuseSection("blueprints", 404);
  server.faults().add({"api/v1/scripts", "GET", {}, 0, sample::FaultAnswer{410}});
  const auto end = doctor();
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.output, AllOf(HasSubstr("WARNING  The server knows no path for 2 sections."),
                                HasSubstr("Scripts (api/v1/scripts)\n"), HasSubstr("(api/blueprints)\n")));
}

TEST_F(DoctorCommand, AnOlderPathThatABackupKnowsIsEnough) {
  server.setMobileDetailList(false);
  EXPECT_EQ(status("paths"), "ok");
}

TEST_F(DoctorCommand, DeprecatedPathsAreToldWithTheirEnd) {
  addHeader("api/v1/scripts", "Sunset", "Sun, 30 Jun 2030 23:59:59 GMT");
  addHeader("JSSResource/policies", "Deprecation", "@1688169599");
  const auto found = check("deprecations");
  EXPECT_EQ(member(found, "status"), "warning");
  EXPECT_THAT(member(found, "sections"),
              AllOf(HasSubstr(R"("section":"scripts","path":"api/v1/scripts","sunset":"Sun, 30 Jun)"),
                    HasSubstr(R"("path":"JSSResource/policies","deprecation":"@1688169599")")));
}

TEST_F(DoctorCommand, AClockThatIsAMinuteOffIsAWarning) {
  addHeader("*", "Date", httpDate(platform::now() + 1h));
  const auto ahead = check("clock");
  EXPECT_EQ(member(ahead, "status"), "warning");
  EXPECT_THAT(member(ahead, "text"), HasSubstr("ahead of this machine's"));
  server.faults().clear();
  addHeader("*", "Date", httpDate(platform::now()));
  EXPECT_EQ(status("clock"), "ok");
}

TEST_F(DoctorCommand, ALoginPageIsNoAnswer) {
  server.faults().add({"api/v1/scripts", "GET", {}, 0, sample::FaultAnswer{200, {}, "<html>Log in</html>"}});
  const auto found = check("failures");
  EXPECT_THAT(member(found, "sections"), HasSubstr("as from a login page or a proxy"));
}

TEST_F(DoctorCommand, AServerOfWhichNothingCanBeReadFails) {
  for (const auto& section : SectionCatalog::all()) server.refuseSection(section.id, 403);
  const auto end = doctor();
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.output, HasSubstr("FAILED   Not one section can be read"));
  EXPECT_THAT(end.lastLine(), StartsWith("A backup would fail"));
}

TEST_F(DoctorCommand, RefusedCredentialsAreAStatusOfTheirOwnAndTheFolderIsLookedAtAllTheSame) {
  writeSecret("a-secret-to-look-for");
  files::createDirectories(root);
  const auto end = doctor({"--to", root.string(), "--json"});
  EXPECT_EQ(end.status, 12);
  EXPECT_EQ(member(checkIn(end, "connection"), "status"), "ok");
  EXPECT_EQ(member(checkIn(end, "credentials"), "status"), "failed");
  EXPECT_NE(member(checkIn(end, "credentials"), "advice"), "(none)");
  EXPECT_EQ(member(checkIn(end, "writing"), "status"), "ok");
  EXPECT_EQ(member(jsonLines(end.output).back(), "exit"), "12");
}

TEST_F(DoctorCommand, AMissingSecretIsACredentialAtFault) {
  const auto end = run(arguments());
  EXPECT_EQ(end.status, 12);
  EXPECT_THAT(end.output, HasSubstr("FAILED   There is no client secret."));
  EXPECT_EQ(server.log().total(), 0U);
}

TEST_F(DoctorCommand, AServerThatDoesNotAnswerFails) {
  server.stop();
  const auto end = doctor({"--json"});
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(member(checkIn(end, "connection"), "status"), "failed");
  EXPECT_EQ(jsonLines(end.output).size(), 2U);
}

TEST_F(DoctorCommand, ARegisteredServerIsExaminedWithItsOwnSecret) {
  ASSERT_EQ(add("School").status, 0);
  const auto end = run({"doctor", "--instance", "school", "--rate", "0", "--attempts", "1"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("whose secret came from the keychain."));
  EXPECT_EQ(run({"doctor", "--instance", "nobody"}).status, 10);
}

TEST_F(DoctorCommand, AServerMustBeNamedInOneWay) {
  EXPECT_EQ(run({"doctor"}).status, 2);
  EXPECT_EQ(run({"doctor", "--instance", "a", "--url", "https://b.example"}).status, 2);
  EXPECT_EQ(run({"doctor", "--url", "https://b.example"}).status, 2);
}

TEST_F(DoctorCommand, NothingIsLeftInTheFolder) {
  files::createDirectories(root);
  test::write(root / ".orvik-doctor-mine", "not a trial's name");
  const auto before = files::list(root);
  EXPECT_EQ(doctor({"--to", root.string()}).status, 0);
  EXPECT_EQ(files::list(root), before);
}

TEST_F(DoctorCommand, WhatAKilledExaminationLeftIsRemoved) {
  const auto old = root / (".orvik-doctor-" + platform::UUID::random().text());
  const auto young = root / (".orvik-doctor-" + platform::UUID::random().text());
  for (const auto& each : {old, young}) test::write(each / "written/inner", "tried");
  const utimbuf longAgo{1'000'000'000, 1'000'000'000};
  ASSERT_EQ(::utime(old.c_str(), &longAgo), 0);
  EXPECT_EQ(doctor({"--to", root.string()}).status, 0);
  EXPECT_FALSE(files::exists(old));
  EXPECT_TRUE(files::exists(young)) << "its examination may be going on";
}

TEST_F(DoctorCommand, AFolderThatIsNotThereIsNotMade) {
  const auto end = doctor({"--to", (root / "deeper").string()});
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.output, HasSubstr("WARNING  There is no folder " + (root / "deeper").string() +
                                    " yet; a backup makes it, and " + folder.path().string() +
                                    " was looked at instead."));
  EXPECT_FALSE(files::exists(root));
}

TEST_F(DoctorCommand, AFolderThatCannotBeWrittenFails) {
  const auto end = doctor({"--to", "/proc/orvik", "--json"});
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(member(checkIn(end, "writing"), "status"), "failed");
  EXPECT_TRUE(checkIn(end, "rename").isNull());
}

TEST_F(DoctorCommand, AFileInThePlaceOfTheFolderFails) {
  test::write(root, "a file");
  const auto end = doctor({"--to", root.string(), "--json"});
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(member(checkIn(end, "folder"), "status"), "failed");
  EXPECT_EQ(files::read(root), "a file");
}

TEST_F(DoctorCommand, TheFolderOfAnotherServerFails) {
  auto descriptor = test::plainManifest("2025-03-04T091500Z").instance;
  descriptor.url = "http://127.0.0.1:1";
  BackupRepository(root, "127.0.0.1").writeDescriptor(descriptor);
  const auto end = doctor({"--to", root.string()});
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.output, HasSubstr("FAILED   The folder " + (root / "127.0.0.1").string() +
                                    " holds backups of 127.0.0.1:1"));
}

TEST_F(DoctorCommand, TheFolderOfThisServerIsTold) {
  ASSERT_EQ(test::runToEnd(backup()).status, 0);
  EXPECT_THAT(member(check("folder", {"--to", root.string()}), "text"),
              HasSubstr("/127.0.0.1 holds 1 backup of this server."));
}

TEST_F(DoctorCommand, ASignalEndsIt) {
  server.faults().add({"JSSResource/policies", "GET", {}, 0, sample::FaultHang{}});
  test::RunningProgram running(start(withSecret({"--to", root.string()})));
  while (server.log().count("JSSResource/policies") == 0) std::this_thread::yield();
  running.send(SIGINT);
  EXPECT_EQ(running.wait().status, 130);
}

}  // namespace
}  // namespace orvik
