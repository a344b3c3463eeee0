#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/BackupLock.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "OrvikCore/Store/PackCache.h"
#include "OrvikCore/Store/PackStore.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"
#include "TuvCore/Locked.h"
#include "tests/Support/RunningProgram.h"
#include "tests/Support/SampleRecords.h"

// Readers in processes of their own, while others pack and collect what they read.

namespace orvik::test {
namespace {

namespace files = platform::files;
using platform::MonotonicClock;

std::chrono::seconds duration() {
  const char* value = std::getenv("ORVIK_SHORT");
  return std::chrono::seconds(value != nullptr && *value == '1' ? 4 : 60);
}

/// A folder that writers keep moving. Backups that were added for good stay; the others come and go, so that
/// packs hold enough garbage to be written anew, and what the lasting ones refer to moves from file to pack
/// and from pack to pack.
class MovingFolder {
 public:
  MovingFolder() { repository.writeDescriptor(instanceNamed("North")); }

  platform::files::TempFolder folder{"orvik-race"};
  BackupRepository repository{folder.path()};

  /// A backup of so many objects of its own, and of some that others have too.
  std::string add(int objects) {
    const auto lock = BackupLock::acquire(folder.path(), "test", platform::now());
    const auto store = repository.store();
    PackCache::shared().invalidate(store.packsDirectory());  // packs went since this process looked
    auto index = emptyIndex("policies");
    const auto id = BackupFormat::backupID(date("2025-03-04T09:15:00Z") + std::chrono::seconds(++backups_));
    for (int i = 0; i < objects; ++i) {
      auto item = itemWithID(std::to_string(i));
      item.objects["json"] = store.put(record(i < objects / 4 ? "all" : id, i));
      index.items.push_back(std::move(item));
    }
    const auto partial = repository.partialDirectory(id);
    BackupRepository::writeIndex(index, partial / BackupFormat::sectionPath("policies"), std::nullopt);
    auto manifest = plainManifest(id);
    manifest.sections = {summaryOf("policies")};
    ObjectStore::atomicWrite(BackupFormat::makeEncoder().encode(manifest),
                             partial / BackupFormat::manifestFile);
    files::renameWithoutReplacing(partial, repository.backupDirectory(id));
    return id;
  }

  /// Without collecting, so that `gc` has something to do.
  void remove(const std::string& id) {
    const auto lock = BackupLock::acquire(folder.path(), "test", platform::now());
    files::removeTree(repository.backupDirectory(id));
  }

 private:
  static std::string record(const std::string& owner, int number) {
    return "{\"id\":" + std::to_string(number) + ",\"name\":\"" + owner + "\",\"text\":\"" +
           std::string(static_cast<std::size_t>(200 + 37 * number), 'x') + "\"}";
  }

  int backups_ = 0;
};

ProgramEnd orvikctl(const std::vector<std::string>& arguments) {
  ProgramStart start;
  start.arguments = arguments;
  start.arguments.insert(start.arguments.begin(), std::string(ORVIK_PROGRAM_FOLDER) + "/orvikctl");
  start.environment = {{"LANG", "C.UTF-8"}};
  return runToEnd(start);
}

/// Verifies the lasting backups again and again, the newest ones more often, since their objects move most.
void readAll(const MovingFolder& folder, const tuv::Locked<std::vector<std::string>>& lasting,
             std::atomic<int>& verified, unsigned seed, const std::stop_token& stop) {
  std::mt19937 random(seed);
  while (!stop.stop_requested() && !testing::Test::HasFailure()) {
    const auto ids = lasting.value();
    const auto newest = std::min<std::size_t>(ids.size(), 4);
    const auto place = random() % 2 == 0 ? ids.size() - 1 - random() % newest : random() % ids.size();
    const auto end = orvikctl({"verify", folder.folder.path().string(), ids[place]});
    EXPECT_EQ(end.status, 0) << ids[place] << ": " << end.output << end.error;
    ++verified;
  }
}

TEST(PackRace, NoReaderMissesAnObjectWhileOthersPackAndCollect) {
  MovingFolder moving;
  const auto path = moving.folder.path().string();
  tuv::Locked<std::vector<std::string>> lasting;
  lasting.setValue({moving.add(20), moving.add(20)});
  std::vector<std::string> passing;
  std::atomic<int> verified = 0;
  int packed = 0;
  std::set<std::string> rewritten;

  std::vector<std::jthread> readers;
  for (unsigned seed = 1; seed <= 2; ++seed)
    readers.emplace_back(
        [&, seed](const std::stop_token& stop) { readAll(moving, lasting, verified, seed, stop); });

  // Writers exclude each other through the folder's lock, which is no atomic test: they take turns here, so
  // that none of them finds it taken. Readers know of no turns.
  std::mt19937 random(7);
  const auto end = MonotonicClock::now() + duration();
  while (MonotonicClock::now() < end && !HasFailure()) {
    for (int i = 0; i < 2; ++i) passing.push_back(moving.add(20));
    const auto id = moving.add(20);
    lasting.withLock([&](auto& ids) { ids.push_back(id); });
    if (random() % 4 != 0) {
      const auto pack = orvikctl({"pack", path});
      EXPECT_EQ(pack.status, 0) << pack.output << pack.error;
      packed += pack.output.starts_with("packed ") ? 1 : 0;
    }
    while (passing.size() > random() % 3) {
      moving.remove(passing.front());
      passing.erase(passing.begin());
    }
    const auto gc = orvikctl({"gc", path});
    EXPECT_EQ(gc.status, 0) << gc.output << gc.error;
    // A pack that was written anew has two random parts in its name.
    for (const auto& name : PackStore::indexNames(moving.repository.store().packsDirectory()))
      if (std::ranges::count(name, '-') > 1) rewritten.insert(name);
  }
  readers.clear();

  EXPECT_GT(verified, 10);
  EXPECT_GT(packed, 1);
  EXPECT_GT(rewritten.size(), 1U);
  for (const auto& id : lasting.value()) {
    const auto verify = orvikctl({"verify", path, id});
    EXPECT_EQ(verify.status, 0) << verify.output;
  }
  RecordProperty("verifications", verified.load());
  RecordProperty("packings", packed);
  RecordProperty("rewritings", static_cast<int>(rewritten.size()));
}

}  // namespace
}  // namespace orvik::test
