#include "orvik/Documents/Completion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/Support/Commands.h"

namespace orvik::host {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
namespace files = platform::files;

using Words = std::vector<std::string>;

Words lines(const std::string& text) {
  Words found;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) found.push_back(line);
  return found;
}

/// The real shells with the scripts for them, in a folder with a folder and two files.
class Completion : public testing::Test {
 protected:
  Completion() {
    files::atomicWrite(completion::bash(program_), folder / "orvik.bash");
    files::atomicWrite(completion::fish(program_), folder / "orvik.fish");
    files::createDirectories(folder / "place/my backups");
    files::atomicWrite("x", folder / "place/my.pem");
  }

  /// What bash offers behind these words, the last of which is being typed.
  Words inBash(const Words& words) const {
    std::string script = "cd '" + (folder / "place").string() + "'; . ../orvik.bash; COMP_WORDS=(orvik";
    for (const auto& word : words) script += " '" + word + "'";
    script += "); COMP_CWORD=" + std::to_string(words.size()) +
              "; _orvik; [ ${#COMPREPLY[@]} -eq 0 ] || printf '%s\\n' \"${COMPREPLY[@]}\"";
    return lines(test::outputOf("bash", {"--norc", "-c", script}));
  }
  /// The same of fish, without the descriptions.
  Words inFish(const std::string& line) const {
    auto found = lines(test::outputOf("fish", {"--no-config", "-c",
                                               "cd '" + (folder / "place").string() +
                                                   "'; source ../orvik.fish; complete -C '" + line + "'"}));
    for (auto& each : found) each = each.substr(0, each.find('\t'));
    return found;
  }

  const files::TempFolder folder;

 private:
  const CommandDescription program_ = describeCommands();
};

TEST_F(Completion, BashKnowsCommandsAndWhatStandsBehindThem) {
  EXPECT_THAT(inBash({"re"}), testing::UnorderedElementsAre("retention", "relations", "repair"));
  EXPECT_THAT(inBash({"lock", ""}), IsSupersetOf({"show", "unlock", "--help"}));
  EXPECT_THAT(inBash({"lock", "u"}), ElementsAre("unlock"));
}

TEST_F(Completion, BashKnowsTheOptionsOfTheCommandThatIsTyped) {
  EXPECT_THAT(inBash({"backup", "--keep"}), testing::UnorderedElementsAre("--keep", "--keep-days"));
  EXPECT_THAT(inBash({"lock", "show", "--"}), Not(Contains("--force")));
  EXPECT_THAT(inBash({"lock", "unlock", "--"}), Contains("--force"));
}

TEST_F(Completion, BashKnowsWhatAnOptionTakes) {
  EXPECT_THAT(inBash({"demo", "--fleet", ""}), ElementsAre("small", "school", "enterprise"));
  EXPECT_THAT(inBash({"demo", "--fleet", "=", "sc"}), ElementsAre("school"));
  EXPECT_THAT(inBash({"backup", "--to", "my"}), ElementsAre("my backups"));
  EXPECT_THAT(inBash({"backup", "--key", "my"}), testing::UnorderedElementsAre("my backups", "my.pem"));
  EXPECT_THAT(inBash({"backup", "--keep", ""}), IsEmpty());
  EXPECT_THAT(inBash({"check", "my"}), ElementsAre("my backups"));
  EXPECT_THAT(inBash({"completion", ""}), ElementsAre("bash", "zsh", "fish"));
}

TEST_F(Completion, FishKnowsCommandsOptionsAndValues) {
  EXPECT_THAT(inFish("orvik lo"), ElementsAre("lock"));
  EXPECT_THAT(inFish("orvik lock "), testing::UnorderedElementsAre("show", "unlock"));
  EXPECT_THAT(inFish("orvik lock unlock --fo"), ElementsAre("--force"));
  EXPECT_THAT(inFish("orvik lock show --fo"), IsEmpty());
  EXPECT_THAT(inFish("orvik demo --fleet sc"), ElementsAre("school"));
  EXPECT_THAT(inFish("orvik backup --key my"), IsSupersetOf({"my.pem"}));
  EXPECT_THAT(inFish("orvik check my"), AllOf(Contains("my backups/"), Not(Contains("my.pem"))));
}

TEST_F(Completion, ZshTakesItsScript) {
  const auto script = folder / "_orvik";
  files::atomicWrite(completion::zsh(describeCommands()), script);
  EXPECT_EQ(test::outputOf("zsh", {"-f", "-n", script.string()}), "");
  // What it says of options is checked by what reads them, outside of a completion to the point where it
  // needs one.
  const auto result = test::runProgram(
      "zsh", {"-f", "-c",
              "autoload -U compinit && compinit -u -D; fpath=('" + folder.path().string() +
                  "' $fpath); autoload -U _orvik && (( $+functions[_orvik] )) && print loaded"});
  EXPECT_EQ(result.out, "loaded\n") << result.err;
}

}  // namespace
}  // namespace orvik::host
