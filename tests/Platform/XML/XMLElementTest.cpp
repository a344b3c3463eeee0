#include "Platform/XML/XMLElement.h"

#include <gmock/gmock.h>

namespace platform::xml {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// The sentence with which a document is refused; empty when it is read.
std::string refusal(std::string_view xml) {
  try {
    parse(xml);
  } catch (const ParseError& error) {
    return error.description();
  }
  return {};
}

std::string nested(std::size_t depth) {
  std::string xml;
  for (std::size_t i = 0; i < depth; ++i) xml += "<a>";
  for (std::size_t i = 0; i < depth; ++i) xml += "</a>";
  return xml;
}

TEST(XMLElement, GivesNamesTextsAndChildrenInOrder) {
  const Element root = parse("<policy><general><name>A</name><id/></general><scope/><name>B</name></policy>");
  EXPECT_EQ(
      root,
      (Element{
          "policy",
          "",
          {{"general", "", {{"name", "A", {}}, {"id", "", {}}}}, {"scope", "", {}}, {"name", "B", {}}}}));
  EXPECT_EQ(root.find("name")->text, "B");
  EXPECT_EQ(root.find("general")->find("name")->text, "A");
  EXPECT_EQ(root.find("id"), nullptr);
}

TEST(XMLElement, TextIsDecodedAndKeepsItsWhiteSpace) {
  EXPECT_EQ(parse("<a> &lt;b&gt; &amp;amp; &quot;&apos;&#228;&#x1F600;<![CDATA[<&>]]>\n</a>").text,
            " <b> &amp; \"'ä😀<&>\n");
  EXPECT_EQ(parse("<a>x<b>y</b>z<!-- c --></a>").text, "xz");
}

TEST(XMLElement, DeclarationAttributesAndEncodingsAreNoMatter) {
  EXPECT_EQ(parse("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<a b=\"c\">\xe4</a>").text, "ä");
  EXPECT_EQ(parse("<!DOCTYPE a SYSTEM \"file:///etc/passwd\"><a>x</a>").text, "x");
}

TEST(XMLElement, WhatIsNoXMLIsRefusedWithItsLine) {
  for (const char* bad : {"", " ", "x", "<a>", "</a>", "<a></b>", "<a/><b/>", "<a b></a>", "<a>&x;</a>",
                          "<a>&#0;</a>", "<a>\xff</a>", "{\"a\":1}", "<a><![CDATA[</a>"}) {
    EXPECT_THAT(refusal(bad), StartsWith("line ")) << bad;
  }
  EXPECT_THAT(refusal("<a>\n<b>\n</a>"), StartsWith("line 3: it is not XML: mismatched tag"));
}

TEST(XMLElement, EntitiesMayNotBeDeclared) {
  EXPECT_THAT(refusal("<!DOCTYPE a [<!ENTITY b \"ccc\">]>\n<a>&b;&b;</a>"),
              HasSubstr("declarations, such as of entities, are not read"));
  EXPECT_THAT(refusal("<!DOCTYPE a [<!ENTITY b SYSTEM \"file:///etc/passwd\">]><a>&b;</a>"),
              HasSubstr("declarations"));
  EXPECT_THAT(refusal("<!DOCTYPE a SYSTEM \"x.dtd\"><a>&b;</a>"), HasSubstr("an entity is used"));
}

TEST(XMLElement, DepthAndLengthAreBounded) {
  EXPECT_EQ(refusal(nested(maximumDepth)), "");
  EXPECT_THAT(refusal(nested(maximumDepth + 1)), HasSubstr("deeper than 64 levels"));
  EXPECT_THAT(refusal(nested(1'000'000)), HasSubstr("deeper than 64 levels"));
  EXPECT_THAT(refusal(std::string(maximumSize + 1, ' ')), HasSubstr("more than"));
}

TEST(XMLElement, ElementsAreCounted) {
  const auto siblings = [](std::size_t count) {
    std::string xml = "<a>";
    for (std::size_t i = 0; i < count; ++i) xml += "<b/>";
    return xml + "</a>";
  };
  EXPECT_EQ(parse(siblings(50'000)).children.size(), 50'000U);
  EXPECT_THAT(refusal(siblings(maximumElements)), HasSubstr("more than 250000 elements"));
}

}  // namespace
}  // namespace platform::xml
