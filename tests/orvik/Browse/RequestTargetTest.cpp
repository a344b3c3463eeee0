#include "orvik/Browse/RequestTarget.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fuzz/RequestTargetCheck.h"
#include "orvik/ExitStatus.h"
#include "tests/Support/FuzzCorpus.h"

namespace orvik::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

std::string refusalOf(const std::function<void()>& body) try {
  body();
  return "nothing";
} catch (const UsageError& error) {
  return error.description();
}

TEST(RequestTarget, IsTakenApartBeforeItIsDecoded) {
  const auto target = RequestTarget::parse("/api/a%2Fb/%20?q=1%262&name=%C3%A9=x&flag&q=last");
  EXPECT_THAT(target.path, ElementsAre("api", "a/b", " "));
  EXPECT_THAT(target.query, ElementsAre(Pair("flag", ""), Pair("name", "é=x"), Pair("q", "last")));
  EXPECT_THAT(RequestTarget::parse("/").path, ElementsAre(""));
  EXPECT_THAT(RequestTarget::parse("/a//b").path, ElementsAre("a", "", "b"));
}

TEST(RequestTarget, RefusesWhatIsNoPathOrNoUTF8) {
  EXPECT_THAT(refusalOf([] { RequestTarget::parse(""); }), HasSubstr("slash"));
  EXPECT_THAT(refusalOf([] { RequestTarget::parse("http://127.0.0.1/"); }), HasSubstr("slash"));
  EXPECT_THAT(refusalOf([] { RequestTarget::parse("/%ff"); }), HasSubstr("UTF-8"));
  EXPECT_THAT(refusalOf([] { RequestTarget::parse("/?q=%c3"); }), HasSubstr("UTF-8"));
  EXPECT_THAT(RequestTarget::parse("/%zz").path, ElementsAre("%zz"));
}

TEST(RequestTarget, NamesWhatIsMissingOrNoNumber) {
  const auto target = RequestTarget::parse("/?limit=12&bad=-1&huge=99999999999999999999999&empty=");
  EXPECT_EQ(target.number("limit", 1, 100), 12U);
  EXPECT_EQ(target.number("absent", 7, 100), 7U);
  EXPECT_EQ(refusalOf([&] { target.number("limit", 1, 11); }),
            "\"limit\" in the address is no number up to 11.");
  for (const auto* name : {"bad", "huge", "empty"})
    EXPECT_THAT(refusalOf([&] { target.number(name, 1, 100); }), HasSubstr(name));
  EXPECT_EQ(refusalOf([&] { target.required("q"); }), "The address lacks \"q\".");
  EXPECT_THAT(refusalOf([&] { target.required("empty"); }), HasSubstr("empty"));
}

TEST(FuzzCorpus, RequestTarget) {
  orvik::test::replayCorpus("RequestTarget", orvik::fuzz::brokenRequestTargetRule);
}

}  // namespace
}  // namespace orvik::host
