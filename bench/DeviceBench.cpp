// Two runs over the devices of the largest fleet, the second with nothing changed: what it asks for, and what
// it costs beside the first. Usage: DeviceBench [folder]
#include <fmt/format.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "OrvikCore/Engine/BackupEngine.h"
#include "OrvikCore/Jamf/SectionCatalog.h"
#include "OrvikCore/Store/AuditLog.h"
#include "bench/Measure.h"
#include "bench/RunOfServer.h"
#include "bench/ServerProcess.h"

namespace {

using namespace orvik;

double processorSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

struct Cost {
  BackupManifest manifest;
  double seconds = 0;
  double processor = 0;
  long records = 0;  ///< requests of single devices
  long pages = 0;
};

Cost run(const bench::ServerProcess& server, const std::filesystem::path& root) {
  auto job = bench::jobFor(server, root, 16);
  job.options.disabledSections.clear();
  for (const auto& section : SectionCatalog::all())
    if (!std::holds_alternative<SectionDefinition::Devices>(section.kind))
      job.options.disabledSections.insert(std::string(section.id));
  Cost cost;
  const double before = processorSeconds();
  cost.seconds = bench::secondsOf([&] { cost.manifest = BackupEngine(job).run(ResumeInterrupted::no, {}); });
  cost.processor = processorSeconds() - before;
  const BackupRepository repository(root);
  for (const auto& entry : AuditLog::read(repository.backupDirectory(cost.manifest.backupID))) {
    if (entry.kind != AuditEntry::Kind::request) continue;
    const bool isPage = entry.detail && entry.detail->starts_with("page");
    if (isPage)
      ++cost.pages;
    else
      ++cost.records;
  }
  return cost;
}

void print(const char* name, const Cost& cost) {
  fmt::print("{}: {} devices, {} list pages, {} other requests, {:.1f} s, {:.1f} s of processor\n", name,
             cost.manifest.totals.objects, cost.pages, cost.records, cost.seconds, cost.processor);
}

}  // namespace

int main(int count, char** arguments) {
  const std::filesystem::path parent = count > 1 ? arguments[1] : "/tmp";
  const bench::ServerProcess server(sample::FleetSize::enterprise);
  const auto root = parent / fmt::format("orvik-devices-{}", getpid());
  const auto first = run(server, root);
  const auto second = run(server, root);
  std::filesystem::remove_all(root);
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  print("first run", first);
  print("unchanged", second);
  fmt::print(
      "unchanged devices cost {:.3f} of the first run's processor time; new or changed {} (0); other "
      "requests {} (2: version and privileges); peak {:.0f} MB\n",
      second.processor / first.processor, second.manifest.totals.newOrChangedObjects, second.records,
      static_cast<double>(usage.ru_maxrss) * 1024 / 1e6);
}
