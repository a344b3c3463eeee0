#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <fmt/format.h>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Reports/BackupReports.h"
#include "tests/Support/Folders.h"
#include "tests/Support/PDFText.h"
#include "tests/Support/SampleRecords.h"

namespace orvik {
namespace {

using testing::HasSubstr;

/// The most memory that this process has had, in kilobytes.
long peakMemory() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

/// Every hundredth line is damaged, every tenth request is of an endpoint of its own, every thousandth fails.
void writeLog(const platform::files::Path& path, int lines) {
  platform::files::StagedFile file(path);
  auto entry = test::auditEntry("");
  entry.bytes = 1234;
  entry.milliseconds = 7;
  const auto encoder = BackupFormat::makeLineEncoder();
  for (int i = 0; i < lines; ++i) {
    entry.target =
        i % 10 == 0 ? fmt::format("api/v1/kind-{}", i) : fmt::format("JSSResource/policies/id/{}", i);
    entry.status = i % 1000 == 1 ? 500 : 200;
    entry.outcome = i % 1000 == 1 ? "retry" : "ok";
    file.append(i % 100 == 99 ? "{\"time\":\"2025-03-04T09:15:00Z\",\"ki" : encoder.encode(entry));
    file.append("\n");
  }
  file.publish();
}

TEST(LongAudit, OfAMillionLinesIsReadInAStream) {
  const platform::files::TempFolder folder;
  writeLog(folder / "audit.jsonl", 1'000'000);
  const auto before = peakMemory();
  const auto pdf = BackupReports::securityReport(test::plainManifest("2025-03-04T091500Z"),
                                                 AuditTrail::in(folder.path()), folder.path(), {}, false);
  // The log takes 150 MB, its entries more.
  EXPECT_LT(peakMemory() - before, 100 * 1024);
  const test::PDFText document(pdf);
  EXPECT_EQ(document.faults(), "");
  const auto text = document.flowing();
  EXPECT_THAT(text, HasSubstr("990000 entries, 10000 damaged lines left out"));
  EXPECT_THAT(text, HasSubstr("Read-only: every one of the 990000 API requests was a GET."));
  EXPECT_THAT(text,
              HasSubstr("990000 actions in total; listed here are all downloads, local actions and requests "
                        "that did not answer 200 (1000)."));
  EXPECT_THAT(text, testing::ContainsRegex("others 99[0-9]+ 0 "));
  EXPECT_LT(document.pages(), 120);
}

}  // namespace
}  // namespace orvik
