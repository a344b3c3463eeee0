#include "OrvikCore/Explore/JSONDiff.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "OrvikCore/Jamf/JSONTree.h"
#include "Platform/JSON/Value.h"

namespace orvik {

void PrintTo(const FieldChange& change, std::ostream* out) {
  *out << change.path << ": " << change.old.value_or("(none)") << " -> " << change.new_.value_or("(none)");
}

namespace {

using platform::json::Value;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Changes = std::vector<FieldChange>;

Changes changesOf(const std::string& old, const std::string& now, std::string_view prefix = {},
                  std::size_t limit = JSONDiff::defaultLimit) {
  const auto oldTree = JSONTree::parse(old);
  const auto nowTree = JSONTree::parse(now);
  return JSONDiff::changes(oldTree.raw(), nowTree.raw(), prefix, limit);
}

FieldChange changed(std::string path, std::string old, std::string now) {
  return {std::move(path), std::move(old), std::move(now)};
}
FieldChange came(std::string path, std::string now) { return {std::move(path), {}, std::move(now)}; }
FieldChange went(std::string path, std::string old) { return {std::move(path), std::move(old), {}}; }

std::string listOfFields(int count, const char* value) {
  std::string fields = "{";
  for (int i = 0; i < count; ++i)
    fields += (i ? "," : "") + ("\"field" + std::to_string(1000 + i)) + "\":\"" + value + "\"";
  return fields + "}";
}

TEST(JSONDiff, AChangedFieldIsNamedByTheLabelsOnItsWay) {
  EXPECT_THAT(changesOf(R"({"general":{"is_enabled":true}})", R"({"general":{"is_enabled":false}})"),
              ElementsAre(changed("General › Is enabled", "Yes", "No")));
}

TEST(JSONDiff, FieldsThatCameAndWentHaveOneSide) {
  EXPECT_THAT(changesOf(R"({"a":1})", R"({"b":"x"})"), ElementsAre(went("A", "1"), came("B", "x")));
}

TEST(JSONDiff, AMissingValueIsAnEmptyOne) {
  const auto tree = JSONTree::parse(R"({"a":1})");
  EXPECT_THAT(JSONDiff::changes({}, tree.raw()), ElementsAre(came("A", "1")));
  EXPECT_THAT(JSONDiff::changes(tree.raw(), {}), ElementsAre(went("A", "1")));
  EXPECT_THAT(JSONDiff::changes({}, {}), IsEmpty());
}

TEST(JSONDiff, NullsAndEmptyContainersContributeNothing) {
  EXPECT_THAT(changesOf(R"({"a":null,"b":{},"c":[]})", "{}"), IsEmpty());
  EXPECT_THAT(changesOf(R"({"a":null})", R"({"a":""})"), ElementsAre(came("A", "")));
}

TEST(JSONDiff, ThePrefixBeginsEveryPath) {
  EXPECT_THAT(changesOf(R"({"a":1})", R"({"a":2})", "Jamf Pro API"),
              ElementsAre(changed("Jamf Pro API › A", "1", "2")));
  EXPECT_THAT(changesOf("1", "2", "Classic API"), ElementsAre(changed("Classic API", "1", "2")));
  EXPECT_THAT(changesOf("1", "2"), ElementsAre(changed("", "1", "2")));
}

TEST(JSONDiff, TheOrderOfKeysIsNoChange) {
  EXPECT_THAT(changesOf(R"({"a":1,"b":{"c":2,"d":3}})", R"({"b":{"d":3,"c":2},"a":1})"), IsEmpty());
}

TEST(JSONDiff, ANamedElementAtAnotherPositionIsNoChange) {
  EXPECT_THAT(changesOf(R"({"l":[{"name":"x","v":1},{"name":"y","v":2}]})",
                        R"({"l":[{"name":"y","v":2},{"name":"x","v":1}]})"),
              IsEmpty());
  EXPECT_THAT(
      changesOf(R"({"l":[{"id":7,"v":1},{"id":8,"v":2}]})", R"({"l":[{"id":8,"v":2},{"id":7,"v":1}]})"),
      IsEmpty());
}

TEST(JSONDiff, AnElementWithAnEmptyNameIsToldByItsID) {
  EXPECT_THAT(changesOf(R"([{"name":"","id":7,"v":1}])", R"([{"name":"","id":7,"v":2}])"),
              ElementsAre(changed("[7] › V", "1", "2")));
}

TEST(JSONDiff, ElementsWithoutNamesAreToldByTheirPosition) {
  EXPECT_THAT(changesOf(R"({"l":["a","b"]})", R"({"l":["a","c"]})"),
              ElementsAre(changed("L › [2]", "b", "c")));
  EXPECT_THAT(changesOf(R"({"l":["a"]})", R"({"l":["a","c"]})"), ElementsAre(came("L", "2")));
}

TEST(JSONDiff, AnElementThatCameAsAWholeWithTenFieldsIsOneChangeWithItsName) {
  std::string element = R"({"name":"Mac 12")";
  for (int i = 1; i < 10; ++i) element += ",\"field" + std::to_string(i) + "\":" + std::to_string(i);
  element += "}";
  EXPECT_THAT(changesOf(R"({"scope":{"computers":[]}})", R"({"scope":{"computers":[)" + element + "]}}"),
              ElementsAre(came("Scope › Computers", "Mac 12")));
  EXPECT_THAT(changesOf(R"({"scope":{"computers":[)" + element + "]}}", R"({"scope":{"computers":[]}})"),
              ElementsAre(went("Scope › Computers", "Mac 12")));
}

TEST(JSONDiff, AnElementOfAListAtTheTopHasTheListAsItsPath) {
  EXPECT_THAT(changesOf("[]", R"([{"name":"x","v":1}])"), ElementsAre(came("List", "x")));
}

TEST(JSONDiff, AChangedFieldOfAnElementStays) {
  EXPECT_THAT(changesOf(R"([{"name":"x","v":1,"w":1}])", R"([{"name":"x","v":2}])"),
              ElementsAre(changed("[x] › V", "1", "2"), went("[x] › W", "1")));
}

TEST(JSONDiff, TheInnermostListIsTheOneThatAnElementCameTo) {
  EXPECT_THAT(changesOf(R"([{"name":"x","l":[{"name":"a","v":1}]}])",
                        R"([{"name":"x","l":[{"name":"a","v":1},{"name":"b","v":1,"w":2}]}])"),
              ElementsAre(came("[x] › L", "b")));
}

TEST(JSONDiff, NamesWithBracketsAndSeparatorsStayApart) {
  EXPECT_THAT(changesOf(R"({"l":[]})", R"({"l":[{"name":"a › b","v":1},{"name":"a › c","v":1}]})"),
              ElementsAre(came("L", "a"), came("L", "a")));
  EXPECT_THAT(changesOf(R"({"l":[]})", R"({"l":["x"],"m":[{"name":"a]b"}]})"), SizeIs(2));
}

TEST(JSONDiff, OfElementsWithTheSameNameTheLastCounts) {
  EXPECT_THAT(changesOf(R"([{"name":"x","v":1},{"name":"x","v":2}])", R"([{"name":"x","v":2}])"), IsEmpty());
}

TEST(JSONDiff, ThreeHundredDifferencesEndTheWalk) {
  EXPECT_THAT(changesOf(listOfFields(500, "a"), listOfFields(500, "b")), SizeIs(300));
  EXPECT_THAT(changesOf(listOfFields(500, "a"), listOfFields(500, "b"), "", 7), SizeIs(7));
  EXPECT_THAT(changesOf(listOfFields(5, "a"), listOfFields(5, "b"), "", 0), IsEmpty());
}

TEST(JSONDiff, FoldingWorksOnTheDifferencesUpToTheLimitAlone) {
  // The element's old value is the 301st difference: among the first 300 it has only new ones.
  std::string now = R"([{"name":"x")";
  for (int i = 0; i < 300; ++i) now += ",\"f" + std::to_string(1000 + i) + "\":1";
  now += "}]";
  EXPECT_THAT(changesOf(R"([{"name":"x","zz":1}])", now), SizeIs(300));
  EXPECT_THAT(changesOf("[]", now), ElementsAre(came("List", "x")));
  EXPECT_THAT(changesOf("[]", now, "", 3), ElementsAre(came("List", "x")));
}

TEST(JSONDiff, PathsStandInTheOrderOfTheirFirstAppearanceOldOnesFirst) {
  EXPECT_THAT(changesOf(R"({"m":1,"z":1})", R"({"a":1,"m":2})"),
              ElementsAre(changed("M", "1", "2"), went("Z", "1"), came("A", "1")));
}

TEST(JSONDiff, AMillionKeysAndFiveHundredLevelsTakeMemoryForTheKeysAlone) {
  std::string wide = "{";
  for (int i = 0; i < 50'000; ++i) wide += (i ? ",\"k" : "\"k") + std::to_string(i) + "\":1";
  wide += "}";
  std::string deep;
  for (int i = 0; i < 500; ++i) deep += R"({"a long key that stands in every path":)";
  deep += wide + std::string(500, '}');
  EXPECT_THAT(changesOf(deep, deep), IsEmpty());
  EXPECT_THAT(changesOf("{}", deep, "", 3), SizeIs(3));
}

// Random documents.

class RandomDocument {
 public:
  explicit RandomDocument(unsigned seed) : random_(seed) {}

  Value value(int depth) {
    switch (pick(depth > 0 ? 7 : 4)) {
      case 0:
        return pick(2) == 0;
      case 1:
        return pick(1000);
      case 2:
        return "text " + std::to_string(pick(1000));
      case 3:
        return pick(4) == 0 ? Value() : Value(0.5 + pick(10));
      case 4:
        return namedList(depth);
      default:
        return object(depth);
    }
  }

  Value object(int depth) {
    Value made = Value::object();
    for (int i = pick(5); i >= 0; --i)
      made.set("key" + std::string(1, static_cast<char>('a' + pick(12))), value(depth - 1));
    return made;
  }

  /// The same value with members and named elements in another order.
  Value shuffled(const Value& value) {
    if (const auto* object = value.object_()) {
      auto members = *object;
      for (auto& member : members) member.second = shuffled(member.second);
      std::ranges::shuffle(members, random_);
      return members;
    }
    if (const auto* list = value.array_()) {
      auto elements = *list;
      for (auto& element : elements) element = shuffled(element);
      std::ranges::shuffle(elements, random_);
      return elements;
    }
    return value;
  }

  /// The same value with some leaves changed.
  Value changedSomewhere(const Value& value) {
    if (const auto* object = value.object_()) {
      auto members = *object;
      for (auto& member : members)
        if (member.first != "name") member.second = changedSomewhere(member.second);
      return members;
    }
    if (const auto* list = value.array_()) {
      auto elements = *list;
      for (auto& element : elements) element = changedSomewhere(element);
      if (!elements.empty() && pick(4) == 0) elements.pop_back();
      return elements;
    }
    return pick(3) == 0 ? Value("changed " + std::to_string(pick(1000))) : value;
  }

 private:
  int pick(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }

  Value namedList(int depth) {
    Value list = Value::array();
    for (int i = pick(4); i > 0; --i) {
      auto element = object(depth - 1);
      element.set("name", "Element " + std::to_string(i));
      list.append(std::move(element));
    }
    return list;
  }

  std::mt19937 random_;
};

/// Every leaf's text by its path, made in the plainest way.
void flatten(const Value& value, const std::string& path, std::map<std::string, std::string>& leaves) {
  const auto below = [&](const std::string& component) {
    return path.empty() ? component : path + " › " + component;
  };
  if (const auto* object = value.object_()) {
    for (const auto& [key, member] : *object) {
      auto label = key;
      label[0] = static_cast<char>(label[0] - 'a' + 'A');
      flatten(member, below(label), leaves);
    }
  } else if (const auto* list = value.array_()) {
    for (const auto& element : *list)
      flatten(element, below("[" + *element.find("name")->string() + "]"), leaves);
  } else if (const auto* truth = value.boolean()) {
    leaves[path] = *truth ? "Yes" : "No";
  } else if (const auto* text = value.string()) {
    leaves[path] = *text;
  } else if (!value.isNull()) {
    leaves[path] = std::string(value.text());
  }
}

/// The same for a hundred documents.
void forEachSeed(const std::function<void(RandomDocument& random)>& check) {
  for (unsigned seed = 1; seed <= 100; ++seed) {
    const testing::ScopedTrace trace(__FILE__, __LINE__, "seed " + std::to_string(seed));
    RandomDocument random(seed);
    check(random);
  }
}

TEST(JSONDiffOfRandomDocuments, OneAndTheSameHasNoChanges) {
  forEachSeed([](RandomDocument& random) {
    const auto text = std::string(random.object(5).text());
    EXPECT_THAT(changesOf(text, text), IsEmpty());
  });
}

TEST(JSONDiffOfRandomDocuments, OtherOrdersOfKeysAndNamedElementsHaveNoChanges) {
  forEachSeed([](RandomDocument& random) {
    const auto value = random.object(5);
    EXPECT_THAT(changesOf(std::string(value.text()), std::string(random.shuffled(value).text())), IsEmpty());
  });
}

TEST(JSONDiffOfRandomDocuments, EveryDifferenceIsReportedOrFoldedIntoExactlyOneRow) {
  forEachSeed([](RandomDocument& random) {
    const auto old = random.object(5);
    const auto now = random.changedSomewhere(old);
    const auto changes = changesOf(std::string(old.text()), std::string(now.text()), "", 1'000'000);

    std::map<std::string, std::string> before;
    std::map<std::string, std::string> after;
    flatten(old, "", before);
    flatten(now, "", after);
    std::set<std::string> paths;
    for (const auto& leaves : {before, after})
      for (const auto& leaf : leaves) paths.insert(leaf.first);
    std::set<std::size_t> used;
    for (const auto& path : paths) {
      const auto text = [&](const auto& leaves) {
        const auto leaf = leaves.find(path);
        return leaf == leaves.end() ? std::nullopt : std::optional(leaf->second);
      };
      const auto covers = [&](const FieldChange& change) {
        if (change.path == path) return change.old == text(before) && change.new_ == text(after);
        if (change.old.has_value() == change.new_.has_value()) return false;
        // A row for an element that came or went stands for what lies in it and in no element below.
        const auto element = (change.path == "List" ? "" : change.path + " › ") + "[" +
                             change.old.value_or(change.new_.value_or("")) + "]";
        return path.starts_with(element) && path.find('[', element.size()) == path.npos;
      };
      if (text(before) == text(after)) continue;
      EXPECT_EQ(std::ranges::count_if(changes, covers), 1) << path;
      for (std::size_t i = 0; i < changes.size(); ++i)
        if (covers(changes[i])) used.insert(i);
    }
    EXPECT_EQ(used.size(), changes.size()) << "a row stands for no difference";
  });
}

}  // namespace
}  // namespace orvik
