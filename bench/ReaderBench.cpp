// What `orvik show` and `orvik diff` cost on two backups of the largest fleet, between which the hundredth
// part of the objects changed, in processor time of the program. Usage: ReaderBench [folder]
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "OrvikCore/Explore/BackupReader.h"
#include "bench/Measure.h"
#include "bench/ProgramCost.h"
#include "bench/RunOfServer.h"

namespace {

using namespace orvik;
using Words = std::vector<std::string>;

constexpr int rounds = 7;
constexpr double aim = 0.1;  ///< seconds

void measure(const char* name, const Words& words) {
  std::vector<double> seconds, processor;
  for (int round = 0; round < rounds; ++round) {
    const auto cost = bench::costOf(words);
    seconds.push_back(cost.seconds);
    processor.push_back(cost.processor);
  }
  const double used = bench::median(processor);
  fmt::print("{:<28} {:6.1f} ms of processor (aim {:.0f}), {:6.1f} ms{}\n", name, used * 1000, aim * 1000,
             bench::median(seconds) * 1000, used > aim ? "  MISSED" : "");
}

}  // namespace

int main(int count, char** arguments) {
  const std::filesystem::path parent = count > 1 ? arguments[1] : "/tmp";
  const auto program = (std::filesystem::canonical("/proc/self/exe").parent_path() / "orvik").string();
  const auto root = parent / fmt::format("orvik-reader-{}", getpid());
  bench::twoBackupsOfTheLargestFleet(root);
  const BackupRepository repository(root);
  const BackupReader reader(repository, repository.latestComplete().value().id);
  const auto computers = reader.index("computers");
  const auto policies = reader.index("policies");
  if (!computers || !policies) throw std::runtime_error("a section is missing");
  const auto changed = std::ranges::find(policies->items, IndexItem::Change::changed, &IndexItem::change);
  const auto& policy = changed != policies->items.end() ? *changed : policies->items.front();
  measure("show a policy", {program, "show", root, "policies", policy.id});
  measure("show a computer", {program, "show", root, "computers", computers->items.back().id});
  measure("diff", {program, "diff", root});
  std::filesystem::remove_all(root);
}
