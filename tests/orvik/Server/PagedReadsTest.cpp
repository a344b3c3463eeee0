#include "orvik/Server/PagedReads.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "JamfCore/Networking/APIError.h"

namespace orvik::host {
namespace {

using testing::HasSubstr;

/// Answers each page as a function says.
class Pages : public jamf::JamfRequesting {
 public:
  explicit Pages(std::function<platform::Bytes(const std::string&)> answer) : answer_(std::move(answer)) {}

  platform::Bytes get(const std::string&, const std::vector<jamf::QueryItem>& query,
                      const std::stop_token&) override {
    return answer_(query.empty() ? "" : query.front().value.value_or(""));
  }

 private:
  std::function<platform::Bytes(const std::string&)> answer_;
};

PagedReads readsOf(std::function<platform::Bytes(const std::string&)> answer) {
  return PagedReads(std::make_shared<Pages>(std::move(answer)));
}

platform::Bytes page(PagedReads& reads, const std::string& path, int number) {
  return reads.get(path, {{"page", std::to_string(number)}, {"page-size", "200"}}, {});
}

std::string failureOf(const std::function<void()>& what) {
  try {
    what();
  } catch (const jamf::APIError& error) {
    return error.description();
  }
  return "";
}

TEST(PagedReads, ThePageBeforeOnceMoreIsAFailureThatNamesThePath) {
  auto reads = readsOf([](const std::string&) { return "{\"results\":[1]}"; });
  EXPECT_EQ(page(reads, "api/v1/scripts", 0), "{\"results\":[1]}");
  EXPECT_THAT(failureOf([&] { page(reads, "api/v1/scripts", 1); }),
              HasSubstr("api/v1/scripts sends the same page again and again"));
}

TEST(PagedReads, PagesThatDifferAndListsFromTheirBeginningAreGivenAsTheyCome) {
  auto reads = readsOf([](const std::string& number) { return "page " + number; });
  for (int round = 0; round < 2; ++round)
    for (int number = 0; number < 3; ++number)
      EXPECT_EQ(page(reads, "a", number), fmt::format("page {}", number));
}

TEST(PagedReads, ARepeatedRequestForOnePageIsNoRepeatedPage) {
  auto reads = readsOf([](const std::string& number) { return "page " + number; });
  EXPECT_EQ(page(reads, "a", 0), "page 0");
  EXPECT_EQ(page(reads, "a", 1), "page 1");
  EXPECT_EQ(page(reads, "a", 1), "page 1");
}

TEST(PagedReads, EqualPagesOfTwoListsAndAnswersWithoutPagesAreNoneOfItsBusiness) {
  auto reads = readsOf([](const std::string&) { return "[]"; });
  EXPECT_EQ(page(reads, "a", 0), "[]");
  EXPECT_EQ(page(reads, "b", 1), "[]");
  EXPECT_EQ(reads.get("a", {}, {}), "[]");
  EXPECT_EQ(reads.get("a", {{"page", "x"}}, {}), "[]");
  EXPECT_EQ(reads.get("a", {{"page", "x"}}, {}), "[]");
}

TEST(PagedReads, AListThatNeverEndsIsAFailure) {
  auto reads = readsOf([](const std::string& number) { return "page " + number; });
  EXPECT_EQ(page(reads, "a", PagedReads::mostPages - 1), fmt::format("page {}", PagedReads::mostPages - 1));
  EXPECT_THAT(failureOf([&] { page(reads, "a", PagedReads::mostPages); }), HasSubstr("more objects"));
}

}  // namespace
}  // namespace orvik::host
