#include <gtest/gtest.h>

#include <string>

#include "OrvikCore/Store/GarbageCollection.h"
#include "tests/Support/Faults.h"
#include "tests/Support/Packs.h"
#include "tests/Support/SmallBackups.h"

// The disk breaks, or the process is killed, at every single operation of what makes a folder smaller: every
// backup that is left stays whole, and the next pass finishes the work.

namespace {

using namespace orvik;
using test::Ended;
using test::FaultTrial;
namespace files = platform::files;

constexpr const char* older = "2025-03-04T091500Z";
constexpr const char* newer = "2025-03-05T091500Z";

std::string textOf(const std::string& name) { return "\"" + name + std::string(40, 'x') + "\""; }
std::string hashOf(const std::string& name) { return ObjectStore::sha256(textOf(name)); }

/// Two backups over loose objects and three packs: one to be rewritten, one to be deleted, one to stay.
void prepare(const BackupRepository& repository) {
  const auto store = repository.store();
  for (const auto* name : {"loose of both", "loose of the older", "loose garbage"}) store.put(textOf(name));
  const auto pack = [&](const std::string& name, const std::vector<std::string>& objects) {
    std::vector<std::pair<std::string, std::string>> entries;
    for (const auto& object : objects) entries.emplace_back(hashOf(object), textOf(object));
    test::writePack(repository.instanceDirectory, name, entries);
  };
  pack("mixed", {"packed of both", "packed garbage 1", "packed garbage 2"});
  pack("dead", {"packed garbage 3"});
  pack("live", {"packed of the older", "packed of the newer"});
  test::writeBackup(repository, older,
                    {hashOf("loose of both"), hashOf("loose of the older"), hashOf("packed of both"),
                     hashOf("packed of the older")});
  test::writeBackup(repository, newer,
                    {hashOf("loose of both"), hashOf("packed of both"), hashOf("packed of the newer")});
}

void expectEveryBackupWhole(const BackupRepository& repository) {
  PackCache::shared().invalidate(repository.store().packsDirectory());
  for (const auto& backup : repository.completeBackups())
    EXPECT_EQ(test::problemsOf(repository, backup.id), 0U) << backup.id;
  EXPECT_TRUE(repository.manifest(newer)) << "the newest backup never goes";
}

/// Nothing that no backup refers to can be found any more, and nothing is left to do.
void expectCollected(const BackupRepository& repository) {
  EXPECT_NO_THROW(repository.collectGarbage());
  for (const auto* name : {"loose garbage", "packed garbage 1", "packed garbage 2", "packed garbage 3"})
    EXPECT_FALSE(repository.store().has(hashOf(name), ObjectStore::IncludingOverlay::no)) << name;
  EXPECT_EQ(repository.collectGarbage(), CleanupResult());
  expectEveryBackupWhole(repository);
}

TEST(MaintenanceFault, ACollectionThatIsBrokenOffCostsNothingAndTheNextFinishes) {
  test::atEveryDiskOperation([](const files::Path& folder) {
    const BackupRepository repository(folder);
    return FaultTrial{[repository] { prepare(repository); }, [repository] { repository.collectGarbage(); },
                      [repository](Ended) {
                        expectEveryBackupWhole(repository);
                        expectCollected(repository);
                        EXPECT_EQ(PackStore::indexNames(repository.store().packsDirectory()).size(), 2U);
                      }};
  });
}

TEST(MaintenanceFault, APackingThatIsBrokenOffCostsNothingAndTheNextFinishes) {
  test::atEveryDiskOperation([](const files::Path& folder) {
    const BackupRepository repository(folder);
    return FaultTrial{[repository] { prepare(repository); }, [repository] { repository.packLooseObjects(); },
                      [repository](Ended) {
                        expectEveryBackupWhole(repository);
                        EXPECT_NO_THROW(repository.packLooseObjects());
                        EXPECT_TRUE(PackStore::looseObjects(repository.instanceDirectory).empty());
                        // What was packed before the end came is not packed a second time.
                        EXPECT_EQ(PackStore::indexNames(repository.store().packsDirectory()).size(), 4U);
                        EXPECT_NO_THROW(repository.collectGarbage());
                        expectEveryBackupWhole(repository);
                      }};
  });
}

TEST(MaintenanceFault, ARetentionThatIsBrokenOffCostsNothingAndTheNextFinishes) {
  test::atEveryDiskOperation([](const files::Path& folder) {
    const BackupRepository repository(folder);
    const auto now = test::date("2025-06-01T00:00:00Z");
    return FaultTrial{[repository] { prepare(repository); },
                      [repository, now] { repository.applyRetention(1, 0, now); },
                      [repository, now](Ended) {
                        expectEveryBackupWhole(repository);
                        EXPECT_NO_THROW(repository.applyRetention(1, 0, now));
                        EXPECT_EQ(files::list(repository.backupsDirectory()).size(), 1U);
                        expectCollected(repository);
                      }};
  });
}

}  // namespace
