// A sealed folder beside a plain one with the same objects: `put` of all of them into a new store, and
// `verify`, as ratios of times. Alternating; medians. Usage: SealedBench [folder] [fleet] [rounds]
#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "OrvikCore/Engine/BackupEngine.h"
#include "OrvikCore/Security/InMemoryKeyProvider.h"
#include "OrvikCore/Store/BackupVerifier.h"
#include "bench/Measure.h"
#include "bench/RunOfServer.h"
#include "bench/ServerProcess.h"

using namespace orvik;

namespace {

struct Folder {
  BackupRepository repository;
  BackupRepository::Backup backup;
};

Folder runInto(const bench::ServerProcess& server, const std::filesystem::path& root, bool sealed) {
  auto job = bench::jobFor(server, root, 32);
  job.encrypt = sealed;
  job.encryptionKeys =
      std::make_shared<InMemoryKeyProvider>(std::vector{platform::P256PrivateKey::generate()});
  const auto manifest = BackupEngine(std::move(job)).run(ResumeInterrupted::no, {});
  return {BackupRepository(root), {manifest.backupID, manifest}};
}

std::vector<platform::Bytes> objectsOf(const Folder& folder) {
  std::vector<platform::Bytes> objects;
  const auto store = folder.repository.store();
  for (const auto& section : folder.backup.manifest.sections)
    if (const auto index = folder.repository.index(folder.backup.id, section.id))
      for (const auto& item : index->items)
        for (const auto& [variant, hash] : item.objects) objects.push_back(store.object(hash));
  return objects;
}

double putSeconds(const std::vector<platform::Bytes>& objects, const std::filesystem::path& folder,
                  const std::optional<BackupCipher>& cipher) {
  const ObjectStore store{folder, {}, cipher};
  const double seconds = bench::secondsOf([&] {
    for (const auto& object : objects) store.put(object);
  });
  std::filesystem::remove_all(folder);
  return seconds;
}

double verifySeconds(const Folder& folder, std::size_t objects) {
  VerifyResult result;
  const double seconds = bench::secondsOf(
      [&] { result = verifyBackup(folder.repository, folder.backup, [](const std::string&) {}); });
  if (result.problems != 0 || result.checked != objects) {
    fmt::print(stderr, "SealedBench: {} of {} objects checked, {} problems\n", result.checked, objects,
               result.problems);
    std::exit(EXIT_FAILURE);
  }
  return seconds;
}

void report(const char* what, const std::vector<double>& plain, const std::vector<double>& sealed,
            double bound) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < plain.size(); ++i) ratios.push_back(sealed[i] / plain[i]);
  fmt::print("{}: plain {:.3f} s, sealed {:.3f} s: {:.2f} times (at most {})\n", what, bench::median(plain),
             bench::median(sealed), bench::median(ratios), bound);
}

}  // namespace

int main(int count, char** arguments) {
  const std::filesystem::path parent = count > 1 ? arguments[1] : "/tmp";
  const std::string fleet = count > 2 ? arguments[2] : "enterprise";
  const int rounds = count > 3 ? std::atoi(arguments[3]) : 9;
  const bench::ServerProcess server(fleet == "enterprise" ? sample::FleetSize::enterprise
                                                          : sample::FleetSize::school);
  const auto folder = parent / fmt::format("orvik-sealed-{}", getpid());

  const auto plain = runInto(server, folder / "plain", false);
  const auto sealed = runInto(server, folder / "sealed", true);
  const auto cipher = sealed.repository.cipher();
  const auto objects = objectsOf(plain);
  if (!cipher || !sealed.backup.manifest.encryption || objectsOf(sealed) != objects) {
    fmt::print(stderr, "SealedBench: the folders don't hold the same objects, plain and sealed\n");
    return EXIT_FAILURE;
  }

  std::size_t bytes = 0;
  for (const auto& object : objects) bytes += object.size();
  std::vector<double> putPlain, putSealed, verifyPlain, verifySealed;
  for (int i = 0; i < rounds; ++i) {
    putPlain.push_back(putSeconds(objects, folder / "put", {}));
    putSealed.push_back(putSeconds(objects, folder / "put", cipher));
    verifyPlain.push_back(verifySeconds(plain, objects.size()));
    verifySealed.push_back(verifySeconds(sealed, objects.size()));
  }
  fmt::print("{} objects, {} bytes on average\n", objects.size(), bytes / objects.size());
  report("put", putPlain, putSealed, 1.2);
  report("verify", verifyPlain, verifySealed, 1.6);
  std::filesystem::remove_all(folder);
}
