#include "tests/SampleServer/Writing.h"

namespace sample {
namespace {

constexpr const char* third = "api/v3/patch-software-title-configurations";
constexpr const char* second = "api/v2/patch-software-title-configurations";

using SamplePatchTitles = Writing;

TEST_F(SamplePatchTitles, BothVersionsGiveOneBareArray) {
  const Received list = client_.get(third);
  EXPECT_EQ(list.body, client_.get(second).body);
  EXPECT_EQ(valueOf(list).array_()->size(), server_.ids("patchSoftwareTitles").size());
  EXPECT_EQ(client_.get(std::string(third) + "/1").body, client_.get(std::string(second) + "/1").body);
  EXPECT_EQ(client_.get(std::string(third) + "/999").status, 404);
}

TEST_F(SamplePatchTitles, SummaryAndReportAgree) {
  const Value summary = get(std::string(third) + "/2/patch-summary");
  const Value report = get(std::string(third) + "/2/patch-report?page-size=500");
  EXPECT_EQ(summary, get(std::string(second) + "/2/patch-summary"));
  EXPECT_EQ(*summary.find("softwareTitleConfigurationId"), Value("2"));
  std::int64_t upToDate = 0;
  std::int64_t outOfDate = 0;
  for (const Value& row : *report.find("results")->array_())
    ++(*row.find("version") == *summary.find("latestVersion") ? upToDate : outOfDate);
  EXPECT_EQ(Value(upToDate), *summary.find("upToDate"));
  EXPECT_EQ(Value(outOfDate), *summary.find("outOfDate"));
  EXPECT_GT(upToDate, 0);
}

TEST_F(SamplePatchTitles, TheReportComesInPagesWithTheVersionsOwnKey) {
  const std::string report = std::string(third) + "/1/patch-report";
  const Value all = get(report + "?page-size=500");
  const Value page = get(report + "?page=1&page-size=2");
  EXPECT_EQ(*page.find("totalCount"), *all.find("totalCount"));
  ASSERT_GE(all.find("results")->array_()->size(), 4U);
  EXPECT_EQ(page.find("results")->array_()->front(), all.find("results")->array_()->at(2));
  EXPECT_TRUE(page.find("results")->array_()->front().find("lastCheckIn")->string());
  EXPECT_FALSE(page.find("results")->array_()->front().find("lastContactTime"));
  const Value older = get(std::string(second) + "/1/patch-report?page-size=1");
  EXPECT_TRUE(older.find("results")->array_()->front().find("lastContactTime")->string());
  EXPECT_FALSE(older.find("results")->array_()->front().find("lastCheckIn"));
  EXPECT_EQ(client_.get(std::string(third) + "/999/patch-report").status, 404);
  EXPECT_EQ(client_.write("POST", report, "{}").status, 405);
}

TEST_F(SamplePatchTitles, OlderServersHaveTheSecondVersionAlone) {
  server_.dialect().patchV3 = false;
  for (const char* tail : {"", "/1", "/1/patch-summary", "/1/patch-report"}) {
    EXPECT_EQ(client_.get(std::string(third) + tail).status, 404) << tail;
    EXPECT_EQ(client_.get(std::string(second) + tail).status, 200) << tail;
  }
}

}  // namespace
}  // namespace sample
