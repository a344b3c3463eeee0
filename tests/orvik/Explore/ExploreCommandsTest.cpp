#include "orvik/Explore/ExploreCommands.h"

#include <algorithm>

#include "tests/Support/HostFixture.h"
#include "tests/Support/JSONLines.h"

namespace orvik {
namespace {

using test::jsonLines;
using test::member;
using testing::HasSubstr;
using testing::Not;

/// Backups of the whole sample server.
class ExploreCommands : public test::HostFixture {
 protected:
  std::string backUp() const {
    const auto end =
        runToEnd(start({"backup", "--to", root.string(), "--url", server.url(), "--client-id",
                        server.clientID(), "--secret-file", secretFile.string(), "--rate", "0"}));
    EXPECT_EQ(end.status, 0) << end.error;
    return end.lastLine();
  }
  test::ProgramEnd command(const std::string& name, const Arguments& more = {}) const {
    Arguments all{name, repository().instanceDirectory.string()};
    all.insert(all.end(), more.begin(), more.end());
    auto end = runToEnd(start(all));
    EXPECT_EQ(end.status, 0) << name << ": " << end.error;
    return end;
  }
};

TEST_F(ExploreCommands, TellWhatChangedOnAServerBetweenTwoBackups) {
  const auto before = backUp();
  const auto script = server.ids("scripts").at(0), building = server.ids("buildings").at(0);
  ASSERT_TRUE(server.change("scripts", script));
  ASSERT_TRUE(server.rename("policies", server.ids("policies").at(0), "Wholly new name"));
  ASSERT_TRUE(server.remove("buildings", building));
  const auto added = server.add("printers").value();
  const auto after = backUp();

  const auto sections = command("sections");
  EXPECT_THAT(sections.output, HasSubstr("\nParent " + before + "\n"));
  EXPECT_THAT(sections.output, HasSubstr("  Scripts  1 changed\n"));
  EXPECT_EQ(jsonLines(command("sections", {before, "--json"}).output).size(),
            repository().manifest(before)->sections.size() + 1);

  const auto shown = command("show", {"scripts", script});
  EXPECT_THAT(shown.output, HasSubstr(", changed\nBackup " + after));
  EXPECT_THAT(shown.output, HasSubstr("\nChanged since " + before + "\n  Info"));
  EXPECT_THAT(command("show", {"buildings", building}).output, HasSubstr("add --backup " + before));

  const auto differences = jsonLines(command("diff", {"--json"}).output);
  const auto has = [&](const std::string& section, const std::string& id, const std::string& change) {
    return std::ranges::any_of(differences, [&](const auto& line) {
      return member(line, "section") == section && member(line, "id") == id &&
             member(line, "change") == change;
    });
  };
  EXPECT_TRUE(has("scripts", script, "changed") && has("buildings", building, "removed") &&
              has("printers", added, "new"));
  EXPECT_EQ(differences.size(), 5u);
  EXPECT_EQ(member(differences.back(), "changed"), "2");

  EXPECT_THAT(command("search", {"wholly NEW"}).output, HasSubstr("  Wholly new name  #"));
  EXPECT_THAT(command("search", {"changed 1 TIME(s)", "--contents"}).output,
              HasSubstr("  #" + script + "\n"));

  const auto history = jsonLines(command("history", {"policies", "Wholly new name", "--json"}).output);
  ASSERT_EQ(history.size(), 3u);
  EXPECT_EQ(member(history[0], "change"), "new");
  EXPECT_THAT(member(history[1], "changes"), HasSubstr("Wholly new name"));

  const auto files = folder / "exported";
  const auto paths = command("export", {"scripts", "--out", files.string()}).output;
  EXPECT_EQ(static_cast<std::size_t>(std::ranges::count(paths, '\n')), server.ids("scripts").size());
  EXPECT_EQ(platform::files::visibleNames(files).size(), server.ids("scripts").size());
}

}  // namespace
}  // namespace orvik
