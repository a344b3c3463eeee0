#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "OrvikCore/Care/Repair.h"
#include "OrvikCore/Jamf/SectionCatalog.h"
#include "OrvikCore/Store/PackStore.h"
#include "tests/Support/CheckedFolder.h"
#include "tests/Support/ServerRun.h"

namespace orvik {
namespace {

using test::CheckedFolder;
using testing::IsEmpty;
using testing::Not;
namespace files = platform::files;

/// Whole backups of a real server into a folder that is damaged between them.
struct RepairedRun : testing::Test {
  test::ServerRun run;
  const platform::UUID instanceID = platform::UUID::random();
  bool packs = true;

  BackupManifest backUp() {
    auto job = run.job();
    job.instance.id = instanceID;
    job.packLooseObjects = packs;
    job.options.maxRequestsPerSecond = 0;
    const std::set<std::string> wanted{"buildings", "policies",           "computers",   "packages",
                                       "jcdsFiles", "distributionPoints", "packageFiles"};
    for (const auto& row : SectionCatalog::all())
      if (!wanted.contains(std::string(row.id))) job.options.disabledSections.insert(std::string(row.id));
    return BackupEngine(job).run(ResumeInterrupted::yes, {}, {});
  }
  FolderCheck check() const {
    PackCache::shared().invalidate(packsFolder());
    return checkFolder(run.repository(), {}, Reading::everything(), platform::now());
  }
  std::vector<std::string> damage() const { return CheckedFolder::kinds(check()); }
  RepairResult repair() const {
    return carryOut(planRepair(run.repository(), check(), {}, {}), run.repository(), {}, platform::now())
        .result;
  }
  files::Path packsFolder() const { return run.repository().store().packsDirectory(); }
  files::Path packFile(const std::string& suffix) const {
    for (const auto& name : files::visibleNames(packsFolder()))
      if (name.ends_with(suffix)) return packsFolder() / name;
    return {};
  }
  /// A stored object of a section's first item.
  std::string objectOf(const BackupManifest& manifest, const std::string& section) const {
    return run.repository().index(manifest.backupID, section)->items.at(0).objects.begin()->second;
  }
  files::Path packageFile(const BackupManifest& manifest) const {
    const auto index = run.repository().index(manifest.backupID, "packageFiles").value();
    for (const auto& item : index.items)
      if (item.file && item.file->sha256) return run.repository().store().fileURL(*item.file->sha256);
    return {};
  }
};

TEST_F(RepairedRun, DamageInAPackAndInAPackageFileIsHealedByTheNextBackup) {
  const auto first = backUp();
  ASSERT_THAT(damage(), IsEmpty());
  const auto index = PackStore::readIndex(packFile(".idx")).value();
  for (const char* section : {"policies", "computers"}) {
    const auto range = *index.objects.find(*ObjectKey::parse(objectOf(first, section)));
    test::flipByte(packFile(".pack"), range.offset + range.length / 2);
  }
  test::flipByte(packageFile(first), 100);
  EXPECT_THAT(damage(), testing::ElementsAre("fileDamaged", "objectDamaged", "packDamaged"));

  backUp();
  EXPECT_THAT(damage(), Not(IsEmpty())) << "a backup alone trusts what is there";
  const auto result = repair();
  EXPECT_EQ(result.packsRewritten, 1);
  EXPECT_EQ(result.entriesDropped, 2);
  EXPECT_EQ(result.filesMoved, 3);
  backUp();
  EXPECT_THAT(damage(), IsEmpty()) << "in the older backups neither";
}

TEST_F(RepairedRun, DamagedSingleObjectsAreHealedByTheNextBackup) {
  packs = false;
  const auto first = backUp();
  test::flipByte(run.repository().store().objectURL(objectOf(first, "policies")), 10);
  test::write(run.repository().store().objectURL(objectOf(first, "computers")), "");
  test::write(packageFile(first), "");
  EXPECT_EQ(repair().filesMoved, 3);
  backUp();
  EXPECT_THAT(damage(), IsEmpty());
}

TEST_F(RepairedRun, ALostIndexOfAPackNeedsNoBackupToComeBack) {
  backUp();
  const auto index = PackStore::readIndex(packFile(".idx"));
  files::remove(packFile(".idx"));
  EXPECT_EQ(repair().indexesRebuilt, 1);
  EXPECT_EQ(PackStore::readIndex(packFile(".idx")), index) << "every object of a real server is found";
  EXPECT_THAT(damage(), IsEmpty());
}

TEST_F(RepairedRun, ALostPackIsHealedByTheNextBackup) {
  backUp();
  files::remove(packFile(".pack"));
  repair();
  backUp();
  EXPECT_THAT(damage(), IsEmpty());
}

}  // namespace
}  // namespace orvik
