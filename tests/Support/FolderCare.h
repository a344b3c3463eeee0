#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <chrono>
#include <memory>
#include <string>

#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Security/InMemoryKeyProvider.h"
#include "tests/Support/FolderHost.h"
#include "tests/Support/OrganisationFiles.h"

namespace orvik::test {

/// The real program on a folder with backups, garbage and what a crash left, as a test makes them.
class FolderCare : public FolderHost {
 protected:
  /// An object that no backup refers to.
  std::string addGarbage() const { return store().put("{\"garbage\":true}"); }
  ObjectStore store() const { return sample.repository.store(); }
  bool has(const std::string& hash) const { return platform::files::exists(store().objectURL(hash)); }

  ProgramEnd command(const std::string& name, const Arguments& more) const {
    return run(arguments(name, more));
  }
  Arguments arguments(const std::string& name, const Arguments& more = {}) const {
    Arguments all{name, folder()};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }
  std::unique_ptr<BackupLock::Holder> otherWriter() const {
    return BackupLock::acquire(root(), "test", platform::now());
  }

  /// A backup of one object, which it gives.
  std::string addBackup(const std::string& id, platform::Date finishedAt, const std::string& body) const {
    const auto hash = store().put(body);
    auto index = emptyIndex("policies");
    index.items = {itemWithID("1")};
    index.items[0].objects = {{"json", hash}};
    const auto folder = sample.repository.backupDirectory(id);
    BackupRepository::writeIndex(index, folder / BackupFormat::sectionPath("policies"), std::nullopt);
    auto manifest = plainManifest(id);
    manifest.finishedAt = finishedAt;
    manifest.sections = {summaryOf("policies")};
    write(folder / BackupFormat::manifestFile, BackupFormat::makeEncoder().encode(manifest));
    return hash;
  }
  void makeOld(const platform::files::Path& path) const {
    const auto age =
        std::chrono::floor<std::chrono::seconds>(platform::now() - std::chrono::hours(25)).time_since_epoch();
    const timespec times[2] = {{age.count(), 0}, {age.count(), 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  }
  /// Seals the folder, whose content so far is plain, for the key in the file that it gives.
  std::string seal() const {
    const auto key = OrganisationFiles::make(home.path()).key;
    BackupEncryption::prepare(root(), InMemoryKeyProvider::fromFile(key));
    BackupEncryption::forgetKeys();
    return key.string();
  }
};

}  // namespace orvik::test
