#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "JamfCore/Tools/JamfTool.h"
#include "Platform/Files/Files.h"

namespace jamf {
namespace {

namespace json = platform::json;

std::string golden(const char* name) {
  return platform::files::read(std::filesystem::path(ORVIK_SOURCE_FOLDER) / "tests/golden/tools" / name);
}

std::string described(std::string_view kind, const std::vector<JamfTool>& tools) {
  std::string text;
  for (const auto& tool : tools) {
    text += std::string(kind) + " " + tool.name + ": " + tool.description + "\n";
    for (const auto& each : tool.parameters)
      text += "  " + each.name + " " + std::string(json::textOf(each.type)) +
              (each.required ? " required" : "") + "\n";
  }
  return text;
}

TEST(JamfToolCatalog, EveryToolHasItsNameItsDescriptionAndItsParametersInOrder) {
  EXPECT_EQ(
      described("read", JamfToolCatalog::readOnlyTools()) + described("write", JamfToolCatalog::writeTools()),
      golden("catalog.txt"));
}

TEST(JamfToolCatalog, ParametersAreDescribedInTheWordsOfTheCatalog) {
  std::set<std::string> used;
  for (const auto* tools : {&JamfToolCatalog::readOnlyTools(), &JamfToolCatalog::writeTools()})
    for (const auto& tool : *tools)
      for (const auto& each : tool.parameters) used.insert(each.name + ": " + each.description);
  std::string text;
  for (const auto& line : used) text += line + "\n";
  EXPECT_EQ(text, golden("parameters.txt"));
}

TEST(JamfToolCatalog, NamesStandOnce) {
  std::set<std::string> names;
  for (const auto* tools : {&JamfToolCatalog::readOnlyTools(), &JamfToolCatalog::writeTools()})
    for (const auto& tool : *tools) EXPECT_TRUE(names.insert(tool.name).second) << tool.name;
  EXPECT_EQ(names.size(), 48U);
}

}  // namespace
}  // namespace jamf
