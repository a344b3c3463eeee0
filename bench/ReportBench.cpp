// What `orvikctl report` costs on a backup of the largest fleet whose audit log has 60,000 lines: seconds and
// peak memory of the program that makes both documents. Usage: ReportBench [folder]
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Files/Files.h"
#include "bench/Measure.h"
#include "bench/ProgramCost.h"
#include "bench/RunOfServer.h"

namespace {

using namespace orvik;

constexpr int rounds = 5;
constexpr std::size_t auditLines = 60'000;
constexpr double mostSeconds = 5;
constexpr double mostMegabytes = 200;

/// Repeats or cuts the lines of an audit log until it has so many.
void setLines(const std::filesystem::path& log, std::size_t count) {
  const std::string text = platform::files::read(log);
  std::string lines;
  std::size_t at = 0;
  for (std::size_t line = 0; line < count; ++line) {
    const auto end = text.find('\n', at) + 1;
    lines.append(text, at, end - at);
    at = end < text.size() ? end : 0;
  }
  platform::files::atomicWrite(lines, log);
}

}  // namespace

int main(int count, char** arguments) {
  const std::filesystem::path parent = count > 1 ? arguments[1] : "/tmp";
  const auto program = (std::filesystem::canonical("/proc/self/exe").parent_path() / "orvikctl").string();
  const auto root = parent / fmt::format("orvik-report-{}", getpid());
  const auto backupID = bench::twoBackupsOfTheLargestFleet(root).backupID;
  setLines(root / "backups" / backupID / BackupFormat::auditFile, auditLines);

  std::vector<double> seconds, megabytes;
  for (int round = 0; round < rounds; ++round) {
    const auto cost = bench::costOf({program, "report", root, backupID, "--out", root / "reports"});
    seconds.push_back(cost.seconds);
    megabytes.push_back(static_cast<double>(cost.peak) / 1e6);
  }
  const double time = bench::median(seconds);
  const double memory = bench::median(megabytes);
  fmt::print("both reports {:17.2f} s (aim {:.0f}), {:.0f} MB at most (aim {:.0f}){}\n", time, mostSeconds,
             memory, mostMegabytes, time > mostSeconds || memory > mostMegabytes ? "  MISSED" : "");
  std::filesystem::remove_all(root);
}
