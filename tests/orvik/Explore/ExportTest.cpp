#include <sys/stat.h>

#include "tests/Support/ExploreHost.h"

namespace orvik {
namespace {

using platform::json::Value;
using test::member;
using test::ProgramEnd;
using testing::HasSubstr;
using testing::Not;
using testing::UnorderedElementsAre;
namespace files = platform::files;

class Export : public test::ExploreHost {
 protected:
  static constexpr const char* fourth = "2025-03-06T091500Z";

  ProgramEnd exporting(Arguments more) const {
    more.insert(more.end(), {"--out", out.string()});
    return command("export", more);
  }
  std::string written(const std::string& name) const { return files::read(out / name); }
  std::vector<std::string> names() const { return files::visibleNames(out); }

  const test::Path out = home.path() / "made" / "when missing";
};

TEST_F(Export, ASectionIsAFileForEachObjectWhosePathIsPrinted) {
  const auto end = exporting({"scripts"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(end.output, (out / "Hello.sh").string() + "\n");
  EXPECT_EQ(end.error, "1 file in " + out.string() + ".\n");
  EXPECT_EQ(written("Hello.sh"), "#!/bin/sh\necho two\nexit 0\n");
  struct stat status {};
  ASSERT_EQ(::stat((out / "Hello.sh").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0755u);
}

TEST_F(Export, AnOlderBackupGivesItsOwnObjects) {
  EXPECT_EQ(exporting({"scripts", "--backup", first}).status, 0);
  EXPECT_EQ(written("Hello.sh"), "#!/bin/sh\necho one\nexit 0\n");
  EXPECT_EQ(exporting({"policies", "--backup", first}).status, 0);
  EXPECT_THAT(names(), UnorderedElementsAre("Hello.sh", "Install Office.json", "Old policy.json"));
}

TEST_F(Export, OneObjectIsWrittenInEveryForm) {
  const auto end = exporting({"scripts", "hello"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(end.output, (out / "Hello.sh").string() + "\n" + (out / "Hello.json").string() + "\n");
  const auto document = platform::json::Document::parse(written("Hello.json"));
  EXPECT_EQ(document->root()["scriptContents"]->string(), "#!/bin/sh\necho two\nexit 0\n");
}

TEST_F(Export, FormsOfOneNameGetNamesOfTheirOwn) {
  test::WrittenBackup(stored, fourth)
      .section("policies")
      .item("1", "Report", "{\"id\":1}")
      .item("2", "report", "{\"id\":2}")
      .publish();
  EXPECT_EQ(exporting({"policies"}).status, 0);
  EXPECT_THAT(names(), UnorderedElementsAre("Report.json", "report 2.json"));
}

TEST_F(Export, WhatTheBackupDoesNotHoldIsSaid) {
  auto item = test::itemWithID("1");
  item.name = "Tool";
  item.objects = {{"pro", repository.store().put(R"({"fileName":"Tool.pkg","packageName":"Tool"})")}};
  auto file = test::itemWithID("Tool.pkg");
  file.file = FileRef{"Tool.pkg", {}, 1'200'000, {}, FileRef::Status::unavailable, {}, {}, "no source"};
  test::WrittenBackup(stored, fourth)
      .section("packages")
      .add(item)
      .section("packageFiles")
      .add(file)
      .publish();
  const auto reason = "its file Tool.pkg (1.2 MB) is not in this backup";
  auto end = exporting({"packages"});
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(end.output, "");
  EXPECT_THAT(end.error, HasSubstr(std::string("Left out: Tool (#1): ") + reason));
  EXPECT_THAT(end.error, HasSubstr("0 files in " + out.string() + "; 1 left out."));
  end = exporting({"packages", "Tool"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(end.output, (out / "Tool.json").string() + "\n");
  EXPECT_THAT(end.error, HasSubstr(reason));
  end = exporting({"packages", "--quiet"});
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(end.error, "");
  const auto lines = linesOf(exporting({"packages", "--json"}));
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].text(), std::string(R"({"event":"skipped","section":"packages","id":"1","name":"Tool",)"
                                         R"("message":")") +
                                 reason + "\"}");
  EXPECT_EQ(member(lines[1], "skipped"), "1");
}

TEST_F(Export, APackageIsWhatItWas) {
  const auto digest = ObjectStore::sha256("the package");
  test::write(repository.store().fileURL(digest), "the package");
  auto file = test::itemWithID("Tool.pkg");
  file.file = FileRef{"Tool.pkg", digest, 11, {}, FileRef::Status::downloaded, {}, {}, {}};
  test::WrittenBackup(stored, fourth).section("packageFiles").add(file).publish();
  const auto end = exporting({"packageFiles"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(written("Tool.pkg"), "the package");
}

TEST_F(Export, ObjectsThatCannotBeReadAreLeftOutWithTheReason) {
  auto index = *repository.index(third, "policies");
  test::write(repository.store().objectURL(index.items[0].objects.at("classic")), "");
  index.errors.push_back({"7", "Broken", "HTTP 500"});
  BackupRepository::writeIndex(index, indexOf(third, "policies"), std::nullopt);
  const auto end = exporting({"policies"});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_EQ(end.output, (out / "Install Wi-Fi.json").string() + "\n");
  EXPECT_THAT(end.error, HasSubstr("Left out: Install Office (#1): "));
  EXPECT_THAT(end.error, HasSubstr("Left out: Broken (#7): the backup could not read it: HTTP 500"));
  EXPECT_THAT(end.error, HasSubstr("1 file in " + out.string() + "; 2 left out."));
}

TEST_F(Export, ObjectsThatAreNotWhatTheirNamesSayAreLeftOut) {
  const auto index = *repository.index(third, "policies");
  const auto& hash = index.items[0].objects.at("classic");
  test::write(repository.store().objectURL(hash), "{\n  \"policy\" : \"of another\"\n}");
  const auto end = exporting({"policies"});
  EXPECT_EQ(end.output, (out / "Install Wi-Fi.json").string() + "\n");
  EXPECT_THAT(end.error, HasSubstr("Left out: Install Office (#1): The object " + hash + " is damaged"));
  const auto alone = exporting({"policies", "1"});
  EXPECT_EQ(alone.status, 1);
  EXPECT_EQ(alone.output, "");
  EXPECT_THAT(alone.error, HasSubstr(hash + " is damaged"));
  EXPECT_THAT(command("show", {"policies", "1"}).output, HasSubstr(hash + " is damaged"));
}

TEST_F(Export, ARemovedObjectIsRefusedAndSaysWhereItsLastVersionIs) {
  const auto end = exporting({"policies", "2", "--backup", second});
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error,
              HasSubstr("it was no longer on the server. Its last version is in 2025-03-03T091500Z"));
  EXPECT_FALSE(files::exists(out));
}

TEST_F(Export, AFileIsALineOfJSON) {
  const auto lines = linesOf(exporting({"scripts", "--json"}));
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(member(lines[0], "event"), "file");
  EXPECT_EQ(member(lines[0], "id"), "5");
  EXPECT_EQ(member(lines[0], "path"), (out / "Hello.sh").string());
  EXPECT_EQ(member(lines[1], "event"), "finished");
  EXPECT_EQ(member(lines[1], "written"), "1");
}

TEST_F(Export, PathsCannotControlATerminal) {
  const auto strange = (home.path() / "x\x1b[2J\xE2\x80\xAE").string();
  const auto end = command("export", {"scripts", "--out", strange});
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("/x␛[2J<U+202E>/Hello.sh\n"));
  EXPECT_THAT(end.output + end.error, Not(HasSubstr("\x1b")));
  const auto lines = linesOf(command("export", {"scripts", "--out", strange, "--json"}));
  EXPECT_EQ(member(lines.at(0), "path"), strange + "/Hello.sh");
}

TEST_F(Export, AFolderThatCannotBeMadeIsAFailureThatNamesIt) {
  test::write(home.path() / "made", "a file");
  const auto end = exporting({"scripts"});
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr((home.path() / "made").string()));
}

TEST_F(Export, WithoutAFolderOrWithAnUnknownObjectNothingIsMade) {
  EXPECT_EQ(command("export", {"scripts"}).status, 2);
  EXPECT_EQ(command("export", {"scripts", "--out", ""}).status, 2);
  EXPECT_EQ(exporting({"script"}).status, 2);
  EXPECT_EQ(exporting({"scripts", ""}).status, 2);
  EXPECT_EQ(exporting({"scripts", "nothing"}).status, 1);
  EXPECT_EQ(exporting({"buildings"}).status, 1);
  EXPECT_EQ(exporting({"scripts", "--backup", "2020-01-01T000000Z"}).status, 10);
  EXPECT_FALSE(files::exists(out));
}

}  // namespace
}  // namespace orvik
