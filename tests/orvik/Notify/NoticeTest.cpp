#include "orvik/Notify/Notice.h"

#include <csignal>

#include "OrvikCore/Config/InstanceStore.h"
#include "tests/Support/InstanceHost.h"
#include "tests/Support/ScriptedServer.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using support::answer;
using support::ScriptedServer;
using test::jsonLines;
using test::member;
using test::ProgramEnd;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
namespace files = platform::files;
using platform::json::Value;

class NoticeTest : public test::InstanceHost {
 protected:
  NoticeTest() { files::createDirectories(told); }

  /// A command that keeps what it is told.
  std::string keeping() const {
    return "cat >> '" + (told / "input").string() + "'; echo \"$ORVIK_RUN_OUTCOME $ORVIK_RUN_EXIT\" > '" +
           (told / "outcome").string() + "'; printf %s \"$ORVIK_RUN_MESSAGE\" > '" +
           (told / "message").string() + "'; env > '" + (told / "environment").string() + "'";
  }
  Arguments telling(const Arguments& more = {}) const {
    Arguments all{"--notify-command", keeping()};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }
  ProgramEnd backedUp(Arguments more = {}) const {
    more.emplace_back("--no-reports");
    return test::runToEnd(backup(more));
  }

  bool isTold() const { return files::exists(told / "input"); }
  /// What the command was told, once.
  Value told_() const {
    const auto lines = jsonLines(files::read(told / "input"));
    EXPECT_EQ(lines.size(), 1U) << "told more than once";
    return lines.at(0);
  }
  std::string outcome() const { return files::read(told / "outcome"); }

  const std::filesystem::path told = folder / "told";
  ScriptedServer listener{ScriptedServer::always(answer(204))};
};

TEST_F(NoticeTest, ACommandIsToldOfABackup) {
  const auto end = backedUp(telling());
  EXPECT_EQ(end.status, 0) << end.error;
  const auto json = told_();
  EXPECT_EQ(member(json, "event"), "run");
  EXPECT_EQ(member(json, "outcome"), "success");
  EXPECT_EQ(member(json, "exit"), "0");
  EXPECT_EQ(member(json, "message"), "127.0.0.1: complete, " + end.lastLine());
  EXPECT_EQ(member(json, "version"), ORVIK_VERSION);
  EXPECT_NE(member(json, "host"), "");
  EXPECT_TRUE(platform::parseISO8601(member(json, "startedAt")));
  EXPECT_LE(member(json, "startedAt"), member(json, "finishedAt"));
  const auto& instance = json.find("instances")->array_()->at(0);
  EXPECT_EQ(member(instance, "instance"), "127.0.0.1");
  EXPECT_EQ(member(instance, "status"), "complete");
  EXPECT_EQ(member(instance, "backupID"), end.lastLine());
  EXPECT_THAT(member(instance, "totals"), HasSubstr("\"objects\":"));
  EXPECT_EQ(outcome(), "success 0\n");
  EXPECT_EQ(files::read(told / "message"), member(json, "message"));
}

TEST_F(NoticeTest, AnAddressIsPostedTheSame) {
  const auto end = backedUp(telling({"--notify-url", listener.url("/hook?key=1")}));
  EXPECT_EQ(end.status, 0) << end.error;
  ASSERT_EQ(listener.requestCount(), 1U);
  const auto request = listener.requests().at(0);
  EXPECT_EQ(request.method(), "POST");
  EXPECT_EQ(request.target(), "/hook?key=1");
  EXPECT_EQ(request.header("Content-Type"), "application/json");
  EXPECT_EQ(request.header("User-Agent"), "orvik/" ORVIK_VERSION);
  EXPECT_EQ(request.header("Authorization"), std::nullopt);
  EXPECT_EQ(request.body, files::read(told / "input"));
  EXPECT_THAT(test::secretsIn(request.body), IsEmpty());
}

TEST_F(NoticeTest, WarningsAreAnOutcomeOfTheirOwn) {
  server.faults().add({"JSSResource/categories*", "GET", {}, 0, sample::FaultAnswer{}});
  EXPECT_EQ(backedUp(telling()).status, 3);
  EXPECT_EQ(outcome(), "warnings 3\n");
  EXPECT_THAT(member(told_(), "message"), HasSubstr("complete with warnings"));
}

TEST_F(NoticeTest, AFailureIsToldAndStaysTheSame) {
  writeSecret("a-secret-to-look-for");
  const auto end = backedUp(telling({"--notify-url", listener.url()}));
  EXPECT_EQ(end.status, 12);
  EXPECT_EQ(outcome(), "failure 12\n");
  const auto json = told_();
  EXPECT_THAT(member(json, "message"), StartsWith("127.0.0.1: failed, Can't read from Jamf Pro"));
  const auto& instance = json.find("instances")->array_()->at(0);
  EXPECT_EQ(member(instance, "status"), "failed");
  EXPECT_EQ(member(instance, "exit"), "12");
  EXPECT_THAT(test::secretsIn(listener.requests().at(0).body), IsEmpty());
}

TEST_F(NoticeTest, AServerThatIsNotKnownIsAFailureWithoutAnInstance) {
  const auto end =
      run({"backup", "--to", root.string(), "--instance", "nobody", "--notify-command", keeping()});
  EXPECT_EQ(end.status, 10);
  EXPECT_EQ(outcome(), "failure 10\n");
  EXPECT_EQ(member(told_(), "instances"), "[]");
  EXPECT_THAT(member(told_(), "message"), HasSubstr("nobody"));
}

TEST_F(NoticeTest, ARoundIsToldOnceWithAllItsServers) {
  ASSERT_EQ(add("School").status, 0);
  auto all = InstanceStore(data()).load();
  all.push_back({platform::UUID::random(), "Gone", "http://127.0.0.1:1", "4711", {}});
  InstanceStore(data()).save(all);
  const auto end = run({"backup", "--all", "--to", root.string(), "--rate", "0", "--attempts", "1", "--only",
                        "buildings", "--notify-command", keeping(), "--notify-url", listener.url()});
  EXPECT_EQ(end.status, 1);
  const auto json = told_();
  EXPECT_EQ(member(json, "outcome"), "failure");
  EXPECT_EQ(json.find("instances")->array_()->size(), 2U);
  EXPECT_THAT(member(json, "message"), AllOf(HasSubstr("School: complete"), HasSubstr("; Gone: failed")));
  EXPECT_EQ(listener.requestCount(), 1U);
}

TEST_F(NoticeTest, WhoCancelsARunIsNotTold) {
  server.faults().add({"JSSResource/categories*", "GET", {}, 0, sample::FaultHang{}});
  test::RunningProgram running(backup(telling({"--notify-url", listener.url()})));
  while (server.log().count("JSSResource/categories") == 0) std::this_thread::yield();
  running.send(SIGINT);
  EXPECT_EQ(running.wait().status, 130);
  EXPECT_FALSE(isTold());
  EXPECT_EQ(listener.requestCount(), 0U);
}

TEST_F(NoticeTest, ABackupThatWouldComeTooSoonIsNoRun) {
  ASSERT_EQ(backedUp().status, 0);
  EXPECT_EQ(backedUp(telling({"--minimum-hours", "24"})).status, 1);
  EXPECT_FALSE(isTold());
}

TEST_F(NoticeTest, AFailureToTellIsARemarkAndNothingElse) {
  listener.release();
  ScriptedServer failing(ScriptedServer::always(answer(500, "body")));
  const auto end =
      backedUp({"--notify-command", "echo noise; exit 7", "--notify-url", failing.url("/key-in-the-path")});
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.error, HasSubstr("The command of --notify-command was not told how the run ended: it "
                                   "failed with status 7.\n"));
  EXPECT_THAT(end.error, HasSubstr("The address of --notify-url was not told how the run ended: 127.0.0.1 "
                                   "answered with status 500.\n"));
  EXPECT_THAT(end.error, AllOf(Not(HasSubstr("key-in-the-path")), Not(HasSubstr("noise"))));
  EXPECT_EQ(repository().completeBackups().size(), 1U);
  EXPECT_EQ(failing.requestCount(), 1U);
}

TEST_F(NoticeTest, NobodyAtTheAddressIsARemarkAndTheLastLineOfJSONStaysTheLast) {
  const auto end = backedUp({"--json", "--notify-url", "http://127.0.0.1:1/key-in-the-path"});
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(member(jsonLines(end.output).back(), "event"), "finished");
  EXPECT_THAT(end.error, AllOf(StartsWith("The address of --notify-url was not told how the run ended: "),
                               Not(HasSubstr("key-in-the-path"))));
  EXPECT_EQ(backedUp({"--quiet", "--notify-url", "http://127.0.0.1:1/"}).error, "");
}

TEST_F(NoticeTest, ARedirectIsNotFollowed) {
  ScriptedServer elsewhere(ScriptedServer::always(answer(302, "", "Location: " + listener.url() + "\r\n")));
  const auto end = backedUp({"--notify-url", elsewhere.url()});
  EXPECT_THAT(end.error, HasSubstr("answered with status 302"));
  EXPECT_EQ(listener.requestCount(), 0U);
}

TEST_F(NoticeTest, TheCommandGetsNoSecretInItsEnvironment) {
  auto start = this->start(backupWithoutSecret(telling()));
  start.environment["ORVIK_CLIENT_SECRET"] = server.clientSecret();
  start.environment["ORVIK_PKCS11_PIN"] = "a-secret-to-look-for";
  EXPECT_EQ(test::runToEnd(start).status, 0);
  const auto environment = files::read(told / "environment");
  EXPECT_THAT(environment, HasSubstr("ORVIK_RUN_OUTCOME=success\n"));
  EXPECT_THAT(environment, AllOf(HasSubstr("HOME="), Not(HasSubstr("CLIENT_SECRET")), Not(HasSubstr("PIN"))));
}

TEST_F(NoticeTest, VariablesSayWhoIsTold) {
  auto start = backup();
  start.environment["ORVIK_NOTIFY_URL"] = listener.url();
  EXPECT_EQ(test::runToEnd(start).status, 0);
  EXPECT_EQ(listener.requestCount(), 1U);
}

TEST_F(NoticeTest, WhatIsNoAddressOfAServerIsNotRepeated) {
  for (const auto* url :
       {"alerts.example/a-secret-to-look-for", "ftp://alerts.example/a-secret-to-look-for", "https://", ""}) {
    const auto end = backedUp({"--notify-url", url});
    EXPECT_EQ(end.status, 2) << url;
    EXPECT_THAT(end.error, HasSubstr("--notify-url takes the address of a web server"));
  }
  EXPECT_EQ(backedUp({"--notify-command", " "}).status, 2);
  EXPECT_EQ(server.log().total(), 0U);
}

/// In this process, with less patience than the program has.
class PatienceTest : public testing::Test {
 protected:
  std::string remarkOf(const host::BackupArguments& arguments, const std::stop_token& stop = {}) const {
    host::RunEnd end;
    end.failure = host::Failure{host::ExitStatus::failed, "It broke."};
    end.status = host::ExitStatus::failed;
    testing::internal::CaptureStderr();
    host::Notice(arguments, stop, 50ms).tell(end);
    return testing::internal::GetCapturedStderr();
  }
};

TEST_F(PatienceTest, ACommandThatTakesTooLongIsEnded) {
  host::BackupArguments arguments;
  arguments.notify.command = "exec sleep 600";
  EXPECT_THAT(remarkOf(arguments), HasSubstr("it took more than 0.1 s and was ended."));
}

TEST_F(PatienceTest, AnAddressThatDoesNotAnswerIsLeft) {
  ScriptedServer silent([](auto& exchange) { exchange.hold(); });
  host::BackupArguments arguments;
  arguments.notify.url = silent.url("/key-in-the-path");
  const auto remark = remarkOf(arguments);
  EXPECT_THAT(remark, AllOf(HasSubstr("was not told"), Not(HasSubstr("key-in-the-path"))));
}

TEST_F(PatienceTest, AStopEndsBoth) {
  std::stop_source source;
  source.request_stop();
  host::BackupArguments arguments;
  arguments.notify.command = "exec sleep 600";
  arguments.notify.url = "http://127.0.0.1:1/";
  EXPECT_THAT(remarkOf(arguments, source.get_token()),
              AllOf(HasSubstr("--notify-command was not told"), HasSubstr("--notify-url was not told")));
}

TEST_F(PatienceTest, NamesAndMessagesControlNothing) {
  host::RunEnd end;
  end.failure = host::Failure{host::ExitStatus::failed, "a\x1b[2J\nb"};
  end.status = host::ExitStatus::failed;
  EXPECT_EQ(end.sentence(), "a␛[2J b");
}

}  // namespace
}  // namespace orvik
