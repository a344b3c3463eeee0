#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "Platform/Files/Files.h"
#include "Platform/YAML/Decode.h"
#include "Platform/YAML/Emitter.h"
#include "tests/Support/Commands.h"

namespace records {

namespace json = platform::json;

enum class Colour { red, green };
constexpr auto enumTexts(Colour) {
  using namespace std::string_view_literals;
  return std::array{std::pair{Colour::red, "red"sv}, std::pair{Colour::green, "green"sv}};
}

struct Leaf {
  std::string text;
  std::optional<bool> flag;
  static constexpr auto fields() {
    return fieldList(json::field("text", &Leaf::text), json::field("flag", &Leaf::flag));
  }
  bool operator==(const Leaf&) const = default;
};

struct Tree {
  std::string zebra;
  std::int64_t apple = 0;
  std::optional<Colour> colour;
  std::vector<Leaf> leaves;
  std::optional<std::vector<std::string>> words;
  static constexpr auto fields() {
    return fieldList(json::field("zebra", &Tree::zebra), json::field("apple", &Tree::apple),
                     json::field("colour", &Tree::colour), json::field("leaves", &Tree::leaves),
                     json::field("words", &Tree::words));
  }
  bool operator==(const Tree&) const = default;
};

}  // namespace records

namespace platform::yaml {
namespace {

using records::Colour;
using records::Tree;
using testing::HasSubstr;
using testing::StartsWith;

std::string problemOf(std::string_view text) {
  try {
    decode<Tree>(text);
  } catch (const DecodingError& error) {
    return error.description();
  }
  return "";
}

const std::string start = "zebra: z\napple: 1\n";

TEST(YAMLDecode, ScalarsAreReadAsTheRecordWantsThem) {
  const auto tree = decode<Tree>(
      "zebra: 12\napple: 0x10\ncolour: green\nleaves: [{text: true, flag: yes}]\nwords: [07:30, '~']\nmore: "
      "[1]\n");
  EXPECT_EQ(tree, (Tree{"12", 16, Colour::green, {{"true", true}}, std::vector<std::string>{"07:30", "~"}}));
}

TEST(YAMLDecode, MissingAndNullAreAlike) {
  for (const auto* rest : {"leaves: []", "leaves: []\ncolour:\nwords: ~"}) {
    const auto tree = decode<Tree>(start + rest);
    EXPECT_EQ(tree.colour, std::nullopt);
    EXPECT_EQ(tree.words, std::nullopt);
  }
}

TEST(YAMLDecode, WhatIsWrongIsToldWithItsPath) {
  EXPECT_EQ(problemOf("[]"), "Expected a mapping in line 1, but found a list.");
  EXPECT_EQ(problemOf(""), "Expected a mapping in line 0, but found nothing.");
  EXPECT_EQ(problemOf("zebra: z"), "No value associated with key \"apple\".");
  EXPECT_EQ(problemOf("zebra: z\napple: x"),
            "apple: Expected a whole number in line 2, but found a single value.");
  EXPECT_EQ(problemOf(start + "leaves: 1"), "leaves: Expected a list in line 3, but found a single value.");
  EXPECT_EQ(problemOf(start + "leaves:\n- text: a\n- flag: no"),
            "leaves.Index 1: No value associated with key \"text\".");
  EXPECT_EQ(problemOf(start + "leaves:\n- text: [b]"),
            "leaves.Index 0.text: Expected a text in line 4, but found a list.");
  EXPECT_EQ(problemOf(start + "leaves:\n- {text: a, flag: maybe}"),
            "leaves.Index 0.flag: Expected true or false in line 4, but found a single value.");
  EXPECT_EQ(problemOf(start + "leaves: []\ncolour: blue"), "colour: \"blue\" is not a known value.");
  EXPECT_EQ(problemOf(start + "leaves: []\nwords: [a, ~]"),
            "words.Index 1: Expected a text in line 4, but found nothing.");
}

TEST(YAMLDecode, AnAliasBombIsRefused) {
  std::string text = start + "leaves: []\na: &a [x, x, x, x, x, x, x, x, x, x]\n";
  for (char name = 'b'; name <= 'i'; ++name) {
    const std::string before(1, static_cast<char>(name - 1));
    text += std::string(1, name) + ": &" + name + " [";
    for (int i = 0; i < 10; ++i) text += "*" + before + ", ";
    text += "]\n";
  }
  EXPECT_EQ(decode<Tree>(text).apple, 1);  // nobody looks at it
  std::string leaves = start + "l: &l {text: a}\nm: &m [";
  for (int i = 0; i < 2000; ++i) leaves += "*l, ";
  leaves += "]\nleaves: *m\n";
  EXPECT_EQ(decode<Tree>(leaves).leaves.size(), 2000U);
}

struct Lists {
  std::vector<std::vector<std::string>> lists;
  static constexpr auto fields() { return fieldList(json::field("lists", &Lists::lists)); }
};

TEST(YAMLDecode, ADocumentMayNotUnfoldWithoutEnd) {
  std::string text = "l: &l [";
  for (int i = 0; i < 2000; ++i) text += "x, ";
  text += "]\nlists: [";
  for (int i = 0; i < 2000; ++i) text += "*l, ";
  text += "]\n";
  try {
    decode<Lists>(text);
    FAIL();
  } catch (const DecodingError& error) {
    EXPECT_THAT(error.description(), HasSubstr("More than 2000000 values, with aliases followed."));
  }
}

TEST(YAMLEmitter, MembersStandInTheOrderOfTheRecord) {
  EXPECT_EQ(encode(Tree{"z", 1, Colour::red, {{"a", false}}, {}}),
            "zebra: z\napple: 1\ncolour: red\nleaves:\n- text: a\n  flag: false\n");
  EXPECT_EQ(encode(Tree{"z", 1, {}, {}, std::vector<std::string>{}}),
            "zebra: z\napple: 1\nleaves: []\nwords: []\n");
}

TEST(YAMLEmitter, ATextThatWouldBeReadAsSomethingElseIsQuoted) {
  for (const auto* text :
       {"12", "true", "no", "", "~", "null", "1.5", "2026-01-01", "07:30", "<<", "y", ".inf"})
    EXPECT_THAT(encode(Tree{text, 1, {}, {}, {}}), StartsWith("zebra: '" + std::string(text) + "'\n"))
        << text;
  EXPECT_THAT(encode(Tree{"v1", 1, {}, {}, {}}), StartsWith("zebra: v1\n"));
}

TEST(YAMLEmitter, LettersAndTextsOfSeveralLinesAreReadableOnRequest) {
  const Tree tree{"Größe", 1, {}, {{"#!/bin/sh\necho \"a: b\"\n", {}}}, {}};
  EXPECT_THAT(encode(tree), StartsWith("zebra: \"Gr\\xF6\\xDFe\"\n"));
  EXPECT_EQ(encode(tree, {.unicode = true, .literalTexts = true}),
            "zebra: Größe\napple: 1\nleaves:\n- text: |\n    #!/bin/sh\n    echo \"a: b\"\n");
}

TEST(YAMLEmitter, ATextThatIsNoUTF8IsRefused) {
  EXPECT_THROW(encode(Tree{"a\xff", 1, {}, {}, {}}), EmitError);
}

/// Texts of the characters that YAML makes something of.
std::string hardText(std::mt19937& random) {
  static const std::vector<std::string> parts{"a",
                                              "B",
                                              " ",
                                              "  ",
                                              "\n",
                                              "\n\n",
                                              "\t",
                                              ":",
                                              ": ",
                                              "#",
                                              " #",
                                              "- ",
                                              "'",
                                              "\"",
                                              "\\",
                                              "{",
                                              "}",
                                              "[",
                                              "]",
                                              ",",
                                              "&",
                                              "*",
                                              "!",
                                              "|",
                                              ">",
                                              "%",
                                              "@",
                                              "`",
                                              "?",
                                              "? ",
                                              "~",
                                              "1",
                                              "no",
                                              "\r",
                                              "\r\n",
                                              "\x01",
                                              "\x7f",
                                              "ä",
                                              "日",
                                              "😀",
                                              "\xc2\x85",
                                              "\xe2\x80\xa8",
                                              "\xef\xbb\xbf",
                                              "---",
                                              "...",
                                              "<<",
                                              "\xc2\xa0"};
  std::string text;
  for (auto left = random() % 12; left > 0; --left) text += parts[random() % parts.size()];
  return text;
}

TEST(YAMLEmitter, EveryTextComesBackAndAnotherReaderReadsTheSame) {
  std::mt19937 random(20261122);
  Tree tree{"texts", 1, {}, {}, std::vector<std::string>{std::string("a\0b", 3)}};
  for (int i = 0; i < 1000; ++i) tree.words->push_back(hardText(random));
  const files::TempFolder folder;
  for (const auto style : {EmitStyle{}, EmitStyle{true, true}, EmitStyle{false, true}}) {
    const auto text = encode(tree, style);
    EXPECT_EQ(decode<Tree>(text), tree);
    files::atomicWrite(text, folder / "tree.yaml");
    const auto elsewhere =
        orvik::test::outputOf("python3", {"-c",
                                          "import sys, yaml, json\n"
                                          "words = yaml.load(open(sys.argv[1], newline='', "
                                          "encoding='utf-8').read(), yaml.SafeLoader)['words']\n"
                                          "sys.stdout.write(json.dumps(words))",
                                          (folder / "tree.yaml").string()});
    EXPECT_EQ(json::Decoder().decode<std::vector<std::string>>(elsewhere), *tree.words);
  }
}

}  // namespace
}  // namespace platform::yaml
