#include "orvik/Explore/Tree/FolderTree.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "Platform/JSON/Value.h"
#include "Platform/JSON/View.h"
#include "TuvCore/Error.h"
#include "orvik/Explore/BackupChoice.h"
#include "orvik/Explore/Tree/TreeNames.h"
#include "orvik/Explore/Tree/TreeRecord.h"

namespace orvik::host {

namespace {

namespace files = platform::files;
namespace json = platform::json;
using Path = std::filesystem::path;
using Kind = files::Entry::Kind;

constexpr std::string_view journalName = "unfinished";
constexpr std::filesystem::perms executableMode{0755};

bool isKind(const Path& path, Kind kind) {
  const auto entry = files::entryAt(path);
  return entry && entry->kind == kind;
}

void requireFile(const Path& path) {
  if (const auto entry = files::entryAt(path); entry && entry->kind != Kind::file)
    throw tuv::Error(fmt::format("{} is no file. Delete it.", path.string()));
}

/// Of ".NAME.UUID.tmp", which `files::atomicWrite` leaves when it is killed.
std::string_view targetOfTemporary(std::string_view name) {
  constexpr std::size_t behind = 1 + 36 + 4;  // ".", a UUID, ".tmp"
  return name.substr(1, name.size() - 1 - behind);
}

/// What a run leaves of its first file that was killed in that moment.
bool isRemainderOfRecord(std::string_view name) {
  return files::isTemporaryName(name) && targetOfTemporary(name) == treeNames::recordFile;
}

/// Throws unless the folder may become, or is, a tree of the backup's instance.
void requireOwn(const Path& folder, const BackupReader& backup) {
  if (!files::exists(folder)) return;
  if (std::ranges::all_of(files::list(folder), isRemainderOfRecord)) return;
  const auto record = folder / treeNames::recordFile;
  const auto instance =
      isKind(record, Kind::file) ? TreeRecord::instanceOf(files::read(record)) : std::nullopt;
  if (!instance)
    throw tuv::Error(
        fmt::format("{} is not empty and no tree of an export. Name a folder that is empty or missing.",
                    folder.string()));
  TreeRecord::requireInstance(*instance, backup, folder.string());
}

/// Deletes what a killed run left of the files that are the export's.
template <class IsOwn>
void deleteRemainders(const Path& folder, const IsOwn& isOwn) {
  if (!isKind(folder, Kind::folder)) return;
  for (const auto& name : files::list(folder))
    if (files::isTemporaryName(name) && isOwn(targetOfTemporary(name)) && isKind(folder / name, Kind::file))
      files::remove(folder / name);
}

}  // namespace

FolderTree::FolderTree(Path folder, const BackupReader& backup, OnWritten onWritten, OnRemoved onRemoved)
    : folder_(std::move(folder)), onWritten_(std::move(onWritten)), onRemoved_(std::move(onRemoved)) {
  requireOwn(folder_, backup);
  if (!files::exists(folder_)) return;
  readState();
  removeRemainders();
}

void FolderTree::readState() {
  const auto lists = folder_ / treeNames::listsFolder;
  if (!files::entryAt(lists)) return;
  requireFolder(lists);
  for (const auto& name : files::list(lists)) {
    const auto section = TreeState::sectionOfList(name);
    if (section.empty()) continue;
    const auto path = lists / name;
    const auto text = isKind(path, Kind::file) ? files::read(path) : platform::Bytes();
    state_.sections[section] = TreeState::readList(text, path.string());
  }
  readJournal();
}

void FolderTree::readJournal() {
  const auto path = folder_ / treeNames::listsFolder / journalName;
  if (!isKind(path, Kind::file)) return;
  const auto text = files::read(path);
  std::string_view rest = text;
  for (std::size_t end; (end = rest.find('\n')) != rest.npos; rest.remove_prefix(end + 1))
    readNote(rest.substr(0, end));
}

/// A line that is not whole was never acted on.
void FolderTree::readNote(std::string_view line) try {
  const auto document = json::Document::parse(line);
  const auto member = [&](std::string_view key) {
    const auto value = document->root()[key];
    return std::string(value ? value->string().value_or("") : "");
  };
  const auto section = member("section");
  const auto name = member("name");
  if (treeNames::isFolder(section) && treeNames::isFile(name))
    state_.sections[section][member("id")].insert(name);
} catch (const json::ParseError&) {
}

void FolderTree::removeRemainders() {
  deleteRemainders(folder_, [](std::string_view name) { return name == treeNames::recordFile; });
  deleteRemainders(folder_ / treeNames::listsFolder,
                   [](std::string_view name) { return !TreeState::sectionOfList(name).empty(); });
  for (const auto& [section, objects] : state_.sections) {
    std::set<std::string_view> own;
    for (const auto& object : objects) own.insert(object.second.begin(), object.second.end());
    deleteRemainders(folder_ / section, [&](std::string_view name) { return own.contains(name); });
  }
}

void FolderTree::begin(const BackupReader& backup) {
  files::createDirectories(folder_);
  const auto path = folder_ / treeNames::recordFile;
  const auto begun = TreeRecord::begun(backup);
  if (isKind(path, Kind::file) && TreeRecord::isOf(files::read(path), idOf(backup))) return;
  putRecord(std::string(treeNames::recordFile), begun.text());
}

void FolderTree::end() {
  journal_.reset();
  files::tryRemove(folder_ / treeNames::listsFolder / journalName);
  for (const auto& [section, objects] : state_.sections)
    if (isKind(folder_ / section, Kind::folder)) files::tryRemove(folder_ / section);  // an empty one
}

bool FolderTree::holds(const Path& path, const platform::Bytes& bytes) const {
  const auto entry = files::entryAt(path);
  return entry && entry->kind == Kind::file && entry->size == static_cast<std::int64_t>(bytes.size()) &&
         files::read(path) == bytes;
}

bool FolderTree::put(const BackupReader::Entry& entry, const ObjectFile& file, Owner owner) {
  const auto folder = folder_ / entry.sectionID;
  const auto path = folder / file.name;
  requireFolder(folder);
  if (owner == Owner::nobodyYet) {
    if (files::exists(path) && !holds(path, file.bytes))
      throw tuv::Error(
          fmt::format("{} is not of this export and stands in its way. Move it away.", path.string()));
    note(entry, file.name);
  }
  if (holds(path, file.bytes)) {
    ++counts_.unchanged;
    return false;
  }
  files::atomicWrite(file.bytes, path, files::Flush::no,
                     file.isExecutable ? std::optional(executableMode) : std::nullopt);
  ++counts_.written;
  onWritten_(entry, path);
  return true;
}

void FolderTree::note(const BackupReader::Entry& entry, const std::string& name) {
  const auto folder = folder_ / treeNames::listsFolder;
  if (!journal_) {
    requireFolder(folder);
    files::createDirectories(folder);
    requireFile(folder / journalName);
    journal_.emplace(folder / journalName);
    if (!journal_->endsWithLineFeed()) journal_->append("\n");
  }
  const auto line =
      json::Value::object({{"section", entry.sectionID}, {"id", entry.item.id}, {"name", name}});
  journal_->append(line.text() + "\n");
}

void FolderTree::putRecord(const std::string& path, const platform::Bytes& text) {
  const auto target = folder_ / path;
  if (target.parent_path() != folder_) requireFolder(target.parent_path());
  if (!holds(target, text)) files::atomicWrite(text, target);
}

void FolderTree::remove(const std::string& path) {
  const auto target = folder_ / path;
  const auto entry = files::entryAt(target);
  if (!entry || entry->kind == Kind::folder || !isKind(target.parent_path(), Kind::folder)) return;
  files::remove(target);
  if (target.parent_path().filename() == treeNames::listsFolder) return;
  ++counts_.deleted;
  onRemoved_(target);
}

void FolderTree::requireFolder(const Path& folder) {
  if (folders_.contains(folder)) return;
  const auto entry = files::entryAt(folder);
  if (entry && entry->kind != Kind::folder)
    throw tuv::Error(fmt::format(
        "{} is no folder. An export follows no links below the folder that it is given.", folder.string()));
  if (entry) folders_.insert(folder);
}

}  // namespace orvik::host
