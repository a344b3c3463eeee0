#include <gtest/gtest.h>

#include <set>

#include "tests/OrvikCore/Explore/Describing.h"
#include "tests/Support/DescriptionText.h"

namespace orvik {
namespace {

using test::described;

std::string outlineText(const ObjectDescription& description) {
  std::string text;
  test::appendOutline(text, description.outline, 0);
  return text;
}
std::string outlineText(const std::string& json) { return outlineText(described("x", json)); }

TEST(OutlineTest, KeysAreSortedAndLabelled) {
  EXPECT_EQ(outlineText(R"({"b":1,"aURL":"x","B":null,"a":{"z":true,"y":[]}})"),
            "- B  [pro.B]\n"
            "+ A  [pro.a]\n"
            "  + Y = none  [pro.a.y]\n"
            "  - Z = Yes  [pro.a.z]\n"
            "- A URL = x  [pro.aURL]\n"
            "- B = 1  [pro.b]\n");
}

TEST(OutlineTest, ElementsAreLabelledWithTheirTextsAndCounted) {
  EXPECT_EQ(outlineText(
                R"({"id":1,"list":[{"name":"Lab","id":1},{"a":1,"b":2},"text",7,["x","y"],null,[],[null]]})"),
            "- Id = 1  [pro.id]\n"
            "+ List = 8  [pro.list]\n"
            "  + Lab  [pro.list.0]\n"
            "    - Id = 1  [pro.list.0.id]\n"
            "    - Name = Lab  [pro.list.0.name]\n"
            "  + 2 fields  [pro.list.1]\n"
            "    - A = 1  [pro.list.1.a]\n"
            "    - B = 2  [pro.list.1.b]\n"
            "  - text = text  [pro.list.2]\n"
            "  - 7 = 7  [pro.list.3]\n"
            "  + x, y = 2  [pro.list.4]\n"
            "    - x = x  [pro.list.4.0]\n"
            "    - y = y  [pro.list.4.1]\n"
            "  - [6]  [pro.list.5]\n"
            "  + [7] = none  [pro.list.6]\n"
            "  + 1 items = 1  [pro.list.7]\n"
            "    - [1]  [pro.list.7.0]\n");
}

TEST(OutlineTest, LabelsOfElementsAreTheirTexts) {
  const auto tree =
      JSONTree::parse(R"([{"name":"n","displayName":"d"},{"displayName":"d"},{"name":null,"displayName":"d"},
      {"name":["a",{"name":"b"}]},{"name":[]},{"displayName":{"displayName":[1,[2,[3]]]}},{"name":""},
      [[["a"],"b"],{"x":1}],[[],[[]]],"2025-03-04T09:15:00Z",{"name":"2025-03-04T09:15:00Z"},false,{}])");
  const auto nodes = ObjectDescriber::outline(*tree.raw(), nullptr);
  std::size_t position = 0;
  for (const auto element : tree.raw()->elements()) {
    EXPECT_EQ(nodes.at(position).label, ObjectDescriber::text(element)) << position;
    ++position;
  }
  EXPECT_EQ(position, nodes.size());
}

TEST(OutlineTest, ALongLabelIsCutBetweenCharactersAndItsValueStays) {
  const std::string exact(256, 'a');
  const std::string longer = std::string(255, 'a') + "ä";
  const auto outline = described("x", R"(["short",")" + exact + R"(",")" + longer + R"(",[")" + exact +
                                          R"(","b"],{"name":")" + longer + R"("}])")
                           .outline;
  ASSERT_EQ(outline.size(), 5U);
  EXPECT_EQ(outline[0].label, "short");
  EXPECT_EQ(outline[1].label, exact);
  EXPECT_EQ(outline[2].label, std::string(255, 'a') + "…");
  EXPECT_EQ(outline[2].value, longer);
  EXPECT_EQ(outline[3].label, exact + "…");
  EXPECT_EQ(outline[4].label, std::string(255, 'a') + "…");
}

TEST(OutlineTest, OneVariantStandsAtTheTopAndSeveralHaveARootEach) {
  EXPECT_EQ(outlineText(described("x", {{"classic", R"({"a":1,"b":2})"}})),
            "- A = 1  [classic.a]\n- B = 2  [classic.b]\n");
  EXPECT_EQ(outlineText(described("x", {{"pro", R"({"a":1,"b":2})"}, {"list", "[1]"}, {"members", "null"}})),
            "+ Jamf Pro API  [pro]\n"
            "  - A = 1  [pro.a]\n"
            "  - B = 2  [pro.b]\n"
            "- Members  [members]\n"
            "+ List entry = 1  [list]\n"
            "  - 1 = 1  [list.0]\n");
}

TEST(OutlineTest, AListAsAWholeObjectShowsItsElements) {
  EXPECT_EQ(outlineText(R"([{"name":"a"},2])"),
            "+ a  [pro.0]\n  - Name = a  [pro.0.name]\n- 2 = 2  [pro.1]\n");
}

TEST(OutlineTest, AnObjectWithoutPartsIsANodeOfItsOwn) {
  EXPECT_EQ(outlineText("7"), "- Jamf Pro API = 7  [pro]\n");
  EXPECT_EQ(outlineText("{}"), "");
  EXPECT_EQ(outlineText("[]"), "");
}

TEST(OutlineTest, IDsAreUniqueAlsoWithDotsInKeys) {
  const auto description =
      described("x", R"({"a.b":1,"a":{"b":2,"":3,"b\\":{"c":4},"b\\.c":5},"":6,"a\\":{"b":7}})");
  std::set<std::string> ids;
  std::size_t nodes = 0;
  const auto collect = [&](const auto& self,
                           const std::vector<ObjectDescription::OutlineNode>& level) -> void {
    for (const auto& node : level) {
      ids.insert(node.id());
      ++nodes;
      if (node.children) self(self, *node.children);
    }
  };
  collect(collect, description.outline);
  EXPECT_EQ(ids.size(), nodes);
  EXPECT_TRUE(ids.contains("pro.a.b"));
  EXPECT_TRUE(ids.contains("pro.a\\.b"));
}

TEST(OutlineTest, OfARepeatedKeyTheLastIsShown) {
  EXPECT_EQ(outlineText(R"({"a":1,"b":2,"a":3})"), "- A = 3  [pro.a]\n- B = 2  [pro.b]\n");
}

}  // namespace
}  // namespace orvik
