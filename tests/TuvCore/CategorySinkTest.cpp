#include "TuvCore/CategorySink.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "TuvCore/Error.h"

namespace {

using tuv::CategoryLogger;

TEST(CategorySink, HandsOnEachNoticeOfItsCategoryOnceUntilItIsDetached) {
  std::vector<std::string> messages;
  const auto sink =
      std::make_shared<tuv::CategorySink>("one", [&](const std::string& text) { messages.push_back(text); });
  tuv::Log::shared().addSink(sink);
  const CategoryLogger one{"one"};
  one.notice("a");
  one.notice("a");
  one.error("b");
  one.info("c");
  CategoryLogger{"another"}.error("d");
  EXPECT_EQ(messages, (std::vector<std::string>{"a", "b"}));
  sink->detach();
  one.error("e");
  EXPECT_EQ(messages.size(), 2U);
}

TEST(CategorySink, AReceiverThatThrowsCostsOnlyItsMessage) {
  int calls = 0;
  const auto sink = std::make_shared<tuv::CategorySink>("throwing", [&](const std::string&) {
    if (++calls == 1) throw tuv::Error("no");
  });
  tuv::Log::shared().addSink(sink);
  CategoryLogger{"throwing"}.notice("a");
  CategoryLogger{"throwing"}.notice("b");
  EXPECT_EQ(calls, 2);
  sink->detach();
}

}  // namespace
