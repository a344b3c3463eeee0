// `verify` of a loose folder beside bare SHA-256 of the same bytes on one core, as a ratio of times.
// Alternating; medians. Usage: VerifyBench [folder] [fleet]
#include <fmt/format.h>

#include <unistd.h>
#include <filesystem>

#include <vector>

#include "OrvikCore/Store/BackupVerifier.h"
#include "Platform/Crypto/Digest.h"
#include "Platform/Files/Files.h"
#include "bench/Measure.h"
#include "bench/RunOfServer.h"
#include "bench/ServerProcess.h"

using namespace orvik;

int main(int count, char** arguments) {
  const std::filesystem::path parent = count > 1 ? arguments[1] : "/tmp";
  const std::string fleet = count > 2 ? arguments[2] : "enterprise";
  bench::ServerProcess server(fleet == "enterprise" ? sample::FleetSize::enterprise
                                                    : sample::FleetSize::school);
  const auto folder = parent / fmt::format("orvik-verify-{}", getpid());

  const auto manifest = bench::run(server, folder, 32);
  const BackupRepository repository(folder);
  std::vector<platform::Bytes> objects;
  std::size_t bytes = 0;
  for (const auto& summary : manifest.sections)
    if (const auto index = repository.index(manifest.backupID, summary.id))
      for (const auto& item : index->items)
        for (const auto& [variant, hash] : item.objects) {
          objects.push_back(repository.store().stored(hash));
          bytes += objects.back().size();
        }

  std::vector<double> bare, verify;
  for (int i = 0; i < 7; ++i) {
    std::size_t digits = 0;
    bare.push_back(bench::secondsOf([&] {
      for (const auto& object : objects) digits += platform::sha256Hex(object).size();
    }));
    if (digits != objects.size() * 64) return 1;
    VerifyResult result;
    verify.push_back(bench::secondsOf([&] {
      result = verifyBackup(repository, {manifest.backupID, manifest}, [](const std::string&) {});
    }));
    if (result.problems != 0 || result.checked != objects.size()) return 1;
  }
  fmt::print(
      "{} objects, {} bytes: bare SHA-256 on one core {:.3f} s, verify {:.3f} s: {:.2f} times (at most "
      "2.9)\n",
      objects.size(), bytes, bench::median(bare), bench::median(verify),
      bench::median(verify) / bench::median(bare));
  std::filesystem::remove_all(folder);
}
