// The three digests of a file in one pass beside the bare digests of the same bytes, one after the other on
// one core, as a ratio of times; once on all cores and once on one. Alternating; medians.
// Usage: DigestBench [folder] [mebibytes]
#include <fmt/format.h>
#include <sched.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "OrvikCore/Store/FileHasher.h"
#include "Platform/Crypto/Digest.h"
#include "Platform/Files/Files.h"
#include "bench/Measure.h"

using platform::DigestAlgorithm;

namespace {

double bareSeconds(DigestAlgorithm algorithm, const platform::Bytes& bytes) {
  return bench::secondsOf([&] {
    if (platform::digest(algorithm, bytes).empty()) std::abort();
  });
}

void measure(const char* where, const std::filesystem::path& file, const platform::Bytes& bytes) {
  std::vector<double> bare, onePass;
  for (int i = 0; i < 7; ++i) {
    double sum = 0;
    for (const auto algorithm : {DigestAlgorithm::sha256, DigestAlgorithm::sha512, DigestAlgorithm::md5})
      sum += bareSeconds(algorithm, bytes);
    bare.push_back(sum);
    onePass.push_back(bench::secondsOf([&] {
      if (orvik::FileHasher::digests(file).size != static_cast<std::int64_t>(bytes.size())) std::abort();
    }));
  }
  fmt::print("{} MiB on {}: bare digests in sum {:.3f} s, one pass {:.3f} s: {:.2f} times (at most 1.25)\n",
             bytes.size() >> 20, where, bench::median(bare), bench::median(onePass),
             bench::median(onePass) / bench::median(bare));
}

void useOneCore() {
  cpu_set_t cores;
  CPU_ZERO(&cores);
  CPU_SET(static_cast<unsigned>(sched_getcpu()), &cores);
  if (sched_setaffinity(0, sizeof cores, &cores) != 0) std::abort();
}

}  // namespace

int main(int count, char** arguments) {
  const std::filesystem::path parent = count > 1 ? arguments[1] : "/tmp";
  const std::size_t mebibytes = count > 2 ? std::strtoul(arguments[2], nullptr, 10) : 512;
  const auto file = parent / fmt::format("orvik-digest-{}", getpid());
  const auto bytes = platform::randomBytes(mebibytes << 20);
  platform::files::atomicWrite(bytes, file);
  measure("all cores", file, bytes);
  useOneCore();
  measure("one core", file, bytes);
  platform::files::remove(file);
}
