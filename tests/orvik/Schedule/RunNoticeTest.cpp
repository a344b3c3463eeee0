#include <algorithm>
#include <chrono>

#include "OrvikCore/Config/InstanceStore.h"
#include "OrvikCore/Config/ScheduleStore.h"
#include "Platform/Files/FileLock.h"
#include "tests/Support/Folders.h"
#include "tests/Support/InstanceHost.h"
#include "tests/Support/ScriptedServer.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using support::answer;
using support::ScriptedServer;
using test::jsonLines;
using test::member;
using testing::HasSubstr;
using testing::IsEmpty;
namespace files = platform::files;

/// A registered server whose scheduled runs a listener is told of.
class RunNotice : public test::InstanceHost {
 protected:
  RunNotice() { EXPECT_EQ(add("School").status, 0); }

  platform::UUID school() const { return InstanceStore(data()).load().at(0).id; }
  ScheduleStore schedule() const { return ScheduleStore(data()); }
  void plan(const platform::UUID& instanceID, std::chrono::seconds ahead) const {
    auto runs = schedule().load();
    runs.push_back({platform::UUID::random(), instanceID,
                    std::chrono::floor<std::chrono::seconds>(platform::now()) + ahead});
    schedule().save(runs);
  }
  test::ProgramEnd runSchedule(const Arguments& more = {}) const {
    Arguments all{"schedule",   "run", "--to",   root.string(), "--rate",       "0",
                  "--attempts", "1",   "--only", "buildings",   "--notify-url", listener.url()};
    all.insert(all.end(), more.begin(), more.end());
    return run(all);
  }
  /// What the listener was told, once.
  platform::json::Value told() const {
    const auto requests = listener.requests();
    EXPECT_EQ(requests.size(), 1U);
    return requests.empty() ? platform::json::Value() : jsonLines(requests.front().body).at(0);
  }

  ScriptedServer listener{ScriptedServer::always(answer(200))};
};

TEST_F(RunNotice, DueRunsAreToldOnceWhenAllAreOver) {
  plan(school(), -3h);
  plan(school(), -1h);
  const auto file = folder / "told";
  EXPECT_EQ(runSchedule({"--notify-command", "cat > '" + file.string() + "'"}).status, 0);
  EXPECT_EQ(member(told(), "outcome"), "success");
  EXPECT_THAT(member(told(), "message"), HasSubstr("School: complete, "));
  EXPECT_EQ(files::read(file), listener.requests().at(0).body);
}

TEST_F(RunNotice, AFailureIsTold) {
  plan(school(), -1h);
  plan(platform::UUID::random(), -1h);
  server.stop();
  EXPECT_EQ(runSchedule().status, 1);
  EXPECT_EQ(member(told(), "outcome"), "failure");
  EXPECT_EQ(member(told(), "exit"), "1");
  EXPECT_EQ(told().find("instances")->array_()->size(), 2U);
}

TEST_F(RunNotice, AScheduleThatCannotBeReadIsAFailure) {
  test::write(schedule().fileURL, "torn");
  EXPECT_EQ(runSchedule().status, 1);
  EXPECT_THAT(member(told(), "message"), HasSubstr("can't be read"));
}

TEST_F(RunNotice, NothingIsToldWhenNothingIsDue) {
  EXPECT_EQ(runSchedule().status, 0);
  plan(school(), 3h);
  EXPECT_EQ(runSchedule().status, 0);
  EXPECT_EQ(listener.requestCount(), 0U);
}

TEST_F(RunNotice, ARunThatComesTooSoonIsNotTold) {
  plan(school(), -2h);
  ASSERT_EQ(runSchedule().status, 0);
  plan(school(), -1h);
  EXPECT_EQ(runSchedule({"--minimum-hours", "24"}).status, 0);
  EXPECT_EQ(listener.requestCount(), 1U) << "of the first run alone";
}

TEST_F(RunNotice, OnlyTheOneAtWorkTells) {
  plan(school(), -1h);
  const files::FileLock other(data() / "schedule-run.lock");
  EXPECT_EQ(runSchedule().status, 11);
  EXPECT_EQ(listener.requestCount(), 0U);
}

TEST_F(RunNotice, ATellingThatFailsLeavesTheRunDone) {
  plan(school(), -1h);
  ScriptedServer failing(ScriptedServer::always(answer(503)));
  const auto end = run({"schedule", "run", "--to", root.string(), "--rate", "0", "--only", "buildings",
                        "--notify-url", failing.url()});
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.error, HasSubstr("answered with status 503"));
  EXPECT_THAT(schedule().load(), IsEmpty());
}

}  // namespace
}  // namespace orvik
