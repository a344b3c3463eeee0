#include "OrvikCore/Reports/PDFDocumentWriter.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "tests/Support/PDFText.h"

namespace orvik {
namespace {

using test::PDFText;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Tone = PDFDocumentWriter::Tone;
using Words = std::vector<PDFText::Word>;

const platform::Date aDay = platform::parseISO8601("2025-03-04T09:15:00Z").value();

platform::Bytes made(const std::function<void(PDFDocumentWriter&)>& draw) {
  PDFDocumentWriter writer("Yearly report", "Ada Lovelace", "School · 2025", PDFDocumentWriter::a4, aDay);
  draw(writer);
  return writer.finish();
}

PDFText drawn(const std::function<void(PDFDocumentWriter&)>& draw) { return PDFText(made(draw)); }

/// Lines of 11.21 points, each a paragraph with 5 points behind it.
void fill(PDFDocumentWriter& writer, double points) {
  for (int i = 0; i < static_cast<int>(points / 16.21); ++i) writer.paragraph(fmt::format("filler {}", i));
}

std::size_t countOf(std::string_view text, std::string_view part) {
  std::size_t count = 0;
  for (auto at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++count;
  return count;
}

PDFText::Word wordOf(const Words& words, std::string_view text) {
  const auto word = std::ranges::find(words, text, &PDFText::Word::text);
  EXPECT_NE(word, words.end()) << text;
  return word != words.end() ? *word : PDFText::Word{};
}

PDFDocumentWriter::Row rowOf(std::vector<std::string> cells) { return {std::move(cells), {}}; }

TEST(PDFDocumentWriter, ADocumentNamesTitleAuthorAndCreatorAndIsSound) {
  const auto pdf = drawn([](auto& writer) { writer.cover("Report", "School", "All is well."); });
  EXPECT_EQ(pdf.faults(), "");
  const auto info = pdf.info();
  EXPECT_THAT(info, HasSubstr("Title:           Yearly report\n"));
  EXPECT_THAT(info, HasSubstr("Author:          Ada Lovelace\n"));
  EXPECT_THAT(info, HasSubstr("Creator:         Orvik\n"));
  EXPECT_THAT(info, HasSubstr("Page size:       595.28 x 841.89 pts (A4)"));
  EXPECT_THAT(info, HasSubstr("2025"));
}

TEST(PDFDocumentWriter, TheSameInputGivesTheSameBytes) {
  const auto draw = [](PDFDocumentWriter& writer) {
    writer.cover("Report", "School", std::nullopt);
    writer.heading("Sections");
    writer.table({{"Name"}, {"Count", 1, true}}, {rowOf({"Policies", "12"}), rowOf({"日本語 🏫", "3"})});
    writer.code("#!/bin/sh\nexit 0", 10);
  };
  EXPECT_EQ(made(draw), made(draw));
}

TEST(PDFDocumentWriter, EveryPageHasItsHeadAndFooter) {
  const auto pdf = drawn([](auto& writer) { fill(writer, 1600); });
  ASSERT_EQ(pdf.pages(), 3);
  for (int page = 1; page <= 3; ++page) {
    const auto text = PDFText::oneSpaced(pdf.page(page));
    EXPECT_TRUE(text.starts_with(" Yearly report") || text.starts_with("Yearly report")) << text;
    EXPECT_THAT(text, HasSubstr(fmt::format("School · 2025 Page {}", page)));
  }
  const auto words = pdf.words();
  const auto number = std::ranges::find_if(words, [](const auto& word) { return word.text == "Page"; });
  ASSERT_NE(number, words.end());
  EXPECT_NEAR(std::next(number)->right, 595.28 - 48, 0.5);
  EXPECT_THAT(pdf.strays(), IsEmpty());
}

TEST(PDFDocumentWriter, ABlockBeginsAtTheMarginsAndSpacesAreKept) {
  const auto words = drawn([](auto& writer) {
                       writer.paragraph("first");
                       writer.paragraph("second");
                     }).words();
  const auto first = wordOf(words, "first");
  const auto second = wordOf(words, "second");
  EXPECT_NEAR(first.left, 48, 0.5);
  EXPECT_NEAR(second.bottom - first.bottom, 9.5 * 1.18 + 5, 0.05);
}

TEST(PDFDocumentWriter, ATableLongerThanAPageRepeatsItsHeaderOnEachPage) {
  const auto pdf = drawn([](auto& writer) {
    std::vector<PDFDocumentWriter::Row> rows;
    for (int i = 0; i < 150; ++i) rows.push_back(rowOf({fmt::format("policy{}", i), "1"}));
    writer.table({{"Policyname", 3}, {"Amount", 1, true}}, rows);
  });
  ASSERT_GE(pdf.pages(), 3);
  for (int page = 1; page <= pdf.pages(); ++page)
    EXPECT_EQ(countOf(pdf.page(page), "Policyname"), 1U) << page;
  const auto text = pdf.text();
  for (int i = 0; i < 150; ++i) EXPECT_EQ(countOf(text, fmt::format("policy{} ", i)), 1U) << i;
  EXPECT_THAT(pdf.strays(), IsEmpty());
}

TEST(PDFDocumentWriter, RightAlignedCellsEndAtTheirPadding) {
  const auto words =
      drawn([](auto& writer) {
        writer.table({{"Name", 1}, {"Amount", 1, true}}, {rowOf({"a", "7"}), rowOf({"b", "12345"})});
      }).words();
  EXPECT_NEAR(wordOf(words, "7").right, 595.28 - 48 - 4, 0.3);
  EXPECT_NEAR(wordOf(words, "12345").right, 595.28 - 48 - 4, 0.3);
  EXPECT_NEAR(wordOf(words, "Amount").right, 595.28 - 48 - 4, 0.3);
}

TEST(PDFDocumentWriter, AHeading50PointsAboveThePageEndMovesToTheNextPage) {
  // The body of a page is 731.89 points high.
  const auto pdf = drawn([](auto& writer) {
    fill(writer, 731.89 - 50);
    writer.heading("Lonely");
    writer.paragraph("below");
  });
  ASSERT_EQ(pdf.pages(), 2);
  EXPECT_THAT(pdf.page(1), Not(HasSubstr("Lonely")));
  EXPECT_THAT(pdf.page(2), HasSubstr("Lonely"));
}

TEST(PDFDocumentWriter, HeadingsStayWithTheFirstRowOfATable) {
  const std::string tall = [] {
    std::string text;
    for (int i = 0; i < 300; ++i) text += fmt::format("word{} ", i);
    return text;
  }();
  for (double above = 400; above < 720; above += 16.21) {
    const auto pdf = drawn([&](auto& writer) {
      fill(writer, above);
      writer.heading("Heading");
      writer.subheading("Subheading", Tone::warning);
      writer.table({{"Column"}}, {rowOf({tall})}, 12);
    });
    const auto words = pdf.words();
    const int page = wordOf(words, "Heading").page;
    EXPECT_EQ(wordOf(words, "Subheading").page, page) << above;
    EXPECT_EQ(wordOf(words, "Column").page, page) << above;
    EXPECT_EQ(wordOf(words, "word0").page, page) << above;
  }
}

TEST(PDFDocumentWriter, AHeadingWithNothingBelowIsDrawn) {
  EXPECT_THAT(drawn([](auto& writer) { writer.heading("The end"); }).text(), HasSubstr("The end"));
}

TEST(PDFDocumentWriter, HeadingsAreTheOutline) {
  const auto objects = drawn([](auto& writer) {
                         writer.heading("Sections");
                         writer.subheading("Groups");
                         writer.paragraph("x");
                         writer.heading("Änderungen");
                       }).unpacked();
  EXPECT_THAT(objects, HasSubstr("/Title (Sections)"));
  EXPECT_THAT(objects, HasSubstr("/Title (Groups)"));
  EXPECT_EQ(countOf(objects, "/Parent"), 4U) << "a page and three bookmarks";
}

TEST(PDFDocumentWriter, AListOf12ItemsWithALimitOf10Shows10AndThatTwoMoreThereAre) {
  std::vector<std::string> items;
  for (int i = 1; i <= 12; ++i) items.push_back(fmt::format("item{}", i));
  const auto text = drawn([&](auto& writer) { writer.bullets(items, Tone::bad, 10); }).text();
  EXPECT_THAT(text, HasSubstr("• item1\n"));
  EXPECT_THAT(text, HasSubstr("• item10\n"));
  EXPECT_THAT(text, Not(HasSubstr("item11")));
  EXPECT_THAT(text, HasSubstr("… and 2 more\n"));
}

TEST(PDFDocumentWriter, AListAtItsLimitIsWhole) {
  const auto text = drawn([](auto& writer) { writer.bullets({"one", "two"}, Tone::normal, 2); }).text();
  EXPECT_THAT(text, HasSubstr("• two"));
  EXPECT_THAT(text, Not(HasSubstr("more")));
}

TEST(PDFDocumentWriter, ItemsHangByTenPoints) {
  std::string text = "first";
  for (int i = 0; i < 60; ++i) text += fmt::format(" w{}", i);
  text += "\nafterwards";
  const auto words = drawn([&](auto& writer) { writer.bullets({text}); }).words();
  EXPECT_NEAR(wordOf(words, "•").left, 48, 0.5);
  EXPECT_NEAR(wordOf(words, "afterwards").left, 58, 0.5);
  double leftOfSecondLine = 1000;
  for (const auto& word : words)
    if (word.text.starts_with("w") && word.top > wordOf(words, "first").top + 5)
      leftOfSecondLine = std::min(leftOfSecondLine, word.left);
  EXPECT_NEAR(leftOfSecondLine, 58, 0.5);
}

TEST(PDFDocumentWriter, ALongUnbreakableTextIsBrokenWithinItsColumn) {
  const std::string word(300, 'W');
  const auto pdf = drawn([&](auto& writer) {
    writer.table({{"A", 1}, {"B", 1}, {"C", 2}}, {rowOf({"x", word, "beside"})}, 40);
  });
  const double column = (595.28 - 96) / 4;
  double left = 1000;
  double right = 0;
  std::size_t letters = 0;
  for (const auto& each : pdf.words())
    if (each.text.find("WW") != std::string::npos) {
      left = std::min(left, each.left);
      right = std::max(right, each.right);
      letters += countOf(each.text, "W");
    }
  EXPECT_GE(left, 48 + column + 4 - 0.5);
  EXPECT_LE(right, 48 + 2 * column - 4 + 0.5);
  EXPECT_EQ(letters, 300U);
  EXPECT_THAT(pdf.text(), Not(HasSubstr("-")));
}

TEST(PDFDocumentWriter, ACellIsCutBehindItsLinesWithAnEllipsis) {
  const auto text = drawn([](auto& writer) {
                      writer.table({{"A"}, {"B"}}, {rowOf({"one\ntwo\nthree\nfour", "kept"})}, 3);
                    }).text();
  EXPECT_THAT(text, HasSubstr("three…"));
  EXPECT_THAT(text, Not(HasSubstr("four")));
}

TEST(PDFDocumentWriter, ANameOfTenThousandCharactersIsCut) {
  const std::string name(10'000, 'n');
  const auto pdf = drawn([&](auto& writer) {
    writer.table({{"A"}, {"B"}}, {rowOf({name, name})});
    writer.bullets({name});
    writer.keyValues({{name, name}});
    writer.heading(name);
    writer.paragraph(name);
  });
  EXPECT_LE(pdf.pages(), 5);
  EXPECT_GE(countOf(pdf.text(), "…"), 5U);
  EXPECT_THAT(pdf.strays(), IsEmpty());
}

TEST(PDFDocumentWriter, ValuesStandBesideTheirKeys) {
  const auto words = drawn([](auto& writer) {
                       writer.keyValues({{"Status", "Complete"}, {"Backup", "B1"}}, {{"Status", Tone::good}});
                     }).words();
  EXPECT_NEAR(wordOf(words, "Status").left, 48, 0.5);
  EXPECT_NEAR(wordOf(words, "Complete").left, 48 + 150, 0.5);
  EXPECT_NEAR(wordOf(words, "B1").bottom - wordOf(words, "Complete").bottom, 9.5 * 1.18 + 2, 0.05);
}

TEST(PDFDocumentWriter, TonesAreTheirColours) {
  const auto objects = drawn([](auto& writer) {
                         writer.paragraph("good", Tone::good);
                         writer.paragraph("bad", Tone::bad);
                         writer.paragraph("warning", Tone::warning, true);
                       }).unpacked();
  EXPECT_THAT(objects, HasSubstr("\n0.1 0.5 0.24 rg"));
  EXPECT_THAT(objects, HasSubstr("\n0.75 0.15 0.13 rg"));
  EXPECT_THAT(objects, HasSubstr("\n0.72 0.42 0 rg"));
}

TEST(PDFDocumentWriter, TextOfAnyScriptCanBeFoundAgain) {
  const auto text = drawn([](auto& writer) {
                      writer.paragraph("Größe Łódź Ελληνικά Кириллица");
                      writer.paragraph("日本語 中文 한국어");
                      writer.paragraph("שלום");
                      writer.paragraph("हिन्दी ไทย");
                    }).text();
  for (const auto* word :
       {"Größe", "Łódź", "Ελληνικά", "Кириллица", "日本語", "中文", "한국어", "שלום", "ไทย"})
    EXPECT_THAT(text, HasSubstr(word));
}

TEST(PDFDocumentWriter, AnItemFromRightToLeftBeginsAtItsBullet) {
  const auto words = drawn([](auto& writer) { writer.bullets({"שלום"}); }).words();
  EXPECT_NEAR(wordOf(words, "•").left, 48, 0.5);
}

TEST(PDFDocumentWriter, EmojiAndCombiningMarksAreDrawn) {
  const auto pdf = drawn([](auto& writer) { writer.paragraph("Schule 🏫👩‍🏫 é é end"); });
  EXPECT_EQ(pdf.faults(), "");
  EXPECT_THAT(pdf.text(), HasSubstr("Schule"));
  EXPECT_THAT(pdf.text(), HasSubstr("end"));
}

TEST(PDFDocumentWriter, WhatControlsOrIsNoTextIsReplaced) {
  const auto pdf = drawn([](auto& writer) {
    writer.paragraph(
        "a\x01"
        "b \xFF\xFE c \u202Egnp.exe\u202C d");
    writer.bullets({std::string("nul\0here", 8)});
    writer.heading("tab\there\x1B[31m");
    writer.paragraph("set \uFFFE\uFFFF\uFDD0\U0010FFFF aside");
  });
  EXPECT_EQ(pdf.faults(), "");
  const auto text = pdf.text();
  EXPECT_THAT(text, HasSubstr("a\uFFFDb"));
  EXPECT_THAT(text, HasSubstr("gnp.exe"));
  EXPECT_THAT(text, HasSubstr("nul\uFFFDhere"));
  EXPECT_THAT(text, HasSubstr("tab here"));
  EXPECT_THAT(text, HasSubstr("set \uFFFD\uFFFD\uFFFD\uFFFD aside"));
}

TEST(PDFDocumentWriter, CodeKeepsItsLinesAndIsCut) {
  const auto text = drawn([](auto& writer) { writer.code("one\n  two\n\nfour\nfive\nsix", 4); }).text();
  EXPECT_THAT(text, HasSubstr("two"));
  EXPECT_THAT(text, HasSubstr("four"));
  EXPECT_THAT(text, HasSubstr("…"));
  EXPECT_THAT(text, Not(HasSubstr("five")));
}

TEST(PDFDocumentWriter, WrappedCodeIsIndentedBy20Points) {
  std::string line = "begin";
  for (int i = 0; i < 60; ++i) line += fmt::format(" w{}", i);
  const auto pdf = drawn([&](auto& writer) { writer.code(line, 10); });
  double left = 1000;
  const auto words = pdf.words();
  for (const auto& word : words)
    if (word.top > wordOf(words, "begin").top + 4 && word.text.starts_with("w"))
      left = std::min(left, word.left);
  EXPECT_NEAR(left, 48 + 4 + 20, 0.5);
  EXPECT_THAT(pdf.strays(), IsEmpty());
}

TEST(PDFDocumentWriter, ARowTallerThanAPageIsCutToIt) {
  std::string tall;
  for (int i = 0; i < 500; ++i) tall += fmt::format("line{}\n", i);
  const auto pdf = drawn([&](auto& writer) { writer.table({{"A"}}, {rowOf({tall}), rowOf({tall})}, 1000); });
  EXPECT_EQ(pdf.pages(), 2);
  EXPECT_THAT(pdf.strays(), IsEmpty());
}

TEST(PDFDocumentWriter, ATableWithoutRowsShowsItsHeader) {
  EXPECT_THAT(drawn([](auto& writer) { writer.table({{"Alone"}}, {}); }).text(), HasSubstr("Alone"));
}

TEST(PDFDocumentWriter, APictureThatAPageShowsTwiceIsNoFault) {
  const auto pdf = drawn([](auto& writer) {
    for (int i = 0; i < 3; ++i) writer.paragraph("Schule 🏫 and 🧪 and 🏫");
    writer.table({{"A"}}, {rowOf({"🧪🧪"})});
  });
  EXPECT_EQ(pdf.faults(), "");
}

TEST(PDFDocumentWriter, ALabelStaysWithTheBlockBelowItAndOutOfTheOutline) {
  const auto pdf = drawn([](auto& writer) {
    fill(writer, 700);
    for (int i = 0; i < 6; ++i) {
      writer.label(fmt::format("label{}", i));
      writer.bullets({fmt::format("item{}", i)});
    }
  });
  const auto words = pdf.words();
  for (int i = 0; i < 6; ++i)
    EXPECT_EQ(wordOf(words, fmt::format("label{}", i)).page, wordOf(words, fmt::format("item{}", i)).page);
  EXPECT_EQ(pdf.pages(), 2);
  EXPECT_THAT(pdf.unpacked(), Not(HasSubstr("/Outlines")));
}

TEST(PDFDocumentWriter, TheDetailsOfAnItemAreSmallerAndStandBelowItsText) {
  std::string detail = "detail";
  for (int i = 0; i < 40; ++i) detail += fmt::format(" w{}", i);
  const auto pdf = drawn([&](auto& writer) { writer.bullet("item", {detail, "other"}); });
  const auto words = pdf.words();
  const auto item = wordOf(words, "item");
  const auto first = wordOf(words, "detail");
  const auto wrapped = wordOf(words, "w39");
  EXPECT_GT(first.top, item.top + 8);
  EXPECT_LT(first.bottom - first.top, item.bottom - item.top);
  EXPECT_NEAR(first.left, 48 + 10, 0.5);
  EXPECT_NEAR(wordOf(words, "other").left, 48 + 10, 0.5);
  EXPECT_GT(wrapped.top, first.top + 8);
  EXPECT_THAT(pdf.strays(), IsEmpty());
}

TEST(PDFDocumentWriter, AnItemIsNotPartedFromItsFirstDetail) {
  const auto pdf = drawn([](auto& writer) {
    for (int i = 0; i < 40; ++i) writer.bullet(fmt::format("item{}", i), {fmt::format("detail{}", i)});
  });
  const auto words = pdf.words();
  EXPECT_EQ(pdf.pages(), 2);
  for (int i = 0; i < 40; ++i)
    EXPECT_EQ(wordOf(words, fmt::format("item{}", i)).page, wordOf(words, fmt::format("detail{}", i)).page);
}

}  // namespace
}  // namespace orvik
