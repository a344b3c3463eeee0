#pragma once

#include <string>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/BackupLock.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Files/Files.h"
#include "tests/Support/Folders.h"
#include "tests/Support/SampleRecords.h"

namespace orvik::test {

/// An instance folder with one backup of two sections (three objects, one package file), an interrupted run
/// of two journal lines, and everything else that can stand in such a folder but packs.
struct SampleFolder {
  static constexpr const char* backupID = "2025-03-04T091500Z";
  static constexpr const char* partialID = "2025-03-05T091500Z";

  platform::files::TempFolder folder;
  BackupRepository repository{folder.path()};
  std::string json;  ///< names of the stored objects
  std::string xml;
  std::string package;
  std::string fileDigest;

  SampleFolder() {
    const auto store = repository.store();
    json = store.put("{\"id\":1}");
    xml = store.put("<policy><id>1</id></policy>");
    package = store.put("{\"id\":2}");
    fileDigest = ObjectStore::sha256("the package");
    write(store.fileURL(fileDigest), "the package");
    writeIndexes();
    writeManifest();
    repository.writeDescriptor(instanceNamed("North"));
    writeRun();
  }

  Path index() const { return repository.backupDirectory(backupID) / BackupFormat::sectionPath("policies"); }
  Path manifest() const { return repository.backupDirectory(backupID) / BackupFormat::manifestFile; }
  Path partial() const { return repository.partialDirectory(partialID); }

 private:
  void writeIndexes() const {
    auto policies = emptyIndex("policies");
    policies.items = {itemWithID("1")};
    policies.items[0].objects = {{"xml", xml}, {"json", json}};
    BackupRepository::writeIndex(policies, index(), std::nullopt);

    auto packages = emptyIndex("packages");
    packages.items = {itemWithID("2")};
    packages.items[0].objects = {{"json", package}};
    packages.items[0].file = FileRef{"Tool.pkg", fileDigest, 11, {}, FileRef::Status::downloaded, {}, {}, {}};
    BackupRepository::writeIndex(
        packages, repository.backupDirectory(backupID) / BackupFormat::sectionPath("packages"), std::nullopt);
  }

  void writeManifest() const {
    auto record = plainManifest(backupID);
    record.sections = {summaryOf("policies"), summaryOf("scripts", false), summaryOf("packages")};
    record.totals.objects = 2;
    record.totals.newOrChangedObjects = 1;
    record.totals.files = 1;
    record.jamfProVersion = "11.15.1";
    write(manifest(), BackupFormat::makeEncoder().encode(record));
    AuditLog log(repository.backupDirectory(backupID));
    log.record(auditEntry("a"));
    log.record(auditEntry("b"));
  }

  void writeRun() const {
    PartialBackupState{partialID, date("2025-03-05T09:15:00Z"), {}, plainOptions(), 2, false}.save(
        (std::filesystem::create_directories(partial()), partial()));
    BackupJournal journal(partial());
    journal.append(journalEntry("policies", "1"));
    journal.append(journalEntry("policies", "2"));
    const BackupLock lock{"another host",
                          "admin",
                          1,
                          date("2025-03-05T09:15:00Z"),
                          date("2025-03-05T09:15:00Z"),
                          "0.1.0",
                          platform::UUID::random()};
    write(folder / BackupFormat::lockFile, BackupFormat::makeEncoder().encode(lock));
  }
};

}  // namespace orvik::test
