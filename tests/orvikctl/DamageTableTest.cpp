#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "OrvikCore/Store/FileHasher.h"
#include "Platform/Locale/Text.h"
#include "tests/Support/SampleFolder.h"
#include "tests/Support/Tool.h"

// Every kind of file of a folder, damaged in every way: what the tool says, and how many records a reader
// still finds.

namespace {

using namespace orvik;
namespace files = platform::files;
using test::SampleFolder;

enum class Damage { flip, truncate, empty, remove, replaceByFolder };
using enum Damage;

void inflict(Damage damage, const files::Path& path) {
  auto bytes = files::read(path);
  switch (damage) {
    case flip:
      bytes.front() = static_cast<char>(bytes.front() ^ 1);
      return test::write(path, bytes);
    case truncate:
      return test::write(path, bytes.substr(0, bytes.size() - 3));
    case empty:
      return test::write(path, "");
    case remove:
      return files::remove(path);
    case replaceByFolder:
      files::remove(path);
      std::filesystem::create_directories(path / "below");
  }
}

/// A kind of file: where it stands in the sample, and how many of its records can be read.
struct Kind {
  std::function<files::Path(const SampleFolder&)> path;
  std::function<std::size_t(const SampleFolder&)> readable;
};

const Kind object{[](const SampleFolder& s) { return s.repository.store().objectURL(s.xml); },
                  [](const SampleFolder& s) -> std::size_t {
                    const auto store = s.repository.store();
                    try {
                      return store.isIntact(s.xml, store.stored(s.xml));
                    } catch (const files::FileError&) {
                      return 0;
                    }
                  }};
const Kind file{[](const SampleFolder& s) { return s.repository.store().fileURL(s.fileDigest); },
                [](const SampleFolder& s) -> std::size_t {
                  const auto store = s.repository.store();
                  return store.hasFile(s.fileDigest) &&
                         FileHasher::digests(store.fileURL(s.fileDigest)).sha256 == s.fileDigest;
                }};
const Kind index_{[](const SampleFolder& s) { return s.index(); },
                  [](const SampleFolder& s) -> std::size_t {
                    return s.repository.index(SampleFolder::backupID, "policies").has_value();
                  }};
const Kind manifest{
    [](const SampleFolder& s) { return s.manifest(); },
    [](const SampleFolder& s) -> std::size_t { return s.repository.completeBackups().size(); }};
const Kind journal{[](const SampleFolder& s) { return s.partial() / "journal.jsonl"; },
                   [](const SampleFolder& s) { return BackupJournal::read(s.partial()).size(); }};
const Kind state{
    [](const SampleFolder& s) { return s.partial() / "state.json"; },
    [](const SampleFolder& s) -> std::size_t { return PartialBackupState::load(s.partial()).has_value(); }};
const Kind audit{[](const SampleFolder& s) {
                   return s.repository.backupDirectory(SampleFolder::backupID) / "audit.jsonl";
                 },
                 [](const SampleFolder& s) {
                   return AuditLog::read(s.repository.backupDirectory(SampleFolder::backupID)).size();
                 }};
const Kind lock{
    [](const SampleFolder& s) { return s.folder / "backup.lock"; },
    [](const SampleFolder& s) -> std::size_t { return BackupLock::current(s.folder.path()).has_value(); }};
const Kind instance{
    [](const SampleFolder& s) { return s.folder / "instance.json"; },
    [](const SampleFolder& s) -> std::size_t { return s.repository.descriptor().has_value(); }};

struct Row {
  const char* name;
  const Kind& kind;
  Damage damage;
  std::size_t readable;  ///< records left
  const char* problem;   ///< the problem line of `verify`, without its mark; "" for none; nullptr: no backup
};

const char* const objectCorrupt = "policies/1: object <xml> corrupt";
const char* const objectMissing = "policies/1: object <xml> missing";
const char* const fileCorrupt = "file Tool.pkg: corrupt";
const char* const fileMissing = "file Tool.pkg: <file> missing";
const char* const indexMissing = "policies: index missing";

const Row rows[] = {
    {"ObjectFlipped", object, flip, 0, objectCorrupt},
    {"ObjectTruncated", object, truncate, 0, objectCorrupt},
    {"ObjectEmptied", object, empty, 0, objectCorrupt},
    {"ObjectDeleted", object, remove, 0, objectMissing},
    {"ObjectReplacedByAFolder", object, replaceByFolder, 0, objectMissing},
    {"FileFlipped", file, flip, 0, fileCorrupt},
    {"FileTruncated", file, truncate, 0, fileCorrupt},
    {"FileEmptied", file, empty, 0, fileCorrupt},
    {"FileDeleted", file, remove, 0, fileMissing},
    {"FileReplacedByAFolder", file, replaceByFolder, 0, fileMissing},
    {"IndexFlipped", index_, flip, 0, indexMissing},
    {"IndexTruncated", index_, truncate, 0, indexMissing},
    {"IndexEmptied", index_, empty, 0, indexMissing},
    {"IndexDeleted", index_, remove, 0, indexMissing},
    {"IndexReplacedByAFolder", index_, replaceByFolder, 0, indexMissing},
    {"ManifestFlipped", manifest, flip, 0, nullptr},
    {"ManifestTruncated", manifest, truncate, 0, nullptr},
    {"ManifestEmptied", manifest, empty, 0, nullptr},
    {"ManifestDeleted", manifest, remove, 0, nullptr},
    {"ManifestReplacedByAFolder", manifest, replaceByFolder, 0, nullptr},
    {"JournalFlipped", journal, flip, 1, ""},
    {"JournalTruncated", journal, truncate, 1, ""},
    {"JournalEmptied", journal, empty, 0, ""},
    {"JournalDeleted", journal, remove, 0, ""},
    {"JournalReplacedByAFolder", journal, replaceByFolder, 0, ""},
    {"StateFlipped", state, flip, 0, ""},
    {"StateTruncated", state, truncate, 0, ""},
    {"StateEmptied", state, empty, 0, ""},
    {"StateDeleted", state, remove, 0, ""},
    {"StateReplacedByAFolder", state, replaceByFolder, 0, ""},
    {"AuditFlipped", audit, flip, 1, ""},
    {"AuditTruncated", audit, truncate, 1, ""},
    {"AuditEmptied", audit, empty, 0, ""},
    {"AuditDeleted", audit, remove, 0, ""},
    {"AuditReplacedByAFolder", audit, replaceByFolder, 0, ""},
    {"LockFlipped", lock, flip, 0, ""},
    {"LockTruncated", lock, truncate, 0, ""},
    {"LockEmptied", lock, empty, 0, ""},
    {"LockDeleted", lock, remove, 0, ""},
    {"LockReplacedByAFolder", lock, replaceByFolder, 0, ""},
    {"InstanceFlipped", instance, flip, 0, ""},
    {"InstanceTruncated", instance, truncate, 0, ""},
    {"InstanceEmptied", instance, empty, 0, ""},
    {"InstanceDeleted", instance, remove, 0, ""},
    {"InstanceReplacedByAFolder", instance, replaceByFolder, 0, ""},
};

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  if (const auto at = text.find(from); at != std::string::npos) text.replace(at, from.size(), to);
  return text;
}

class DamagedFolder : public testing::TestWithParam<Row> {
 protected:
  void SetUp() override {
    before = GetParam().kind.readable(sample);
    inflict(GetParam().damage, GetParam().kind.path(sample));
  }
  std::string path() const { return sample.folder.path().string(); }

  SampleFolder sample;
  std::size_t before = 0;
};

TEST_P(DamagedFolder, ReadersFindNoMoreThanIsWhole) {
  EXPECT_GT(before, GetParam().readable);
  EXPECT_EQ(GetParam().kind.readable(sample), GetParam().readable);
}

TEST_P(DamagedFolder, VerifySaysWhatIsWrong) {
  const auto result = test::runTool({"verify", path()});
  if (GetParam().problem == nullptr) {
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "orvikctl: no such backup\n");
    return;
  }
  const auto problem =
      replaced(replaced(GetParam().problem, "<xml>", sample.xml), "<file>", sample.fileDigest);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.status, problem.empty() ? 0 : 1);
  EXPECT_EQ(result.out, problem.empty() ? "✓ 2025-03-04T091500Z: 4 objects and files intact\n"
                                        : "✗ " + problem + "\n1 problem(s) in 2025-03-04T091500Z\n");
}

TEST_P(DamagedFolder, ListShowsWhatIsLeft) {
  const auto result = test::runTool({"list", path()});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  const std::string complete =
      "2025-03-04T091500Z  complete  2 objects (1 new/changed)  1 files  Jamf Pro 11.15.1\n";
  EXPECT_EQ(result.out, (GetParam().problem == nullptr ? "" : complete) +
                            "2025-03-05T091500Z  interrupted (resumes on the next run)\ndisk usage: " +
                            platform::locale::byteCount(sample.repository.diskUsage()) + "\n");
}

INSTANTIATE_TEST_SUITE_P(Rows, DamagedFolder, testing::ValuesIn(rows),
                         [](const auto& row) { return row.param.name; });

}  // namespace
