#include "Platform/PropertyList/PropertyList.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Platform/Locale/Text.h"

namespace platform::plist {
namespace {

using namespace std::string_literals;

const std::string head =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n";

std::string document(std::string_view content) {
  return head + "<plist version=\"1.0\">" + std::string(content) + "</plist>\n";
}

Value read(std::string_view content) { return parse(document(content)); }

TEST(PropertyListTest, EveryKindOfValueIsRead) {
  const Value value = read(R"(
<dict>
  <key>Text</key><string>Büro 😀</string>
  <key>Whole</key><integer>-12</integer>
  <key>Real</key><real>1.5e3</real>
  <key>Yes</key><true/>
  <key>No</key><false></false>
  <key>Day</key><date>2025-03-04T09:15:00Z</date>
  <key>Bytes</key><data>
    AAEC
    /w==
  </data>
  <key>List</key><array><string>a</string><array/><dict/></array>
</dict>
)");
  const Value::Dictionary expected{
      {"Text", Value("Büro 😀"s)},
      {"Whole", Value(std::int64_t{-12})},
      {"Real", Value(1500.0)},
      {"Yes", Value(true)},
      {"No", Value(false)},
      {"Day", Value(*parseISO8601("2025-03-04T09:15:00Z"))},
      {"Bytes", Value(Value::Data{"\x00\x01\x02\xFF"s})},
      {"List", Value(Value::Array{Value("a"s), Value(Value::Array{}), Value(Value::Dictionary{})})}};
  EXPECT_EQ(value, Value(expected));
}

TEST(PropertyListTest, AnyValueMayStandAtTheTop) {
  EXPECT_EQ(read("<string>x</string>"), Value("x"s));
  EXPECT_EQ(read("<array/>"), Value(Value::Array{}));
  EXPECT_EQ(read(" <true/> "), Value(true));
}

TEST(PropertyListTest, TextsStayAsTheyAre) {
  EXPECT_EQ(*read("<string>  a\n\tb  </string>").string(), "  a\n\tb  ");
  EXPECT_EQ(*read("<string/>").string(), "");
  EXPECT_EQ(*read("<string>&lt;a&gt; &amp; &quot;b&quot; &apos;c&apos; &#228; &#x1F600;</string>").string(),
            "<a> & \"b\" 'c' ä 😀");
  EXPECT_EQ(*read("<string>a<![CDATA[<b>&amp;]]>c</string>").string(), "a<b>&amp;c");
  EXPECT_EQ(*read("<string>a<!-- no -->b<?no?>c</string>").string(), "abc");
  EXPECT_EQ(*read("<string>a\r\nb\rc&#13;</string>").string(), "a\nb\nc\r");
}

TEST(PropertyListTest, WholeNumbersHave64Bits) {
  const auto whole = [](std::string_view text) {
    return read("<integer>" + std::string(text) + "</integer>");
  };
  EXPECT_EQ(whole("0"), Value(std::int64_t{0}));
  EXPECT_EQ(whole(" +7\n"), Value(std::int64_t{7}));
  EXPECT_EQ(whole("-9223372036854775808"), Value(std::numeric_limits<std::int64_t>::min()));
  EXPECT_EQ(whole("9223372036854775807"), Value(std::numeric_limits<std::int64_t>::max()));
  EXPECT_EQ(whole("9223372036854775808"), Value(std::uint64_t{9223372036854775808U}));
  EXPECT_EQ(whole("18446744073709551615"), Value(std::numeric_limits<std::uint64_t>::max()));
  EXPECT_EQ(whole("0xFf"), Value(std::int64_t{255}));
  EXPECT_EQ(whole("-0X10"), Value(std::int64_t{-16}));
  EXPECT_EQ(whole("007"), Value(std::int64_t{7}));
  for (const char* bad :
       {"", " ", "-", "+", "0x", "1.0", "1e3", "12 3", "--1", "+-1", "-+1", "0x-1", "twelve",
        "18446744073709551616", "-9223372036854775809", "99999999999999999999999999"}) {
    EXPECT_THROW(whole(bad), ParseError) << bad;
  }
}

TEST(PropertyListTest, RealNumbersAreTheNearestDouble) {
  const auto real = [](std::string_view text) { return read("<real>" + std::string(text) + "</real>"); };
  EXPECT_EQ(real("0.1"), Value(0.1));
  EXPECT_EQ(real(" -2 "), Value(-2.0));
  EXPECT_EQ(real("+1.25"), Value(1.25));
  EXPECT_EQ(real("+infinity"), Value(std::numeric_limits<double>::infinity()));
  EXPECT_EQ(real("-inf"), Value(-std::numeric_limits<double>::infinity()));
  EXPECT_TRUE(std::isnan(std::get<double>(real("nan").content())));
  for (const char* bad : {"", "x", "1,5", "1.5.2", "0x10", "+-1", "1e999", "1 2"}) {
    EXPECT_THROW(real(bad), ParseError) << bad;
  }
}

TEST(PropertyListTest, DatesAreOfOneFormAndDataIsBase64) {
  EXPECT_EQ(read("<date> 1970-01-01T00:00:01Z\n</date>"), Value(Date(std::chrono::seconds(1))));
  for (const char* bad : {"", "2025-03-04", "2025-02-30T00:00:00Z", "2025-03-04T09:15:00+01:00"}) {
    EXPECT_THROW(read("<date>" + std::string(bad) + "</date>"), ParseError) << bad;
  }
  EXPECT_EQ(read("<data/>"), Value(Value::Data{}));
  EXPECT_EQ(read("<data> Z m\n9\tv </data>"), Value(Value::Data{"foo"}));
  for (const char* bad : {"Zm9", "Zm9v!", "Zm9vYg=", "Zh==", "Zm9v=Zm9v"}) {
    EXPECT_THROW(read("<data>" + std::string(bad) + "</data>"), ParseError) << bad;
  }
}

TEST(PropertyListTest, OfARepeatedKeyTheLastCounts) {
  const Value value = read(
      "<dict><key>a</key><string>1</string><key>b</key><string>2</string><key>a</key><string>3</string>"
      "<key>c</key><string>4</string><key>a</key><string>5</string></dict>");
  EXPECT_EQ(value, Value(Value::Dictionary{{"b", Value("2"s)}, {"c", Value("4"s)}, {"a", Value("5"s)}}));
}

TEST(PropertyListTest, ValuesAreFoundByTheirKeys) {
  const Value value = read("<dict><key/><true/><key>PayloadContent</key><array/></dict>");
  ASSERT_NE(value.find("PayloadContent"), nullptr);
  EXPECT_NE(value.find("PayloadContent")->array(), nullptr);
  EXPECT_EQ(*value.find("")->boolean(), true);
  EXPECT_EQ(value.find("payloadcontent"), nullptr);
  EXPECT_EQ(value.find("PayloadContent")->find("x"), nullptr);
  EXPECT_EQ(value.find("PayloadContent")->string(), nullptr);
  EXPECT_EQ(value.find("PayloadContent")->dictionary(), nullptr);
}

TEST(PropertyListTest, TheHeadOfTheDocumentMayBeMissing) {
  EXPECT_EQ(parse("<plist><true/></plist>"), Value(true));
  EXPECT_EQ(parse("\xEF\xBB\xBF<plist><true/></plist>"), Value(true));
  EXPECT_EQ(parse("<!-- from a tool -->\n<plist version=\"1.0\" other='x'><true/></plist>\n<!-- end -->"),
            Value(true));
  EXPECT_EQ(parse("<!DOCTYPE plist SYSTEM "
                  "\"file://localhost/System/Library/DTDs/PropertyList.dtd\"><plist><true/></plist>"),
            Value(true));
}

/// `text` in UTF-16, the byte order mark included.
std::string utf16(std::string_view text, bool bigEndian) {
  std::string bytes;
  const auto append = [&](std::uint32_t unit) {
    const char low = static_cast<char>(unit & 0xFF), high = static_cast<char>(unit >> 8);
    bytes += bigEndian ? high : low;
    bytes += bigEndian ? low : high;
  };
  append(0xFEFF);
  for (const char32_t scalar : locale::scalars(text)) {
    if (scalar < 0x10000) {
      append(scalar);
      continue;
    }
    append(0xD800 + ((scalar - 0x10000) >> 10));
    append(0xDC00 + ((scalar - 0x10000) & 0x3FF));
  }
  return bytes;
}

TEST(PropertyListTest, UTF16IsReadInBothOrders) {
  const std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-16\"?><plist><string>Büro 日 😀</string></plist>";
  for (const bool bigEndian : {true, false}) {
    EXPECT_EQ(parse(utf16(text, bigEndian)), Value("Büro 日 😀"s)) << bigEndian;
  }
}

}  // namespace
}  // namespace platform::plist
