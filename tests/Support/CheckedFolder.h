#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "OrvikCore/Care/FolderCheck.h"
#include "OrvikCore/Care/Repair.h"
#include "OrvikCore/Store/PackCache.h"
#include "Platform/JSON/Codable.h"
#include "tests/Support/Packs.h"
#include "tests/Support/StoredBackups.h"
#include "tests/Support/TestKeys.h"

namespace orvik::test {

/// Changes one byte of a file in place.
inline void flipByte(const Path& path, std::int64_t offset) {
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  file.seekg(offset);
  const auto byte = static_cast<char>(file.get());
  file.seekp(offset);
  file.put(static_cast<char>(byte ^ 0x20));
  ASSERT_TRUE(file.good()) << path;
}

/// All that files hold, wherever they lie.
inline std::multiset<std::string> bytesOf(const Path& folder) {
  std::multiset<std::string> all;
  for (auto& [path, bytes] : contentOf(folder)) all.insert(bytes);
  return all;
}

/// A folder with two backups of three packed objects, two single ones and a package file, which can be
/// damaged, checked, repaired and given again what a next backup would store.
struct CheckedFolder : StoredBackups {
  static constexpr const char* packageContent = "the package";

  std::map<std::string, std::string> contents;  ///< of all objects, by their names
  std::vector<std::string> packed;              ///< names, in the order in which they lie in the pack
  std::vector<std::string> single;
  std::string file;  ///< the package file's digest

  /// With a cipher everything is sealed; the folder must be by then.
  explicit CheckedFolder(bool isSealed = false) {
    if (isSealed) cipher = sealFolder(folder.path());
    repository.writeDescriptor(instanceNamed("North"));
    packed = {add(R"({"id":1,"name":"Office","tags":[],"scope":{"all":true}})"),
              add(R"([{"id":2},{"id":3}])"), add(R"({"id":4,"name":"VPN"})")};
    repository.packLooseObjects();
    const auto index = onlyIndex(folder.path());
    std::ranges::sort(packed, {}, [&](const std::string& name) {
      return index.objects.find(*ObjectKey::parse(name))->offset;
    });
    single = {add(R"({"id":5})"), add(R"({"id":6,"name":"Zoom"})")};
    file = ObjectStore::sha256(packageContent);
    write(filePath(), packageContent);
    publishBoth();
  }

  Path objectPath(const std::string& name) const { return repository.store().objectURL(name); }
  Path filePath() const { return repository.store().fileURL(file); }
  Path indexPath() const { return packFile(".idx"); }
  Path packPath() const { return packFile(".pack"); }
  Path sectionPath(const std::string& backup = second, const std::string& section = "policies") const {
    return repository.backupDirectory(backup) / BackupFormat::sectionPath(section);
  }
  Path manifestPath(const std::string& backup = second) const {
    return repository.backupDirectory(backup) / BackupFormat::manifestFile;
  }
  /// Changes a byte of an entry of the pack, by its number.
  void flipInPack(std::size_t entry) const { flipByte(packPath(), rangeOf(packed[entry]).offset + 4); }
  PackRange rangeOf(const std::string& name) const {
    return *PackStore::readIndex(indexPath())->objects.find(*ObjectKey::parse(name));
  }

  FolderCheck check(const Reading& reading = Reading::everything(),
                    platform::Date now = date("2025-03-06T00:00:00Z")) const {
    PackCache::shared().invalidate(packsOf(folder.path()));
    return checkFolder(repository, cipher, reading, now);
  }
  /// The kinds of damage, or of all findings, each once, ascending.
  static std::vector<std::string> kinds(const FolderCheck& check, bool damageAlone = true) {
    std::vector<std::string> found;
    for (const auto& finding : check.findings)
      if (finding.isDamage() || !damageAlone) found.emplace_back(platform::json::textOf(finding.kind));
    std::ranges::sort(found);
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
  }
  std::vector<std::string> damage() const { return kinds(check()); }
  static std::optional<Finding> findingOf(const FolderCheck& check, Finding::Kind kind) {
    const auto found = std::ranges::find(check.findings, kind, &Finding::kind);
    return found == check.findings.end() ? std::nullopt : std::optional(*found);
  }

  RepairPlan plan() const { return planRepair(repository, check(), cipher, {}); }
  CarriedOutRepair repair() const { return carryOut(plan(), repository, cipher, platform::now()); }

  /// What the next backup does: it stores what the store doesn't have.
  void backUpAgain() const {
    PackCache::shared().invalidate(packsOf(folder.path()));
    for (const auto& [name, content] : contents) EXPECT_EQ(put(content), name);
    if (!repository.store().hasFile(file)) write(filePath(), packageContent);
  }

 private:
  std::string add(const std::string& content) {
    const auto name = put(content);
    contents[name] = content;
    return name;
  }
  Path packFile(const std::string& suffix) const {
    for (const auto& name : platform::files::visibleNames(packsOf(folder.path())))
      if (name.ends_with(suffix)) return packsOf(folder.path()) / name;
    return packsOf(folder.path()) / ("none" + suffix);
  }
  static IndexItem itemOf(const std::string& id, const std::string& object) {
    auto item = itemWithID(id);
    item.objects = {{"json", object}};
    return item;
  }
  void publishBoth() const {
    auto policies =
        section("policies", {itemOf("1", packed[0]), itemOf("2", packed[1]), itemOf("5", single[0])});
    publish(first, {policies});
    policies.items.push_back(itemOf("4", packed[2]));
    policies.items.push_back(itemOf("6", single[1]));
    auto package = itemWithID("Tool.pkg");
    package.file = FileRef{"Tool.pkg", file, 11, {}, FileRef::Status::downloaded, {}, {}, {}};
    publish(second, {policies, section("packageFiles", {package})}, first);
  }
};

}  // namespace orvik::test
