#include "orvik/Output/JSONProgress.h"

#include <gtest/gtest.h>

#include "OrvikCore/Jamf/SectionCatalog.h"
#include "Platform/JSON/Value.h"
#include "tests/Support/HostFixture.h"
#include "tests/Support/JSONLines.h"

namespace orvik {
namespace {

using platform::json::Value;
using test::jsonLines;
using test::runToEnd;

std::string text(const Value& value, std::string_view key) {
  const Value* member = value.find(key);
  return member && member->string() ? *member->string() : "(none)";
}

std::vector<std::string> keys(const Value& value) {
  std::vector<std::string> names;
  if (const auto* members = value.object_())
    for (const auto& [name, each] : *members) names.push_back(name);
  return names;
}

class JSONLines : public test::HostFixture {};

TEST_F(JSONLines, EveryEventOfARunIsALineUnderItsNames) {
  ASSERT_EQ(runToEnd(backup()).status, 0);
  const auto parent = repository().latestComplete()->id;
  const auto end = runToEnd(backup({"--json"}));
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.error, "");
  const auto events = jsonLines(end.output);
  ASSERT_GE(events.size(), 2u);

  const auto& started = events.front();
  EXPECT_EQ(keys(started),
            (std::vector<std::string>{"event", "backupID", "resumed", "parentBackupID", "sections"}));
  EXPECT_EQ(text(started, "event"), "started");
  EXPECT_EQ(text(started, "parentBackupID"), parent);
  EXPECT_FALSE(*started.find("resumed")->boolean());
  const auto& sections = *started.find("sections")->array_();
  ASSERT_EQ(sections.size(), SectionCatalog::all().size());
  EXPECT_EQ(keys(sections.front()), (std::vector<std::string>{"id", "title", "group"}));
  EXPECT_EQ(text(sections.back(), "id"), "packageFiles");

  std::map<std::string, int> counts;
  for (const auto& event : events) {
    const auto name = text(event, "event");
    ++counts[name];
    if (name == "sectionStarted") {
      EXPECT_EQ(keys(*event.find("section")), keys(sections.front()));
    }
    if (name == "sectionProgress") {
      EXPECT_EQ(keys(event), (std::vector<std::string>{"event", "id", "done", "total"}));
    }
    if (name == "sectionFinished") {
      const auto& summary = *event.find("summary");
      EXPECT_NE(text(summary, "id"), "(none)");
      EXPECT_NE(text(summary, "status"), "(none)");
      EXPECT_EQ(keys(*summary.find("counts")),
                (std::vector<std::string>{"changed", "failed", "new", "removed", "total", "unchanged"}));
    }
  }
  EXPECT_EQ(counts["sectionStarted"], 3);
  EXPECT_EQ(counts["sectionFinished"], static_cast<int>(sections.size()));
  EXPECT_GE(counts["sectionProgress"], 3);

  const auto& finished = events.back();
  EXPECT_EQ(keys(finished), (std::vector<std::string>{"event", "backupID", "status", "totals"}));
  EXPECT_EQ(text(finished, "event"), "finished");
  EXPECT_EQ(text(finished, "backupID"), text(started, "backupID"));
  EXPECT_EQ(text(finished, "status"), "complete");
  const auto manifest = repository().latestComplete()->manifest;
  EXPECT_EQ(*finished.find("totals")->find("objects")->integer(), manifest.totals.objects);
  EXPECT_EQ(*finished.find("totals")->find("requests")->integer(), manifest.totals.requests);
}

TEST_F(JSONLines, AFirstBackupNamesNoParent) {
  const auto end = runToEnd(backup({"--json"}));
  EXPECT_EQ(jsonLines(end.output).front().find("parentBackupID"), nullptr);
}

TEST_F(JSONLines, WarningsShowInTheStatus) {
  server.refuseSection("categories", 403);
  const auto end = runToEnd(backup({"--json"}));
  EXPECT_EQ(end.status, 3);
  EXPECT_EQ(text(jsonLines(end.output).back(), "status"), "completeWithWarnings");
}

TEST_F(JSONLines, QuietLeavesTheLastLine) {
  const auto end = runToEnd(backup({"--json", "--quiet"}));
  const auto events = jsonLines(end.output);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(text(events.front(), "event"), "finished");
}

TEST_F(JSONLines, AFailureIsTheLastLineWhateverFailed) {
  const auto expectFailure = [](const test::ProgramEnd& end, int status) {
    EXPECT_EQ(end.status, status);
    const auto events = jsonLines(end.output);
    ASSERT_FALSE(events.empty());
    const auto& failed = events.back();
    EXPECT_EQ(keys(failed), (std::vector<std::string>{"event", "message", "exit"}));
    EXPECT_EQ(text(failed, "event"), "failed");
    EXPECT_EQ(*failed.find("exit")->integer(), status);
    EXPECT_EQ(end.error.substr(end.error.rfind("orvik: ")), "orvik: " + text(failed, "message") + "\n");
  };
  expectFailure(runToEnd(backup({"--json", "--rate", "fast"})), 2);
  expectFailure(runToEnd(backup({"--json", "--disable", "nothing-like-it"})), 2);
  expectFailure(runToEnd(start(backupWithoutSecret({"--json"}))), 12);
  server.stop();
  expectFailure(runToEnd(backup({"--json"})), 1);
}

TEST_F(JSONLines, RetriesAreNotes) {
  server.faults().add({"JSSResource/departments", "", 1, 0, sample::FaultAnswer{503, {}, "x"}});
  server.faults().add({"api/v1/buildings*", "", 1, 0, sample::FaultAnswer{503, {}, "x"}});
  auto with = backup({"--json"});
  for (auto& argument : with.arguments)
    if (argument == "1") argument = "3";
  with.arguments.insert(with.arguments.end(), {"--base-delay", "0.01"});
  const auto end = runToEnd(with);
  EXPECT_EQ(end.status, 0) << end.error;
  int notes = 0;
  for (const auto& event : jsonLines(end.output))
    if (text(event, "event") == "note" && text(event, "text") != "(none)") ++notes;
  EXPECT_GE(notes, 1);
}

TEST(JSONProgressLines, BytesAreNumbers) {
  EXPECT_EQ(host::JSONProgress::lineFor(BackupEvent(BackupEvents::BytesExpected{5'000'000'000})),
            R"({"event":"bytesExpected","bytes":5000000000})");
  EXPECT_EQ(host::JSONProgress::lineFor(BackupEvent(BackupEvents::BytesTransferred{7})),
            R"({"event":"bytesTransferred","bytes":7})");
}

TEST(JSONProgressLines, ATextThatIsNoUTF8IsMended) {
  const auto line = host::JSONProgress::lineFor(BackupEvent(BackupEvents::Note{"a\xff\n\"b"}));
  EXPECT_EQ(line, "{\"event\":\"note\",\"text\":\"a\xEF\xBF\xBD\\n\\\"b\"}");
}

}  // namespace
}  // namespace orvik
