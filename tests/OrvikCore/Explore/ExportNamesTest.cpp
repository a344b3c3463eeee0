#include "OrvikCore/Explore/ExportNames.h"

#include <gtest/gtest.h>

#include <chrono>

#include "OrvikCore/Explore/ObjectExporter.h"
#include "Platform/Locale/Text.h"

namespace orvik {
namespace {

std::string repeated(std::string_view unit, std::size_t count) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) all += unit;
  return all;
}

std::string safe(std::string_view text) { return ObjectExporter::safeName(text); }
std::string file(std::string_view text) { return ObjectExporter::fileName(text); }
std::string script(std::string_view name, std::string_view contents) {
  return ObjectExporter::scriptFileName(name, contents);
}

TEST(SafeNameTest, SlashesAndColonsBecomeDashes) {
  EXPECT_EQ(safe("Wi-Fi: Lab 1/2"), "Wi-Fi- Lab 1-2");
  EXPECT_EQ(safe("//::"), "----");
}

TEST(SafeNameTest, WhiteSpaceAtTheEndsGoes) {
  EXPECT_EQ(safe(" \t\n Report \u00A0\u2003\r\n"), "Report");
  EXPECT_EQ(safe("a \n b"), "a \n b");
}

TEST(SafeNameTest, AnEmptyNameIsUnnamed) {
  EXPECT_EQ(safe(""), "unnamed");
  EXPECT_EQ(safe(" \n\u3000"), "unnamed");
}

TEST(SafeNameTest, TheFirst200CharactersStay) {
  EXPECT_EQ(safe(std::string(300, 'x')), std::string(200, 'x'));
  EXPECT_EQ(safe(std::string(10'000, 'x')), std::string(200, 'x'));
  EXPECT_EQ(safe(repeated("日", 201)), repeated("日", 200));
  EXPECT_EQ(safe(repeated("e\u0301", 201)), repeated("e\u0301", 200));
  EXPECT_EQ(safe(repeated("👩🏽‍💻", 201)), repeated("👩🏽‍💻", 200));
  EXPECT_EQ(safe(repeated("ש\u05C1", 201)), repeated("ש\u05C1", 200));
  EXPECT_EQ(safe(std::string(200, 'x')), std::string(200, 'x'));
}

TEST(FileNameTest, ATailStaysWholeWhereTheNameIsCut) {
  const std::string tail = " (12).json";
  EXPECT_EQ(ObjectExporter::fileName("../a\nb", tail), "-.-a-b (12).json");
  EXPECT_EQ(ObjectExporter::fileName("", tail), "unnamed (12).json");
  EXPECT_EQ(ObjectExporter::fileName(std::string(300, 'x'), tail),
            std::string(ObjectExporter::longestFileName - tail.size(), 'x') + tail);
  const auto cut = ObjectExporter::fileName(repeated("\u65e5", 100), tail);
  EXPECT_EQ(cut, repeated("\u65e5", (ObjectExporter::longestFileName - tail.size()) / 3) + tail);
}

TEST(ScriptFileNameTest, AScriptNamedInstallPYKeepsItsName) {
  EXPECT_EQ(script("install.PY", "#!/bin/zsh\n"), "install.PY");
  for (const char* name : {"a.sh", "a.zsh", "a.bash", "a.py", "a.pl", "a.rb", "a.swift", "a.command",
                           "a.applescript", "a.js", "a b.SH", "1.2.Sh"}) {
    EXPECT_EQ(script(name, "#!/usr/bin/python\n"), name);
  }
}

TEST(ScriptFileNameTest, TheInterpreterSetsTheExtension) {
  EXPECT_EQ(script("do it", "#!/usr/bin/env python3\nprint()\n"), "do it.py");
  EXPECT_EQ(script("do it", "#!/bin/zsh"), "do it.zsh");
  EXPECT_EQ(script("do it", "#!/usr/bin/perl -w\r\n"), "do it.pl");
  EXPECT_EQ(script("do it", "#!/usr/bin/ruby\n"), "do it.rb");
  EXPECT_EQ(script("do it", "#!/usr/bin/osascript -l JavaScript\n"), "do it.applescript");
  EXPECT_EQ(script("do it", "#!/usr/bin/SWIFT\n"), "do it.swift");
  EXPECT_EQ(script("do it", "#!/bin/bash\n"), "do it.sh");
  EXPECT_EQ(script("do it", "#!/usr/local/bin/node\n"), "do it.sh");
}

TEST(ScriptFileNameTest, AScriptWithoutAnInterpreterIsOfTheShell) {
  EXPECT_EQ(script("do it", "echo python\n"), "do it.sh");
  EXPECT_EQ(script("do it", ""), "do it.sh");
  EXPECT_EQ(script("do it", "\n#!/usr/bin/python\n"), "do it.sh");
  EXPECT_EQ(script("do it", "#!/bin/sh\npython zsh\n"), "do it.sh");
}

TEST(ScriptFileNameTest, OfTwoInterpretersTheOneAheadInTheTableDecides) {
  EXPECT_EQ(script("a", "#!/usr/bin/python /bin/zsh\n"), "a.zsh");
  EXPECT_EQ(script("a", "#!/usr/bin/env ruby python\n"), "a.py");
}

TEST(ScriptFileNameTest, OtherExtensionsAreAPartOfTheName) {
  EXPECT_EQ(script("Tool 1.2", "#!/bin/sh\n"), "Tool 1.2.sh");
  EXPECT_EQ(script("notes.txt", "#!/bin/sh\n"), "notes.txt.sh");
  EXPECT_EQ(script("a.sh ", ""), "a.sh");
  EXPECT_EQ(script("a/b", ""), "a-b.sh");
  EXPECT_EQ(script("", ""), "unnamed.sh");
}

TEST(FileNameTest, NamesThatAreNoneForAFileAreMended) {
  EXPECT_EQ(file(""), "unnamed");
  EXPECT_EQ(file("."), "-");
  EXPECT_EQ(file(".."), "--");
  EXPECT_EQ(file("../../etc/passwd"), "---..-etc-passwd");
  EXPECT_EQ(file("a/b.pkg"), "a-b.pkg");
  EXPECT_EQ(file(std::string_view("a\0b", 3)), "a-b");
}

TEST(FileNameTest, NoFileIsHidden) {
  EXPECT_EQ(file(".profile.sh"), "-profile.sh");
  EXPECT_EQ(file("...json"), "--.json");
  EXPECT_EQ(file("..json"), "-.json");
  EXPECT_EQ(file("..."), "---");
  EXPECT_EQ(file(".json"), "-json");
  EXPECT_EQ(file("a..b"), "a..b");
}

TEST(FileNameTest, ControlCharactersBecomeDashes) {
  EXPECT_EQ(file("a\nb\tc\x1B[1m\x7F\u0085.sh"), "a-b-c-[1m--.sh");
  EXPECT_EQ(file("a\u2028b\u2029c"), "a-b-c");
  EXPECT_EQ(file("tool\u202Efdp.sh"), "tool-fdp.sh");
  EXPECT_EQ(file("\u2066a\u2069"), "-a-");
}

TEST(FileNameTest, OtherNamesStay) {
  for (const char* name : {"Report.json", "CON", "nul.sh", "a:b", "a\\b", "*?\"<>|", " a ", "a.", "שלום.json",
                           "مرحبا\u200F.sh", "Cafe\u0301.json", "👩🏽‍💻.pkg"}) {
    EXPECT_EQ(file(name), name);
  }
  EXPECT_EQ(file("a\xFF"
                 "b"),
            "a\uFFFDb");
}

/// The characters of a cut name are those of the whole one.
void expectCut(std::string_view unit, std::string_view extension) {
  const auto cut = file(repeated(unit, 300) + std::string(extension));
  EXPECT_LE(cut.size(), ObjectExporter::longestFileName) << unit;
  EXPECT_GT(cut.size() + unit.size(), ObjectExporter::longestFileName) << unit;
  const auto count = (cut.size() - extension.size()) / unit.size();
  EXPECT_EQ(cut, repeated(unit, count) + std::string(extension)) << unit;
}

TEST(FileNameTest, LongNamesAreCutBeforeTheExtensionAtTheEndOfACharacter) {
  for (const char* unit : {"x", "é", "日", "e\u0301", "👩🏽‍💻", "🇩🇪", "ש\u05C1"}) {
    for (const char* extension : {"", ".sh", ".json", ".mobileconfig"}) expectCut(unit, extension);
  }
}

TEST(FileNameTest, ACharacterLongerThanANameIsCutBetweenItsMarks) {
  const auto cut = file("e" + repeated("\u0301", 300) + ".json");
  EXPECT_EQ(cut, "e" + repeated("\u0301", 103) + ".json");
  EXPECT_TRUE(platform::locale::isValidUTF8(cut));
}

TEST(FileNameTest, ALongEndingIsNoExtension) {
  EXPECT_EQ(file("v1." + std::string(300, 'x')), "v1." + std::string(210, 'x'));
  EXPECT_EQ(file(std::string(300, 'x') + ". and so on"), std::string(213, 'x'));
}

TEST(UniqueTest, ANameThatIsUsedGetsANumber) {
  std::set<std::string> used;
  EXPECT_EQ(ObjectExporter::unique("Script.sh", used), "Script.sh");
  EXPECT_EQ(ObjectExporter::unique("Script.sh", used), "Script 2.sh");
  EXPECT_EQ(ObjectExporter::unique("SCRIPT.sh", used), "SCRIPT 3.sh");
  EXPECT_EQ(ObjectExporter::unique("Script", used), "Script");
  EXPECT_EQ(ObjectExporter::unique("script", used), "script 2");
  EXPECT_EQ(used, (std::set<std::string>{"script.sh", "script 2.sh", "script 3.sh", "script", "script 2"}));
}

TEST(UniqueTest, ANumberThatANameHasAlreadyIsPassedOver) {
  std::set<std::string> used;
  EXPECT_EQ(ObjectExporter::unique("a 2.sh", used), "a 2.sh");
  EXPECT_EQ(ObjectExporter::unique("a.sh", used), "a.sh");
  EXPECT_EQ(ObjectExporter::unique("a.sh", used), "a 3.sh");
}

TEST(UniqueTest, FormsOfOneLetterAreOneName) {
  std::set<std::string> used;
  EXPECT_EQ(ObjectExporter::unique("Caf\u00E9.json", used), "Caf\u00E9.json");
  EXPECT_EQ(ObjectExporter::unique("Cafe\u0301.json", used), "Cafe\u0301 2.json");
  EXPECT_EQ(ObjectExporter::unique("CAFÉ.json", used), "CAFÉ 3.json");
}

TEST(UniqueTest, ANumberedNameIsNoLongerThanOthers) {
  std::set<std::string> used;
  const auto name = std::string(300, 'x') + ".json";
  EXPECT_EQ(ObjectExporter::unique(name, used), std::string(208, 'x') + ".json");
  for (int number = 2; number < 12; ++number) {
    const auto counter = " " + std::to_string(number);
    EXPECT_EQ(ObjectExporter::unique(name, used), std::string(208 - counter.size(), 'x') + counter + ".json");
  }
  EXPECT_EQ(ObjectExporter::unique("..", used), "--");
  EXPECT_EQ(ObjectExporter::unique("..", used), "-- 2");
}

TEST(ExportNamesTest, GivesTheNamesThatUniqueGives) {
  const std::vector<std::string> names{"a.sh", "A.sh", "a 3.sh", "a.sh", "a.sh", "b",    "B",   "a 2.sh",
                                       "..",   "--",   "",       "",     "b 2",  "a.SH", "a.sh"};
  std::set<std::string> used;
  ExportNames given;
  for (const auto& name : names) EXPECT_EQ(given.take(name), ObjectExporter::unique(name, used));
}

TEST(ExportNamesTest, ThousandsOfEqualNamesTakeNoLongTime) {
  const auto start = std::chrono::steady_clock::now();
  ExportNames names;
  for (int number = 1; number <= 50'000; ++number) {
    const auto given = names.take("iPad.json");
    if (number == 50'000) {
      EXPECT_EQ(given, "iPad 50000.json");
    }
  }
  for (int number = 1; number <= 2'000; ++number) names.take(std::string(300, 'x') + std::to_string(number));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

}  // namespace
}  // namespace orvik
