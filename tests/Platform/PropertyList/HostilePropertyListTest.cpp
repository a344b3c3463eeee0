#include <gmock/gmock.h>

#include <chrono>

#include "Platform/Files/Files.h"
#include "Platform/PropertyList/PropertyList.h"

namespace platform::plist {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

std::string document(std::string_view content) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n" + std::string(content) +
         "\n</plist>\n";
}

std::string repeated(std::string_view unit, std::size_t count) {
  std::string all;
  all.reserve(unit.size() * count);
  for (std::size_t i = 0; i < count; ++i) all += unit;
  return all;
}

/// The sentence with which a document is refused; empty when it is read.
std::string refusal(std::string_view xml) {
  try {
    parse(xml);
  } catch (const ParseError& error) {
    return error.description();
  }
  return {};
}

struct Row {
  const char* name;
  const char* content;
  const char* expected;
};

class Malformed : public testing::TestWithParam<Row> {};

TEST_P(Malformed, IsRefusedWithItsReasonAndLine) {
  EXPECT_EQ(refusal(document(GetParam().content)), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Malformed,
    testing::Values(
        Row{"UnknownElement", "<dict>\n<key>a</key><foo/></dict>",
            "line 4: an element <foo> is none of a property list"},
        Row{"UnknownElementAtTheTop", "<foo/>", "line 3: an element <foo> is none of a property list"},
        Row{"UnknownElementInAText", "<string><b>x</b></string>",
            "line 3: an element <b> is none of a property list"},
        Row{"NamesInCapitals", "<Dict/>", "line 3: an element <Dict> is none of a property list"},
        Row{"KeyWithoutValue", "<dict>\n<key>Name</key>\n</dict>", "line 5: the key \"Name\" has no value"},
        Row{"KeyAfterKey", "<dict><key>a</key><key>b</key><true/></dict>",
            "line 3: the key \"a\" has no value"},
        Row{"ValueWithoutKey", "<dict><key>a</key><true/>\n<string>x</string></dict>",
            "line 4: an element <string> stands in a dictionary without a key"},
        Row{"ContainerWithoutKey", "<dict><array/></dict>",
            "line 3: an element <array> stands in a dictionary without a key"},
        Row{"KeyInArray", "<array><key>a</key></array>", "line 3: a <key> stands outside of a dictionary"},
        Row{"KeyAtTheTop", "<key>a</key>", "line 3: a <key> stands outside of a dictionary"},
        Row{"TextBetweenElements", "<array>\n<true/> and <false/></array>",
            "line 4: a text stands between the elements"},
        Row{"TextAtTheTop", "hello", "line 3: a text stands between the elements"},
        Row{"CDATABetweenElements", "<array><![CDATA[x]]></array>",
            "line 3: a text stands between the elements"},
        Row{"NoBreakSpaceBetweenElements", "<array>\u00A0</array>",
            "line 3: a text stands between the elements"},
        Row{"TwoValues", "<true/>\n<true/>", "line 4: a second value stands in the <plist>"},
        Row{"NoValue", "", "line 4: the <plist> is empty"},
        Row{"ListInList", "<plist><true/></plist>", "line 3: a <plist> stands inside the <plist>"},
        Row{"ValueInAText", "<string>a<true/></string>",
            "line 3: an element <true> stands inside a <string>"},
        Row{"ListInAText", "<string><plist/></string>",
            "line 3: an element <plist> stands inside a <string>"},
        Row{"TextInTrue", "<true>yes</true>", "line 3: a <true> holds a text"},
        Row{"HugeInteger", "<integer>123456789012345678901234567890</integer>",
            "line 3: an <integer> holds no whole number of 64 bits"},
        Row{"BadReal", "<real>much</real>", "line 3: a <real> holds no number"},
        Row{"BadDate", "<date>yesterday</date>",
            "line 3: a <date> holds no date in the form 2025-03-04T09:15:00Z"},
        Row{"BadBase64", "<data>\n!!!!</data>", "line 4: a <data> holds no Base64"},
        Row{"UnknownEntity", "<string>&foo;</string>", "line 3: it is not XML: undefined entity"},
        Row{"WrongEnd", "<array></dict>", "line 3: it is not XML: mismatched tag"},
        Row{"ForbiddenCharacter", "<string>\x01</string>",
            "line 3: it is not XML: not well-formed (invalid token)"},
        Row{"NoUTF8", "<string>\xFF</string>", "line 3: it is not XML: not well-formed (invalid token)"},
        Row{"ZeroCharacter", "<string>&#0;</string>",
            "line 3: it is not XML: reference to invalid character number"}),
    [](const auto& row) { return row.param.name; });

TEST(HostilePropertyListTest, DocumentsThatAreNoneAreRefused) {
  EXPECT_EQ(refusal(""), "the property list is empty");
  EXPECT_EQ(refusal(" \n "), "line 2: it is not XML: no element found");
  EXPECT_EQ(refusal("<dict/>"), "line 1: the outermost element is <dict>, not <plist>");
  EXPECT_EQ(refusal("<html><body/></html>"), "line 1: the outermost element is <html>, not <plist>");
  EXPECT_EQ(refusal("{\"a\": 1}"), "line 1: it is not XML: not well-formed (invalid token)");
  EXPECT_EQ(refusal("bplist00\xD1\x01\x02"), "the property list is in its binary form, not in XML");
  EXPECT_EQ(refusal("<plist><true/></plist>\n<plist><true/></plist>"),
            "line 2: it is not XML: junk after document element");
  EXPECT_EQ(refusal("<plist/>"), "line 1: the <plist> is empty");
  EXPECT_THAT(refusal("<?xml version=\"1.0\" encoding=\"EBCDIC\"?><plist/>"), HasSubstr("unknown encoding"));
  EXPECT_THAT(refusal("<?xml version=\"1.0\" encoding=\"UTF-16\"?><plist/>"), HasSubstr("encoding"));
}

TEST(HostilePropertyListTest, ZeroBytesAreRefused) {
  std::string text = document("<string>ab</string>");
  text[text.find("ab")] = '\0';
  EXPECT_EQ(refusal(text), "line 3: it is not XML: not well-formed (invalid token)");
  EXPECT_NE(refusal(std::string(1000, '\0')), "");
  EXPECT_NE(refusal(document("<true/>") + std::string(1, '\0')), "");
}

TEST(HostilePropertyListTest, EveryCutOfADocumentIsRefused) {
  const std::string text = document(
      "<dict><key>a</key><string>ä&amp;</string><key>b</key><array><integer>1</integer><data>AAEC</data></"
      "array></dict>");
  ASSERT_EQ(refusal(text), "");
  for (std::size_t length = 0; length < text.size() - 1; ++length) {
    EXPECT_NE(refusal(text.substr(0, length)), "") << length;
  }
}

constexpr const char* subsetRefused = "declarations, such as of entities, are not read";

TEST(HostilePropertyListTest, DeclaredEntitiesAreRefused) {
  std::string bomb = "<!DOCTYPE plist [\n<!ENTITY a \"lol\">\n";
  for (char name = 'b'; name < 'm'; ++name) {
    bomb += std::string("<!ENTITY ") + name + " \"" +
            repeated(std::string("&") + static_cast<char>(name - 1) + ";", 10) + "\">\n";
  }
  bomb += "]>\n<plist><string>&l;</string></plist>";
  EXPECT_THAT(refusal(bomb), HasSubstr(subsetRefused));
  EXPECT_THAT(refusal("<!DOCTYPE plist [<!ENTITY a \"b\">]><plist><string>&a;</string></plist>"),
              HasSubstr(subsetRefused));
  EXPECT_THAT(refusal("<!DOCTYPE plist [<!ENTITY a \"b\">]><plist><true/></plist>"),
              HasSubstr(subsetRefused));
}

/// Where a reader would look, a file with a valid answer lies: none of these documents may come to be read.
TEST(HostilePropertyListTest, NothingOutsideOfTheDocumentIsRead) {
  const files::TempFolder folder;
  const auto file = folder.path() / "outside";
  files::atomicWrite("<!ENTITY x \"outside\"><!ELEMENT plist ANY>", file);
  const std::string path = "file://" + file.string();
  const std::string use = "<plist><string>&x;</string></plist>";
  EXPECT_THAT(refusal("<!DOCTYPE plist [<!ENTITY x SYSTEM \"" + path + "\">]>" + use),
              HasSubstr(subsetRefused));
  EXPECT_THAT(refusal("<!DOCTYPE plist [<!ENTITY x PUBLIC \"x\" \"" + path + "\">]>" + use),
              HasSubstr(subsetRefused));
  EXPECT_THAT(refusal("<!DOCTYPE plist [<!ENTITY % p SYSTEM \"" + path + "\"> %p;]>" + use),
              HasSubstr(subsetRefused));
  EXPECT_THAT(refusal("<!DOCTYPE plist [<!ENTITY % p \"x\"> %p;]>" + use), HasSubstr(subsetRefused));
  EXPECT_EQ(refusal("<!DOCTYPE plist SYSTEM \"" + path + "\">" + use),
            "line 1: an entity is used that XML itself doesn't know");
  EXPECT_EQ(refusal("<!DOCTYPE plist SYSTEM \"" + path + "\"><plist><true/></plist>"), "");
}

TEST(HostilePropertyListTest, OtherDeclarationsAreRefusedToo) {
  for (const char* declaration :
       {"<!ATTLIST dict a CDATA \"b\">", "<!ELEMENT plist ANY>", "<!NOTATION n SYSTEM \"x\">", " "}) {
    EXPECT_THAT(refusal("<!DOCTYPE plist [" + std::string(declaration) + "]><plist><true/></plist>"),
                HasSubstr(subsetRefused))
        << declaration;
  }
}

TEST(HostilePropertyListTest, NestingHasALimit) {
  const auto nested = [](std::string_view begin, std::string_view end, std::size_t depth) {
    return document(repeated(begin, depth) + repeated(end, depth));
  };
  EXPECT_EQ(refusal(nested("<array>", "</array>", maximumDepth)), "");
  EXPECT_EQ(refusal(nested("<array>", "</array>", maximumDepth + 1)),
            "line 3: dictionaries and arrays lie in each other deeper than 256 levels");
  EXPECT_EQ(refusal(document(repeated("<dict><key>a</key>", maximumDepth + 1))),
            "line 3: dictionaries and arrays lie in each other deeper than 256 levels");
  EXPECT_EQ(refusal(document(repeated("<array>", 1'000'000))),
            "line 3: dictionaries and arrays lie in each other deeper than 256 levels");
}

TEST(HostilePropertyListTest, LengthHasALimit) {
  std::string text = "<plist><string>";
  text.resize(maximumSize - 17, 'x');
  text += "</string></plist>";
  ASSERT_EQ(text.size(), maximumSize);
  EXPECT_EQ(parse(text).string()->size(), maximumSize - 32);
  text += "\n";
  EXPECT_EQ(refusal(text), "the property list takes 67108865 bytes, more than 67108864");
}

TEST(HostilePropertyListTest, WhatComesInManyPiecesTakesNoLongTime) {
  const auto start = std::chrono::steady_clock::now();
  constexpr std::size_t count = 300'000;
  EXPECT_EQ(parse(document("<string>" + repeated("&amp;", count) + "</string>")).string()->size(), count);
  EXPECT_EQ(parse(document("<string>" + repeated("a\n", count) + "</string>")).string()->size(), 2 * count);
  EXPECT_EQ(parse(document("<array>" + repeated("<true/>", count) + "</array>")).array()->size(), count);
  EXPECT_EQ(
      parse(document("<dict>" + repeated("<key>a</key><true/>", count) + "</dict>")).dictionary()->size(),
      1U);
  EXPECT_EQ(
      parse(document("<!--" + repeated("x", count) + "--><data>" + repeated("AAAA\n", count) + "</data>")),
      Value(Value::Data{std::string(3 * count, '\0')}));
  std::string attributes = "<plist";
  for (int i = 0; i < 100'000; ++i) attributes += " a" + std::to_string(i) + "='x'";
  EXPECT_EQ(refusal(attributes + "><true/></plist>"), "");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST(HostilePropertyListTest, ErrorsStayShortAndTellNoValues) {
  const std::string longName(100'000, 'n');
  EXPECT_EQ(refusal(document("<" + longName + "/>")),
            "line 3: an element <" + std::string(40, 'n') + "…> is none of a property list");
  EXPECT_EQ(refusal(document("<dict><key>" + longName + "</key></dict>")),
            "line 3: the key \"" + std::string(40, 'n') + "…\" has no value");
  for (const char* element : {"integer", "real", "date", "data", "true"}) {
    const auto text = refusal(document("<" + std::string(element) + ">hunter2-</" + element + ">"));
    EXPECT_THAT(text, StartsWith("line 3: a")) << element;
    EXPECT_EQ(text.find("hunter2"), std::string::npos) << element;
  }
}

}  // namespace
}  // namespace platform::plist
