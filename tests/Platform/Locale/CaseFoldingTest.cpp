#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
#include <random>

#include "Platform/Locale/Text.h"
#include "tests/Support/ScopedVariable.h"

namespace platform::locale {
namespace {

/// The part of `text` that was found, with a mark where it begins; "-" for nothing.
std::string found(std::string_view text, std::string_view needle) {
  const auto range = findIgnoringCase(text, needle);
  if (!range) return "-";
  return std::to_string(range->begin) + ":" +
         std::string(text.substr(range->begin, range->end - range->begin));
}

class CaseFolding : public testing::Test {
 protected:
  const orvik::test::ScopedVariable locale{"LC_ALL", "en_US.UTF-8"};
};

TEST_F(CaseFolding, ASCIIIsFoundInWhateverCase) {
  EXPECT_EQ(found("Install Office", "OFFICE"), "8:Office");
  EXPECT_EQ(found("Install Office", "install"), "0:Install");
  EXPECT_EQ(found("xYZ", "xyz"), "0:xYZ");
  EXPECT_EQ(found("aAb", "AB"), "1:Ab");
  EXPECT_EQ(found("office", "offices"), "-");
  EXPECT_EQ(found("10.0.0.1", "0.0.0.1"), "1:0.0.0.1");
  EXPECT_EQ(found(std::string_view("a\0B", 3), std::string_view("\0b", 2)), std::string("1:\0B", 4));
}

TEST_F(CaseFolding, SignsThatDifferInTheBitOfTheCaseAreNotTheSame) {
  EXPECT_EQ(found("[", "{"), "-");
  EXPECT_EQ(found("@", "`"), "-");
  EXPECT_EQ(found("a[b", "A{B"), "-");
  EXPECT_EQ(found("P", "\x10"), "-");
}

TEST_F(CaseFolding, NothingIsNoNeedle) {
  EXPECT_EQ(found("text", ""), "-");
  EXPECT_EQ(found("", ""), "-");
  EXPECT_EQ(found("", "a"), "-");
}

TEST_F(CaseFolding, LettersOfEveryScriptAreFound) {
  EXPECT_EQ(found("Schlüssel für ÄRZTE", "ärzte"), "16:ÄRZTE");
  EXPECT_EQ(found("ΟΔΟΣ", "οδος"), "0:ΟΔΟΣ");
  EXPECT_EQ(found("οδος", "ΟΔΟΣ"), "0:οδος");
  EXPECT_EQ(found("ПРИВЕТ", "вет"), "6:ВЕТ");
  EXPECT_EQ(found("日本語", "本"), "3:本");
  EXPECT_EQ(found("x𐐀y", "𐐨Y"), "1:𐐀y");
  EXPECT_EQ(found("300 \u212A", "300 k"), "0:300 \u212A");
}

TEST_F(CaseFolding, AScalarThatFoldsToTwoIsFoundAsAWholeOnly) {
  EXPECT_EQ(found("Straße", "STRASSE"), "0:Straße");
  EXPECT_EQ(found("STRASSE", "straße"), "0:STRASSE");
  EXPECT_EQ(found("Maße", "ss"), "2:ß");
  EXPECT_EQ(found("Maße", "se"), "-");
  EXPECT_EQ(found("Maße", "as"), "-");
  EXPECT_EQ(found("Maße: Masse", "se"), "10:se");
  EXPECT_EQ(found("ßss", "SSS"), "0:ßs");
  EXPECT_EQ(found("xßs", "XS"), "-");
  EXPECT_EQ(found("sßs", "SSSS"), "0:sßs");
  EXPECT_EQ(found("ßßs", "sssss"), "0:ßßs");
  EXPECT_EQ(found("oﬃce", "OFFICE"), "0:oﬃce");
  EXPECT_EQ(found("oﬃce", "fi"), "-");
  EXPECT_EQ(found("\u0390", "\u03B9\u0308\u0301"), "0:\u0390");
}

TEST_F(CaseFolding, MarksAreScalarsOfTheirOwn) {
  EXPECT_EQ(found("Cafe\u0301", "CAFE"), "0:Cafe");
  EXPECT_EQ(found("Cafe\u0301", "E\u0301"), "3:e\u0301");
  EXPECT_EQ(found("Caf\u00E9", "e\u0301"), "-");
}

TEST_F(CaseFolding, TheDotOfTheTurkicIDecidesInItsLocalesAlone) {
  EXPECT_EQ(found("ISTANBUL", "istanbul"), "0:ISTANBUL");
  EXPECT_EQ(found("İZMİR", "i\u0307zm"), "0:İZM");
  EXPECT_EQ(found("İZMİR", "izmir"), "-");
  for (const char* name : {"tr_TR.UTF-8", "az_AZ.UTF-8", "tr", "az_Latn_AZ"}) {
    locale.set(name);
    EXPECT_EQ(found("ISTANBUL", "istanbul"), "-") << name;
    EXPECT_EQ(found("ISTANBUL", "ıstanbul"), "0:ISTANBUL") << name;
    EXPECT_EQ(found("İstanbul", "istanbul"), "0:İstanbul") << name;
    EXPECT_EQ(found("xI", "I"), "1:I") << name;
    EXPECT_EQ(found("xI", "i"), "-") << name;
    EXPECT_EQ(found("Title", "TiTLE"), "0:Title") << name;
    EXPECT_EQ(found("Title", "TITLE"), "-") << name;
  }
  locale.set("trv_TW.UTF-8");  // Taroko, which only begins like Turkish
  EXPECT_EQ(found("ISTANBUL", "istanbul"), "0:ISTANBUL");
}

TEST_F(CaseFolding, RightToLeftTextIsFoundByItsBytes) {
  EXPECT_EQ(found("abc שלום", "שלום"), "4:שלום");
  EXPECT_EQ(found("مرحبا X", "x"), "11:X");
}

TEST_F(CaseFolding, BytesThatAreNoTextCountAsTheReplacement) {
  EXPECT_EQ(found("a\xFF"
                  "b",
                  "B"),
            "2:b");
  EXPECT_EQ(found("a\xE2\x82", "\uFFFD"), "1:\xE2\x82");
  EXPECT_EQ(found("a\xED\xA0\x80z", "Z"), "4:z");
  EXPECT_EQ(found("\xC3", "\xC3"), "0:\xC3");
  EXPECT_EQ(found("é", "\xC3"), "-");
}

/// Every pair of short texts over an alphabet that folds in all ways, against a search that tries each place.
TEST_F(CaseFolding, AgreesWithTryingEveryPlace) {
  const std::vector<std::string> alphabet{"s", "S", "ß", "ﬃ", "f", "I", "i", "İ", "\u0307", "\xFF"};
  const auto foldedText = [](std::string_view text) {
    std::string all;
    for (std::size_t at = 0; at < text.size();) {
      const bool isLong = static_cast<unsigned char>(text[at]) >= 0x80 && text[at] != '\xFF';
      const std::size_t size = !isLong ? 1 : static_cast<unsigned char>(text[at]) >= 0xE0 ? 3 : 2;
      const auto one = text.substr(at, size);
      all += one == "S"   ? "s"
             : one == "ß" ? "ss"
             : one == "ﬃ" ? "ffi"
             : one == "I" ? "i"
             : one == "İ" ? "i\u0307"
                          : one;
      at += size;
    }
    return all;
  };
  std::mt19937 random(7);
  const auto pick = [&](std::size_t most) {
    std::vector<std::string> parts(random() % most + 1);
    for (auto& part : parts) part = alphabet[random() % alphabet.size()];
    return parts;
  };
  for (int round = 0; round < 20'000; ++round) {
    const auto text = pick(8);
    std::string needle, whole;
    for (const auto& part : pick(3)) needle += part;
    for (const auto& part : text) whole += part;
    std::string expected = "-";
    std::size_t offset = 0;
    for (std::size_t from = 0; from < text.size() && expected == "-"; offset += text[from++].size()) {
      std::string candidate;
      for (std::size_t to = from; to < text.size() && expected == "-"; ++to) {
        candidate += text[to];
        if (foldedText(candidate) == foldedText(needle)) expected = std::to_string(offset) + ":" + candidate;
      }
    }
    ASSERT_EQ(found(whole, needle), expected) << whole << " / " << needle << ", round " << round;
  }
}

TEST_F(CaseFolding, TextsMadeAgainstTheSearchTakeNoLonger) {
  const auto start = std::chrono::steady_clock::now();
  const std::string text(2'000'000, 'a');
  const std::string needle = std::string(50'000, 'a');
  EXPECT_EQ(found(text, needle + "b"), "-");
  EXPECT_EQ(found(text + "B", needle + "b").substr(0, 8), "1950000:");
  EXPECT_EQ(found("é" + text, std::string(60, 'a') + "é"), "-");
  EXPECT_EQ(found(text, std::string(63, 'A') + "b"), "-");
  // A walk that begins anew at every place would take many minutes, whatever the machine and its sanitizer.
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

}  // namespace
}  // namespace platform::locale
