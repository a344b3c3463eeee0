#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "OrvikCore/Format/BackupEngineError.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/BackupLock.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "tests/Support/Faults.h"
#include "tests/Support/Folders.h"
#include "tests/Support/SampleRecords.h"

// The disk breaks at every single operation of what writes to a folder: what is left is absent, or complete
// and intact.

namespace {

using namespace orvik;
using test::Ended;
using test::FaultTrial;
namespace files = platform::files;

const std::string document = "{\"a\":[1,2,3]}";
const std::string canonicalText = "{\n  \"a\" : [\n    1,\n    2,\n    3\n  ]\n}";

TEST(DiskFault, AnObjectIsAbsentOrWholeAndCanBePutAgain) {
  test::atEveryDiskOperation([](const files::Path& folder) {
    const ObjectStore store{folder, {}, {}};
    return FaultTrial{[] {}, [store] { store.put(document); },
                      [store](Ended ended) {
                        const auto name = ObjectStore::sha256(canonicalText);
                        const bool there = store.has(name, ObjectStore::IncludingOverlay::no);
                        if (ended == Ended::whole) {
                          EXPECT_TRUE(there);
                        }
                        if (ended == Ended::failed) {
                          EXPECT_FALSE(there);
                        }
                        if (there) {
                          EXPECT_TRUE(store.isIntact(name, store.stored(name)));
                        }
                        EXPECT_EQ(test::visibleContentOf(store.instanceDirectory).size(), there ? 1U : 0U);
                        EXPECT_EQ(store.put(document), name);
                        EXPECT_EQ(store.object(name), canonicalText);
                      }};
  });
}

TEST(DiskFault, AFailedPutLeavesTheStoreAsItWas) {
  const files::TempFolder folder;
  const ObjectStore store{folder.path(), {}, {}};
  store.put("[]");
  const auto before = test::contentOf(folder.path());
  for (std::uint64_t n = 1; n < 4; ++n) {
    files::armFaultSeam(n, files::FaultAction::fail, ENOSPC);
    EXPECT_THROW(store.put(document), files::FileError) << n;
    files::disarmFaultSeam();
    EXPECT_EQ(test::contentOf(folder.path()), before) << "at operation " << n;
  }
}

TEST(DiskFault, APackageIsInItsPlaceOrStillADownload) {
  test::atEveryDiskOperation([](const files::Path& folder) {
    const ObjectStore store{folder, {}, {}};
    const auto digest = ObjectStore::sha256("package");
    const auto source = store.downloadsDirectory() / "1";
    return FaultTrial{[=] { test::write(source, "package"); }, [=] { store.adoptFile(source, digest); },
                      [=](Ended ended) {
                        EXPECT_NE(store.hasFile(digest), files::exists(source));
                        if (ended != Ended::stopped) {
                          EXPECT_EQ(store.hasFile(digest), ended == Ended::whole);
                        }
                        if (!store.hasFile(digest)) store.adoptFile(source, digest);
                        EXPECT_EQ(files::read(store.fileURL(digest)), "package");
                      }};
  });
}

TEST(DiskFault, ADownloadOfKnownBytesNeverCostsTheStoredFile) {
  test::atEveryDiskOperation([](const files::Path& folder) {
    const ObjectStore store{folder, {}, {}};
    const auto digest = ObjectStore::sha256("package");
    const auto source = store.downloadsDirectory() / "1";
    return FaultTrial{[=] {
                        test::write(store.fileURL(digest), "package");
                        test::write(source, "package");
                      },
                      [=] { store.adoptFile(source, digest); },
                      [=](Ended ended) {
                        EXPECT_EQ(files::read(store.fileURL(digest)), "package");
                        if (ended == Ended::failed) {
                          EXPECT_TRUE(files::exists(source));
                        }
                        if (ended == Ended::whole) {
                          EXPECT_FALSE(files::exists(source));
                        }
                      }};
  });
}

TEST(DiskFault, AnIndexIsTheOldOrTheNewOne) {
  test::atEveryDiskOperation([](const files::Path& folder) {
    const auto path = folder / BackupFormat::sectionPath("s");
    auto renewed = test::emptyIndex("s");
    renewed.items.push_back(test::itemWithID("1"));
    return FaultTrial{[=] { BackupRepository::writeIndex(test::emptyIndex("s"), path, std::nullopt); },
                      [=] { BackupRepository::writeIndex(renewed, path, std::nullopt); },
                      [=](Ended ended) {
                        const auto index = BackupRepository::loadIndex(folder, "s", std::nullopt);
                        ASSERT_TRUE(index);
                        EXPECT_TRUE(*index == renewed || *index == test::emptyIndex("s"));
                        if (ended == Ended::whole) {
                          EXPECT_EQ(*index, renewed);
                        }
                        if (ended == Ended::failed) {
                          EXPECT_EQ(*index, test::emptyIndex("s"));
                        }
                      }};
  });
}

const platform::Date now = test::date("2025-03-04T09:15:00Z");

/// Whoever died or failed while it took, renewed or gave up the lock: the next one gets it.
void expectFree(const files::Path& folder) {
  try {
    const auto holder = BackupLock::acquire(folder, "0.1.0", now);
    EXPECT_EQ(BackupLock::current(folder), holder->lock());
  } catch (const BackupEngineError& error) {
    ADD_FAILURE() << error.description();
  }
}

TEST(DiskFault, ALockThatCouldNotBeTakenBlocksNobody) {
  test::atEveryDiskOperation([](const files::Path& folder) {
    const auto held = std::make_shared<std::unique_ptr<BackupLock::Holder>>();
    return FaultTrial{[] {}, [=] { *held = BackupLock::acquire(folder, "0.1.0", now); },
                      [=](Ended ended) {
                        if (ended == Ended::failed) {
                          EXPECT_FALSE(BackupLock::current(folder));
                        }
                        held->reset();
                        expectFree(folder);
                      }};
  });
}

TEST(DiskFault, ALockThatWasRenewedIsTheOldOrTheNewRecord) {
  test::atEveryDiskOperation([](const files::Path& folder) {
    const auto held = std::make_shared<std::unique_ptr<BackupLock::Holder>>();
    return FaultTrial{[=] { *held = BackupLock::acquire(folder, "0.1.0", now); }, [=] { (*held)->refresh(); },
                      [=](Ended) {
                        const auto lock = BackupLock::current(folder);
                        ASSERT_TRUE(lock);
                        EXPECT_TRUE((*held)->lock().isSameHolder(*lock));
                        held->reset();
                        expectFree(folder);
                      }};
  });
}

TEST(DiskFault, ALockThatCouldNotBeGivenUpIsStale) {
  test::atEveryDiskOperation([](const files::Path& folder) {
    return FaultTrial{[] {}, [=] { BackupLock::acquire(folder, "0.1.0", now)->release(); },
                      [=](Ended) { expectFree(folder); }};
  });
}

TEST(DiskFault, ARunsStateIsTheOldOrTheNewOne) {
  test::atEveryDiskOperation([](const files::Path& folder) {
    const PartialBackupState before{"1", now, {}, test::plainOptions(), 1, false};
    auto after = before;
    after.requests = 2;
    return FaultTrial{[=] { before.save(folder); }, [=] { after.save(folder); },
                      [=](Ended ended) {
                        const auto state = PartialBackupState::load(folder);
                        ASSERT_TRUE(state);
                        EXPECT_TRUE(*state == before || *state == after);
                        if (ended != Ended::stopped) {
                          EXPECT_EQ(*state, ended == Ended::whole ? after : before);
                        }
                      }};
  });
}

TEST(DiskFault, AJournalLosesAtMostItsLastEntry) {
  test::atEveryDiskOperation([](const files::Path& folder) {
    return FaultTrial{[=] { BackupJournal(folder).append(test::journalEntry("s", "1")); },
                      [=] {
                        BackupJournal journal(folder);
                        journal.append(test::journalEntry("s", "2"));
                        journal.close();
                      },
                      [=](Ended ended) {
                        auto entries = BackupJournal::read(folder);
                        ASSERT_GE(entries.size(), ended == Ended::whole ? 2U : 1U);
                        EXPECT_EQ(entries[0], test::journalEntry("s", "1"));
                        BackupJournal(folder).append(test::journalEntry("s", "3"));
                        EXPECT_EQ(BackupJournal::read(folder).back(), test::journalEntry("s", "3"));
                      }};
  });
}

}  // namespace
