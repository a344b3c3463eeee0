#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "OrvikCore/Format/BackupEngineError.h"
#include "OrvikCore/Store/AuditLog.h"
#include "OrvikCore/Store/BackupJournal.h"
#include "OrvikCore/Store/BackupLock.h"
#include "OrvikCore/Store/ObjectStore.h"
#include "tests/Support/Folders.h"
#include "tests/Support/SampleRecords.h"
#include "tests/Support/TestKeys.h"

namespace {

using namespace orvik;
namespace files = platform::files;

constexpr int threadCount = 8;

/// Runs `body(thread)` on eight threads that begin together.
void together(const std::function<void(int)>& body) {
  std::atomic<int> waiting{threadCount};
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < threadCount; ++thread)
    threads.emplace_back([&, thread] {
      --waiting;
      while (waiting > 0) std::this_thread::yield();
      body(thread);
    });
}

std::string documentOf(int i) {
  return "{\"n\":" + std::to_string(i) + ",\"text\":\"" + std::string(500, 'x') + "\"}";
}

void expectAllPutOnce(const ObjectStore& store) {
  constexpr int objects = 200;
  std::vector<std::vector<std::string>> names(threadCount, std::vector<std::string>(objects));
  together([&](int thread) {
    for (int i = 0; i < objects; ++i) names[thread][i] = store.put(documentOf(i));
  });
  for (const auto& list : names) EXPECT_EQ(list, names.front());
  EXPECT_EQ(test::contentOf(store.instanceDirectory).size(), std::size_t{objects});
  for (const auto& name : names.front()) EXPECT_TRUE(store.isIntact(name, store.stored(name)));
}

TEST(Concurrency, EightThreadsPutTheSameObjects) {
  const files::TempFolder folder;
  expectAllPutOnce({folder.path(), {}, {}});
}

TEST(Concurrency, EightThreadsPutTheSameSealedObjects) {
  const files::TempFolder folder;
  expectAllPutOnce({folder.path(), {}, test::cipherOf()});
}

TEST(Concurrency, JournalLinesOfEightThreadsStayWholeAndInEachThreadsOrder) {
  constexpr int entries = 100;
  const files::TempFolder folder;
  BackupJournal journal(folder.path());
  together([&](int thread) {
    for (int i = 0; i < entries; ++i) {
      auto entry = test::journalEntry(std::to_string(thread), std::to_string(i));
      entry.item.name = std::string(static_cast<std::size_t>(i) * 37, 'x');
      journal.append(entry);
      if (thread == 0 && i % 25 == 0) journal.close();
    }
  });
  std::vector<int> next(threadCount);
  const auto read = BackupJournal::read(folder.path());
  ASSERT_EQ(read.size(), std::size_t{threadCount * entries});
  for (const auto& entry : read)
    EXPECT_EQ(entry.item.id, std::to_string(next.at(static_cast<std::size_t>(std::stoi(entry.section)))++));
}

TEST(Concurrency, AuditLinesOfEightThreadsStayWhole) {
  constexpr int entries = 100;
  const files::TempFolder folder;
  AuditLog log(folder.path());
  together([&](int thread) {
    for (int i = 0; i < entries; ++i) {
      log.record(test::auditEntry(std::to_string(thread) + "/" + std::to_string(i)));
      if (i % 25 == 0) {
        EXPECT_GT(log.tally().at("request.ok"), 0);
      }
    }
  });
  std::set<std::string> targets;
  for (const auto& entry : AuditLog::read(folder.path())) targets.insert(entry.target);
  EXPECT_EQ(targets.size(), std::size_t{threadCount * entries});
  EXPECT_EQ(log.tally(), (std::map<std::string, int>{{"request.ok", threadCount * entries}}));
}

TEST(Concurrency, RefreshNeverBringsAReleasedLockBack) {
  const files::TempFolder folder;
  for (int round = 0; round < 20; ++round) {
    const auto holder = BackupLock::acquire(folder.path(), "0.1.0", platform::now());
    together([&](int thread) { thread == 3 ? holder->release() : holder->refresh(); });
    EXPECT_FALSE(files::exists(folder / "backup.lock"));
  }
}

}  // namespace
