#include "orvik/Server/PatchReportCommand.h"

#include <csignal>

#include "Platform/JSON/View.h"
#include "tests/Support/PDFText.h"
#include "tests/Support/PlaybookHost.h"

namespace orvik {
namespace {

using test::jsonLines;
using test::member;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;
namespace files = platform::files;

class PatchReportCommand : public test::PlaybookHost {
 protected:
  PatchReportCommand() {
    const auto document = platform::json::Document::parse(
        *server.record("patchSoftwareTitles", server.ids("patchSoftwareTitles").front()));
    title = member(platform::json::Value::from(document->root()), "displayName");
  }
  test::ProgramEnd report(const std::string& name, const Arguments& more,
                          const std::string& org = "School") const {
    Arguments all{"patch-report", name, "--org", org};
    all.insert(all.end(), more.begin(), more.end());
    return run(all);
  }
  /// The rows of a CSV file as another program reads them, a line for each, cells with "|" between.
  std::string rows(const std::string& name) const {
    files::atomicWrite(
        "import csv, sys\n"
        "for row in csv.reader(open(sys.argv[1], encoding='utf-8', newline=''), strict=True):\n"
        "    print('|'.join(row))\n",
        file("rows.py"));
    return test::outputOf("python3", {file("rows.py"), file(name)});
  }
  static std::size_t linesOf(const std::string& text) {
    return static_cast<std::size_t>(std::ranges::count(text, '\n'));
  }

  std::string title;
};

TEST_F(PatchReportCommand, BothFilesHoldTheComputersThatTheServerCounts) {
  const auto end = report(title, {"--csv", file("a.csv"), "--pdf", file("a.pdf"), "--json"});
  ASSERT_EQ(end.status, 0) << end.error;
  const auto last = jsonLines(end.output).back();
  const auto computers = std::stoul(member(last, "computers"));
  EXPECT_EQ(std::stoul(member(last, "upToDate")) + std::stoul(member(last, "outOfDate")), computers);
  const auto table = rows("a.csv");
  EXPECT_EQ(linesOf(table), computers + 1);
  EXPECT_THAT(table, StartsWith("Computer Name|Version|Username|Operating System|Last Check-In|"));
  const test::PDFText document(files::read(file("a.pdf")));
  EXPECT_THAT(document.flowing(), StartsWith(title + " Latest version " + member(last, "latestVersion") +
                                             ", " + member(last, "upToDate") + " up to date, " +
                                             member(last, "outOfDate") + " out of date Computer Name "));
  EXPECT_EQ(document.faults(), "");
}

TEST_F(PatchReportCommand, ATitleIsNamedByItsNameOrItsID) {
  const auto id = server.ids("patchSoftwareTitles").front();
  ASSERT_EQ(report(title, {"--csv", file("a.csv")}).status, 0);
  const auto end = report(id, {"--csv", file("b.csv")});
  ASSERT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(files::read(file("a.csv")), files::read(file("b.csv")));
  EXPECT_THAT(end.output, StartsWith(file("b.csv") + "\n" + title + ": "));
}

TEST_F(PatchReportCommand, AServerWithoutTheThirdVersionTellsTheLastCheckInToo) {
  ASSERT_EQ(report(title, {"--csv", file("a.csv")}).status, 0);
  server.dialect().patchV3 = false;
  ASSERT_EQ(report(title, {"--csv", file("b.csv")}).status, 0);
  EXPECT_EQ(files::read(file("a.csv")), files::read(file("b.csv")));
}

TEST_F(PatchReportCommand, ReportsOfMoreThanAPageAreReadToTheirEnd) {
  sample::SampleServer school({.size = sample::FleetSize::school});
  writeSecret(school.clientSecret() + "\n");
  ASSERT_EQ(run({"orgs", "add", "--name", "Big", "--url", school.url(), "--client-id", school.clientID(),
                 "--secret-file", secretFile.string()})
                .status,
            0);
  for (const auto& each : secrets()) exempt.insert(secretsFolder() / each);
  const auto id = school.ids("patchSoftwareTitles").front();
  const auto end = report(id, {"--csv", file("a.csv"), "--json"}, "Big");
  ASSERT_EQ(end.status, 0) << end.error;
  const auto computers = std::stoul(member(jsonLines(end.output).back(), "computers"));
  EXPECT_GT(computers, 200U);
  EXPECT_EQ(linesOf(rows("a.csv")), computers + 1);
}

TEST_F(PatchReportCommand, AnUnknownTitleListsThoseThatThereAre) {
  const auto end = report("Nothing", {"--csv", file("a.csv")});
  EXPECT_EQ(end.status, 10);
  EXPECT_THAT(end.error, AllOf(HasSubstr("There is no patch title Nothing. There are: "), HasSubstr(title)));
  EXPECT_FALSE(files::exists(file("a.csv")));
}

TEST_F(PatchReportCommand, NothingIsWrittenBeforeEverythingIsRead) {
  server.faults().add({.path = "*/patch-report", .action = sample::FaultAnswer{.status = 500}});
  EXPECT_EQ(report(title, {"--csv", file("a.csv"), "--pdf", file("a.pdf")}).status, 1);
  EXPECT_FALSE(files::exists(file("a.csv")));
}

TEST_F(PatchReportCommand, AFileThatCanNotBeWrittenIsNamed) {
  files::createDirectories(file("folder"));
  const auto end = report(title, {"--csv", file("folder")});
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("/folder"));
}

TEST_F(PatchReportCommand, WrongUsageEndsWith2) {
  EXPECT_EQ(report(title, {}).status, 2);
  EXPECT_EQ(run({"patch-report", "--org", "School", "--csv", "x"}).status, 2);
  EXPECT_EQ(run({"patch-report", "x", "--csv", "x"}).status, 2);
}

TEST_F(PatchReportCommand, ASignalEndsWith130) {
  server.setDelay(std::chrono::seconds(20));
  test::RunningProgram running(start({"patch-report", "x", "--org", "School", "--csv", file("a.csv")}));
  while (server.inFlight() == 0) std::this_thread::yield();
  running.send(SIGTERM);
  EXPECT_EQ(running.wait().status, 130);
  EXPECT_FALSE(files::exists(file("a.csv")));
}

}  // namespace
}  // namespace orvik
