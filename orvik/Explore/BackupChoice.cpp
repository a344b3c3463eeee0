#include "orvik/Explore/BackupChoice.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "OrvikCore/Explore/SearchText.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Jamf/SectionCatalog.h"
#include "Platform/Files/Files.h"
#include "Platform/Locale/Text.h"
#include "orvik/Backup/SectionSelection.h"
#include "orvik/ExitStatus.h"
#include "orvik/Folder/InstanceFolder.h"
#include "orvik/Output/NearNames.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

namespace files = platform::files;
using Entry = BackupReader::Entry;

/// So many objects of one name are told.
constexpr std::size_t shownNamesakes = 10;

const SectionSummary* summaryOf(const BackupReader& backup, std::string_view sectionID) {
  const auto& sections = backup.manifest.sections;
  const auto summary = std::ranges::find(sections, sectionID, &SectionSummary::id);
  return summary != sections.end() ? &*summary : nullptr;
}

/// False for what can't be read: that tells itself.
bool isDamaged(const BackupReader& backup, const std::string& hash) try {
  const auto store = backup.repository.store();
  return !store.isIntact(hash, store.stored(hash));
} catch (const tuv::Error&) {
  return false;
}

void open(const BackupReader& backup, const FolderArguments& at) {
  unlockFolder(backup.repository, at.key);
  if (backup.manifest.encryption && !backup.repository.cipher())
    throw CredentialError(fmt::format(
        "The backup {} is sealed, but {} is missing. Put the file back from a copy of the folder.",
        idOf(backup), (backup.repository.instanceDirectory / BackupFormat::encryptionFile).string()));
}

[[noreturn]] void refuseAmbiguous(const std::vector<Entry>& namesakes, const std::string& sectionID,
                                  const std::string& item) {
  std::vector<std::string> shown;
  for (const auto& entry : namesakes) {
    if (shown.size() == shownNamesakes) break;
    const auto name = entry.displayName();
    shown.push_back(name == item ? entry.item.id : fmt::format("{} ({})", entry.item.id, name));
  }
  const auto rest = namesakes.size() - shown.size();
  throw tuv::Error(fmt::format("{} of {} are called \"{}\". Name one by its ID: {}{}.",
                               wording::counted(static_cast<std::int64_t>(namesakes.size()), "object"),
                               sectionID, item, fmt::join(shown, ", "),
                               rest == 0 ? "" : fmt::format(" and {} more", rest)));
}

std::vector<Entry> namesakes(const std::vector<Entry>& entries, const std::string& item) {
  std::vector<Entry> found;
  const auto keep = [&](const auto& matches) {
    std::ranges::copy_if(entries, std::back_inserter(found),
                         [&](const Entry& entry) { return matches(entry.displayName()); });
  };
  keep([&](const std::string& name) { return name == item; });
  const auto folded = searchText::folded(item);
  if (found.empty()) keep([&](const std::string& name) { return searchText::folded(name) == folded; });
  if (std::ranges::any_of(found, [](const Entry& entry) { return !entry.removed; }))
    std::erase_if(found, [](const Entry& entry) { return entry.removed; });
  return found;
}

}  // namespace

BackupReader chosenBackup(const BackupRepository& repository, const std::optional<std::string>& id) {
  const auto& folder = repository.instanceDirectory;
  if (!id) {
    auto newest = repository.latestComplete();
    if (!newest) throw NotFoundError(fmt::format("{} holds no finished backup.", folder.string()));
    return {repository, std::move(newest->manifest), repository.backupDirectory(newest->id)};
  }
  if (!BackupRepository::isBackupName(*id) ||
      !files::exists(repository.backupDirectory(*id) / BackupFormat::manifestFile))
    throw NotFoundError(fmt::format("There is no backup {} in {}. orvikctl list {} tells which there are.",
                                    *id, folder.string(), wording::shellWord(folder.string())));
  return {repository, *id};
}

BackupReader openedBackup(const FolderArguments& at, const std::optional<std::string>& id) {
  auto backup = chosenBackup(instanceFolder(at.folder), id);
  open(backup, at);
  return backup;
}

std::string idOf(const BackupReader& backup) { return backup.directory().filename().string(); }

std::string titleOf(const BackupReader& backup) {
  return fmt::format("{}, {}", idOf(backup), platform::locale::dateText(backup.manifest.finishedAt));
}

void requireSection(const BackupReader& backup, const std::string& sectionID) {
  if (!SectionCatalog::definition(sectionID) && !summaryOf(backup, sectionID))
    refuseUnknownSection(sectionID);
}

bool readsSection(const BackupReader& backup, std::string_view sectionID) {
  const auto* summary = summaryOf(backup, sectionID);
  return summary && summary->index;
}

void requireReadSection(const BackupReader& backup, const std::string& sectionID) {
  requireSection(backup, sectionID);
  if (readsSection(backup, sectionID)) return;
  const auto* summary = summaryOf(backup, sectionID);
  const auto why = summary ? wording::because(*summary) : std::string();
  throw tuv::Error(fmt::format("The backup {} did not read the section {}{}{}.", idOf(backup), sectionID,
                               why.empty() ? "" : ": ", why));
}

std::vector<Entry> readEntries(const BackupReader& backup, const std::string& sectionID) {
  auto entries = backup.entries(sectionID);
  if (entries.empty() && !backup.index(sectionID))
    throw tuv::Error(fmt::format("{} can't be read. orvikctl verify tells what else is damaged.",
                                 (backup.directory() / BackupFormat::sectionPath(sectionID)).string()));
  return entries;
}

std::optional<std::string> troubleWith(const BackupReader& backup, const std::string& hash) try {
  backup.json(hash);
  if (!isDamaged(backup, hash)) return std::nullopt;
  return fmt::format("The object {} is damaged: what is stored doesn't reproduce its name.", hash);
} catch (const tuv::Error& error) {
  return error.description();
}

bool isDamaged(const BackupReader& backup, const Entry& entry) {
  return std::ranges::any_of(entry.item.objects,
                             [&](const auto& object) { return isDamaged(backup, object.second); });
}

std::optional<Entry> foundEntry(const BackupReader& backup, const std::string& sectionID,
                                const std::string& item) {
  if (auto entry = backup.entry(sectionID, item)) return entry;
  const auto found = namesakes(backup.entries(sectionID), item);
  if (found.size() > 1) refuseAmbiguous(found, sectionID, item);
  return found.empty() ? std::nullopt : std::optional(found.front());
}

Entry requiredEntry(const BackupReader& backup, const std::string& sectionID, const std::string& item) {
  if (auto entry = foundEntry(backup, sectionID, item)) return std::move(*entry);
  std::vector<std::string> names;
  for (const auto& entry : readEntries(backup, sectionID)) names.push_back(entry.displayName());
  throw tuv::Error(fmt::format("There is no object \"{}\" in {} of the backup {}{}.", item, sectionID,
                               idOf(backup), nearIt(item, names)));
}

std::vector<SearchHit> hitsByName(const BackupReader& backup, const std::string& query, std::size_t limit) {
  std::vector<SearchHit> hits;
  for (auto& entry : backup.search(query, limit)) hits.push_back({std::move(entry), {}});
  return hits;
}

std::optional<std::string> lastVersionBefore(const BackupReader& backup, const Entry& entry) {
  const auto id = idOf(backup);
  for (auto& [otherID, manifest] : backup.repository.completeBackups()) {
    if (otherID >= id) continue;
    const BackupReader other(backup.repository, std::move(manifest),
                             backup.repository.backupDirectory(otherID));
    if (other.item(entry.sectionID, entry.item.id)) return otherID;
  }
  return std::nullopt;
}

std::string lastVersionText(const std::optional<std::string>& backupID) {
  return backupID ? fmt::format("Its last version is in {0}: add --backup {0}", *backupID)
                  : "No earlier backup holds it.";
}

}  // namespace orvik::host
