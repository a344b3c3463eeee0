#include "Platform/JSON/Writer.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "Platform/Error.h"
#include "Platform/JSON/View.h"

namespace platform::json {
namespace {

std::string jsonText(std::string_view text) {
  Bytes out;
  appendString(out, text);
  return out;
}

std::string numberText(double value) {
  Bytes out;
  appendNumber(out, value);
  return out;
}

TEST(WriterTest, TextsEscapeQuoteBackslashAndControlCharactersOnly) {
  EXPECT_EQ(jsonText(""), "\"\"");
  EXPECT_EQ(jsonText("a/b'<ü€😀\x7f>"), "\"a/b'<ü€😀\x7f>\"");
  EXPECT_EQ(jsonText("\"\\\b\f\n\r\t"), R"("\"\\\b\f\n\r\t")");
  EXPECT_EQ(jsonText(std::string_view("\0\x01\x1f", 3)), R"("\u0000\u0001\u001f")");
}

TEST(WriterTest, AnEscapeIsFoundAtEveryPlaceOfATextOfAnyLength) {
  for (std::size_t length = 1; length < 70; ++length)
    for (std::size_t place = 0; place < length; ++place) {
      std::string text(length, 'x');
      text[place] = '\n';
      std::string expected = "\"" + text + "\"";
      expected.replace(place + 1, 1, "\\n");
      ASSERT_EQ(jsonText(text), expected) << length << " " << place;
    }
}

TEST(WriterTest, AppendingKeepsWhatStandsBefore) {
  Bytes out = "x";
  appendString(out, "a");
  appendInteger(out, -5);
  appendUnsigned(out, 7);
  appendNumber(out, 0.5);
  EXPECT_EQ(out, "x\"a\"-570.5");
}

TEST(WriterTest, IntegersAreExact) {
  Bytes out;
  appendInteger(out, std::numeric_limits<std::int64_t>::min());
  out += ' ';
  appendInteger(out, std::numeric_limits<std::int64_t>::max());
  out += ' ';
  appendUnsigned(out, std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(out, "-9223372036854775808 9223372036854775807 18446744073709551615");
}

TEST(WriterTest, NumbersHaveOneText) {
  const std::pair<double, const char*> rows[] = {
      {0.0, "0"},
      {-0.0, "-0"},
      {1.0, "1"},
      {-100.0, "-100"},
      {9007199254740991.0, "9007199254740991"},
      {9007199254740992.0, "9007199254740992"},
      {1e15, "1000000000000000"},
      {1e16, "1e+16"},
      {1e20, "1e+20"},
      {18446744073709551616.0, "18446744073709551616"},
      {0.1, "0.1"},
      {-2.5, "-2.5"},
      {1.5e-7, "1.5e-07"},
      {5e-324, "5e-324"},
      {std::numeric_limits<double>::max(), "1.7976931348623157e+308"},
  };
  for (const auto& [value, text] : rows) EXPECT_EQ(numberText(value), text);
}

TEST(WriterTest, EveryNumberReadsBackToItself) {
  constexpr std::uint64_t seed = 7;
  std::mt19937_64 random(seed);
  for (int i = 0; i < 20'000; ++i) {
    const std::uint64_t bits = random();
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    if (!std::isfinite(value)) continue;
    ASSERT_EQ(std::strtod(numberText(value).c_str(), nullptr), value) << "seed " << seed << ", number " << i;
    ASSERT_LE(numberText(value).size(), 32U);
  }
}

TEST(WriterTest, ANumberThatIsNotFiniteIsRefused) {
  EXPECT_THROW(numberText(std::numeric_limits<double>::infinity()), Error);
  EXPECT_THROW(numberText(std::numeric_limits<double>::quiet_NaN()), Error);
}

void writeSample(Writer& writer) {
  writer.beginObject();
  writer.key("array");
  writer.beginArray();
  writer.integer(-1);
  writer.unsignedInteger(2);
  writer.number(0.5);
  writer.beginArray();
  writer.endArray();
  writer.endArray();
  writer.key("empty");
  writer.beginObject();
  writer.endObject();
  writer.key("flag");
  writer.boolean(true);
  writer.key("nothing");
  writer.null();
  writer.key("q\"");
  writer.string("v\n");
  writer.endObject();
}

TEST(WriterTest, CompactHasNoWhiteSpace) {
  Writer writer(Rendering::compact);
  writeSample(writer);
  EXPECT_EQ(writer.take(), R"({"array":[-1,2,0.5,[]],"empty":{},"flag":true,"nothing":null,"q\"":"v\n"})");
}

TEST(WriterTest, PrettyPutsOneMemberOnALine) {
  Writer writer(Rendering::pretty);
  writeSample(writer);
  EXPECT_EQ(writer.take(),
            "{\n"
            "  \"array\" : [\n"
            "    -1,\n"
            "    2,\n"
            "    0.5,\n"
            "    [\n"
            "\n"
            "    ]\n"
            "  ],\n"
            "  \"empty\" : {\n"
            "\n"
            "  },\n"
            "  \"flag\" : true,\n"
            "  \"nothing\" : null,\n"
            "  \"q\\\"\" : \"v\\n\"\n"
            "}");
}

TEST(WriterTest, AWriterWritesTheNextDocumentAfterTake) {
  Writer writer(Rendering::pretty);
  writer.string("a");
  EXPECT_EQ(writer.take(), "\"a\"");
  writer.beginArray();
  writer.endArray();
  EXPECT_EQ(writer.take(), "[\n\n]");
  EXPECT_EQ(writer.take(), "");
}

TEST(WriterTest, TheDeepestNestingIsWrittenAndOneMoreRefused) {
  Writer writer(Rendering::compact);
  for (std::size_t i = 0; i < maximumDepth; ++i) writer.beginArray();
  EXPECT_THROW(writer.beginArray(), Error);
  EXPECT_THROW(writer.beginObject(), Error);
  for (std::size_t i = 0; i < maximumDepth; ++i) writer.endArray();
  EXPECT_EQ(writer.take(), std::string(maximumDepth, '[') + std::string(maximumDepth, ']'));
}

}  // namespace
}  // namespace platform::json
