#include "orvik/Explore/Tree/TreeNames.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "Platform/Locale/Text.h"

namespace orvik::host {
namespace {

TEST(TreeNames, ANameHasItsID) {
  EXPECT_EQ(treeNames::file("Install Office", "12", ".json"), "Install Office (12).json");
  EXPECT_EQ(treeNames::file("Settings", "settings", ".json"), "Settings (settings).json");
  EXPECT_EQ(treeNames::file("Wi-Fi: Lab 1/2", "3f2504e0-4f89", ".json"),
            "Wi-Fi- Lab 1-2 (3f2504e0-4f89).json");
}

TEST(TreeNames, WhatOtherFileSystemsRefuseIsADash) {
  EXPECT_EQ(treeNames::file("a\\b\"c?*<>|", "1", ".json"), "a-b-c----- (1).json");
  EXPECT_EQ(treeNames::file("line\nfeed", "1", ".json"), "line-feed (1).json");
  EXPECT_EQ(treeNames::file("../../etc/passwd", "1", ".json"), "---..-etc-passwd (1).json");
  EXPECT_EQ(treeNames::file(".git", "1", ".json"), "-git (1).json");
}

TEST(TreeNames, OnlyTheNameIsCut) {
  const auto name = treeNames::file(std::string(300, 'x'), "12", ".mobileconfig");
  EXPECT_EQ(name.size(), 213u);
  EXPECT_TRUE(name.ends_with("x (12).mobileconfig")) << name;
}

TEST(TreeNames, NoTwoIDsGiveOneNameWhateverTheFileSystemKnowsOfCase) {
  const std::vector<std::string> ids{"a",
                                     "A",
                                     "a/b",
                                     "a-b",
                                     "a_b",
                                     "a b",
                                     "",
                                     "..",
                                     ".",
                                     "\n",
                                     "-",
                                     "AB",
                                     "aB",
                                     "ab",
                                     ".git",
                                     "a\\b",
                                     "é",
                                     "e\u0301",
                                     "1",
                                     "1 ",
                                     std::string(65, 'a'),
                                     std::string(66, 'a'),
                                     std::string(64, 'a'),
                                     "a~b"};
  std::set<std::string> names;
  for (const auto& id : ids) {
    const auto name = treeNames::file("Name", id, ".json");
    EXPECT_TRUE(names.insert(platform::locale::lowercased(name)).second) << id << " gives " << name;
    EXPECT_TRUE(treeNames::isFile(name)) << name;
    EXPECT_LE(name.size(), 213u);
  }
}

TEST(TreeNames, FoldersAreMadeOfLettersAndDigits) {
  for (const char* id : {"policies", "a", "ab-c_d", "Policies2"}) EXPECT_TRUE(treeNames::isFolder(id)) << id;
  for (const char* id :
       {"", ".git", ".orvik", "..", "a/b", "a.b", "-x", "_x", "a b", "\n", "backup.json", "é"})
    EXPECT_FALSE(treeNames::isFolder(id)) << id;
  EXPECT_FALSE(treeNames::isFolder(std::string(65, 'a')));
}

TEST(TreeNames, PathsAreNoFiles) {
  for (const char* name : {"", ".", "..", "../x", "a/b", ".git", "a\nb"})
    EXPECT_FALSE(treeNames::isFile(name)) << name;
  EXPECT_FALSE(treeNames::isFile(std::string("a\0b", 3)));
  EXPECT_TRUE(treeNames::isFile("Install Office (1).json"));
}

}  // namespace
}  // namespace orvik::host
