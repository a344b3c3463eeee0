#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "Platform/Locale/Text.h"
#include "tests/Support/ScopedVariable.h"

namespace platform::locale {
namespace {

using Names = std::vector<std::string>;

class Collation : public testing::Test {
 protected:
  const orvik::test::ScopedVariable locale{"LC_ALL", "en_US.UTF-8"};
};

Names sorted(Names names) {
  std::ranges::sort(names, {}, sortKey);
  return names;
}

TEST_F(Collation, NumbersInNamesCompareByValue) {
  for (const char* name : {"C", "en_US.UTF-8", "de_DE.UTF-8", ""}) {
    locale.set(name);
    EXPECT_EQ(sorted({"Site 10", "Site 9", "Site 1", "Site 100"}),
              (Names{"Site 1", "Site 9", "Site 10", "Site 100"}))
        << name;
  }
}

TEST_F(Collation, CaseAndAccentsDecideLast) {
  EXPECT_EQ(sorted({"b", "B", "a", "Z", "ä", "A"}), (Names{"A", "a", "ä", "B", "b", "Z"}));
  EXPECT_EQ(sorted({"report", "Report", "report 2"}), (Names{"Report", "report", "report 2"}));
}

TEST_F(Collation, WithoutALanguageTheRootOrderCounts) {
  locale.set("POSIX");
  EXPECT_EQ(sorted({"b", "Z", "a"}), (Names{"a", "b", "Z"}));
}

TEST_F(Collation, TheLanguageDecidesWhereALetterStands) {
  locale.set("de_DE.UTF-8");
  EXPECT_EQ(sorted({"z", "ö", "o"}), (Names{"o", "ö", "z"}));
  locale.set("sv_SE.UTF-8");
  EXPECT_EQ(sorted({"z", "ö", "o"}), (Names{"o", "z", "ö"}));
}

TEST_F(Collation, AnUnknownLocaleStillSorts) {
  for (const std::string& name : {std::string("xx_YY"), std::string("//"), std::string(20, 'q'),
                                  std::string(150, 'q'), std::string(5000, 'q')}) {
    locale.set(name);
    EXPECT_EQ(sorted({"b2", "a", "b10"}), (Names{"a", "b2", "b10"})) << name.substr(0, 20);
  }
}

TEST_F(Collation, AnyBytesHaveAKey) {
  EXPECT_LT(sortKey(""), sortKey("a"));
  EXPECT_EQ(sortKey("\xFF"), sortKey("\uFFFD"));
  EXPECT_LT(sortKey(std::string(1000, 'a')), sortKey(std::string(1001, 'a')));
  EXPECT_EQ(sortKey(std::string(100'000, 'a')), sortKey(std::string(65'536, 'a')));
  std::string cjk;
  for (int i = 0; i < 3000; ++i) cjk += "\u9FA5";
  EXPECT_LT(sortKey(cjk), sortKey(cjk + "\u9FA5"));
}

TEST_F(Collation, ManyThreadsGetTheSameKeys) {
  locale.set("de_DE.UTF-8");
  const std::string expected = sortKey("Öffentlich 12");
  std::vector<std::string> keys(8);
  {
    std::vector<std::jthread> threads;
    for (std::string& key : keys) threads.emplace_back([&key] { key = sortKey("Öffentlich 12"); });
  }
  EXPECT_EQ(keys, Names(8, expected));
}

}  // namespace
}  // namespace platform::locale
