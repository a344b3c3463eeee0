#include "OrvikCore/Care/RecordsExam.h"

#include <fmt/format.h>

#include "OrvikCore/Care/Clock.h"
#include "OrvikCore/Care/KeyRecord.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Store/BackupLock.h"
#include "Platform/Files/Files.h"

namespace orvik {

namespace {

namespace files = platform::files;
using Kind = Finding::Kind;

class Records {
 public:
  Records(const BackupRepository& repository, bool hasKey, platform::Date now)
      : repository_(repository), root_(repository.instanceDirectory), hasKey_(hasKey), now_(now) {}

  std::vector<Finding> look() {
    lookAtInstance();
    lookAtKeyRecord();
    lookAtLock();
    return std::move(findings_);
  }

 private:
  void add(Kind kind, std::string_view path, std::string text) {
    findings_.push_back({kind, std::string(path), std::move(text), {}, {}});
  }
  bool exists(std::string_view file) const { return files::exists(root_ / file); }

  void lookAtInstance() {
    if (repository_.descriptor()) return;
    add(Kind::instanceUnreadable, BackupFormat::instanceFile,
        exists(BackupFormat::instanceFile)
            ? "The file that says whose backups these are can't be read. The next backup writes it anew."
            : "The file that says whose backups these are is missing. The next backup writes it anew.");
  }

  void lookAtKeyRecord() {
    constexpr auto file = BackupFormat::encryptionFile;
    if (BackupEncryption::isEncrypted(root_)) {
      if (!hasKey_)
        add(Kind::keyMissing, file,
            "No key at hand opens the folder, so nobody looked into what is sealed. A key in a file is named "
            "with --key FILE.");
      return;
    }
    if (exists(file))
      add(Kind::keyRecordUnreadable, file,
          "The key record can't be read. Without it nothing that is sealed can be opened.");
    else if (KeyRecord::hasSealedContent(repository_))
      add(Kind::keyRecordMissing, file,
          "The key record is missing. Without it nothing that is sealed can be opened.");
  }

  void lookAtLock() {
    constexpr auto file = BackupFormat::lockFile;
    if (!exists(file)) return;
    const auto lock = BackupLock::current(root_);
    if (!lock) {
      if (exists(file))
        add(Kind::lockUnreadable, file,
            "The lock can't be read. It holds nobody up; the next writer takes its place.");
    } else if (lock->heartbeat > now_ + clockTolerance) {
      add(Kind::lockAhead, file,
          fmt::format(
              "The lock of {} was renewed at {}, which lies in the future, so that it can't grow stale "
              "before. When its holder is gone, orvik lock unlock removes it.",
              lock->holderText(), platform::iso8601(lock->heartbeat)));
    } else if (lock->isStale(now_)) {
      add(Kind::lockStale, file,
          fmt::format("The lock of {} is void: its holder is gone. The next writer takes its place.",
                      lock->holderText()));
    }
  }

  const BackupRepository& repository_;
  const std::filesystem::path& root_;
  const bool hasKey_;
  const platform::Date now_;
  std::vector<Finding> findings_;
};

}  // namespace

std::vector<Finding> examineRecords(const BackupRepository& repository, bool hasKey, platform::Date now) {
  return Records(repository, hasKey, now).look();
}

}  // namespace orvik
