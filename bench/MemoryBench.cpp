// The peak memory of whole runs over fleets of two sizes: what an object more costs. Usage: MemoryBench
// [folder]
#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include "bench/RunOfServer.h"
#include "bench/ServerProcess.h"

namespace {

struct Peak {
  long bytes = 0;
  long objects = 0;
};

/// One run in a process of its own.
Peak peakOf(sample::FleetSize size, const std::filesystem::path& folder) {
  const bench::ServerProcess server(size);
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("pipe");
  const pid_t child = fork();
  if (child == 0) {
    const long objects = bench::run(server, folder, 32).totals.objects;
    const bool told = write(ends[1], &objects, sizeof objects) == sizeof objects;
    std::_Exit(told ? 0 : 1);
  }
  close(ends[1]);
  Peak peak;
  const bool told = read(ends[0], &peak.objects, sizeof peak.objects) == sizeof peak.objects;
  close(ends[0]);
  int status = 0;
  rusage usage{};
  wait4(child, &status, 0, &usage);
  std::filesystem::remove_all(folder);
  if (!told || status != 0) throw std::runtime_error("the run failed");
  peak.bytes = usage.ru_maxrss * 1024;
  return peak;
}

}  // namespace

int main(int count, char** arguments) {
  const std::filesystem::path parent = count > 1 ? arguments[1] : "/tmp";
  const auto folder = parent / fmt::format("orvik-memory-{}", getpid());
  const auto small = peakOf(sample::FleetSize::small, folder);
  const auto school = peakOf(sample::FleetSize::school, folder);
  const auto large = peakOf(sample::FleetSize::enterprise, folder);
  for (const auto& peak : {small, school, large})
    fmt::print("{:6} objects: peak {:.1f} MB\n", peak.objects, static_cast<double>(peak.bytes) / 1e6);
  const double each =
      static_cast<double>(large.bytes - school.bytes) / static_cast<double>(large.objects - school.objects);
  fmt::print("{:.0f} bytes an object more (at most 1024); {:.1f} MB for {} objects (below 150)\n", each,
             static_cast<double>(large.bytes) / 1e6, large.objects);
}
