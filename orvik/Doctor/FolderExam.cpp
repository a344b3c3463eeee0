#include "orvik/Doctor/FolderExam.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <string_view>
#include <utility>

#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Locale/Text.h"
#include "Platform/UUID.h"
#include "TuvCore/Error.h"
#include "orvik/Folder/KnownFolders.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

namespace files = platform::files;
using Result = files::Trial::Result;

constexpr std::string_view trialPrefix = ".orvik-doctor-";
constexpr std::chrono::hours abandoned{1};  // no examination takes that long

constexpr std::uint64_t leastBytes = 10'000'000;  // a first backup without package files needs as much
constexpr std::uint64_t scarceBytes = 1'000'000'000;

/// What an examination that was killed left. Whatever can't be removed stays.
void removeAbandonedTrials(const std::filesystem::path& folder) try {
  for (const auto& name : files::list(folder)) {
    if (!name.starts_with(trialPrefix) || !platform::UUID::parse(name.substr(trialPrefix.size()))) continue;
    const auto entry = files::entryAt(folder / name);
    const bool isAbandoned =
        entry && entry->kind == files::Entry::Kind::folder && platform::now() - entry->modified > abandoned;
    if (isAbandoned) files::removeTree(folder / name);
  }
} catch (const files::FileError&) {
}

std::filesystem::path nearestFolder(std::filesystem::path path) {
  path = std::filesystem::absolute(path).lexically_normal();
  while (!files::isDirectory(path) && path.has_relative_path()) path = path.parent_path();
  return path;
}

Check instanceCheck(const std::filesystem::path& root, const ChosenServer& server, const HostPlaces& places) {
  try {
    const BackupRepository repository(root, instanceFor(root, server).slug);
    KnownFolders(places.data).requireFilled(repository);
    const auto backups = repository.completeBackups();
    const auto folder = repository.instanceDirectory.string();
    if (backups.empty()) return Check::ok("folder", fmt::format("{} holds no backup yet.", folder));
    return Check::ok("folder",
                     fmt::format("{} holds {} of this server.", folder,
                                 wording::counted(static_cast<std::int64_t>(backups.size()), "backup")));
  } catch (const tuv::Error& error) {
    return Check::failed("folder", error.description(), "");
  }
}

Check rootCheck(const std::filesystem::path& root, const ChosenServer& server, const HostPlaces& places) {
  auto check = instanceCheck(root, server, places);
  if (check.status == Check::Status::failed || files::isDirectory(root)) return check;
  if (files::exists(root))
    return Check::failed("folder", fmt::format("{} is no folder.", root.string()),
                         "Name the folder of all instances with --to.");
  return Check::warning(
      "folder",
      fmt::format("There is no folder {} yet; a backup makes it, and {} was looked at instead.",
                  root.string(), nearestFolder(root).string()),
      "If there should be one, look whether a disk or a share is not mounted.");
}

/// How an ability is told: what a trial that did not go well means for backups.
struct Meaning {
  const char* id;
  const char* works;
  const char* partlyAdvice;
  const char* failsAdvice;
  bool isEssential;  ///< a backup fails without it
};

void add(std::vector<Check>& checks, const files::Trial& trial, const Meaning& meaning) {
  switch (trial.result) {
    case Result::works:
      checks.push_back(Check::ok(meaning.id, meaning.works));
      break;
    case Result::partly:
      checks.push_back(Check::warning(meaning.id, trial.problem, meaning.partlyAdvice));
      break;
    case Result::fails:
      checks.push_back(meaning.isEssential ? Check::failed(meaning.id, trial.problem, meaning.failsAdvice)
                                           : Check::warning(meaning.id, trial.problem, meaning.failsAdvice));
      break;
    case Result::untried:
      break;
  }
}

Check spaceCheck(std::uint64_t bytes) {
  const auto text =
      platform::locale::byteCount(static_cast<std::int64_t>(std::min<std::uint64_t>(bytes, INT64_MAX)));
  auto check = Check::ok("space", fmt::format("{} are free.", text));
  if (bytes < scarceBytes)
    check = Check::warning("space", fmt::format("{} are free, which may not be enough.", text),
                           "Free some, or delete old backups with orvik retention.");
  if (bytes < leastBytes)
    check = Check::failed("space", fmt::format("{} are free: a backup has no room.", text),
                          "Free some, or delete old backups with orvik retention.");
  check.details.set("bytes", bytes);
  return check;
}

}  // namespace

std::vector<Check> abilityChecks(const files::Abilities& abilities) {
  constexpr const char* elsewhere = "Keep backups on another file system.";
  constexpr const char* staging =
      "Let runs work on a local disk with --staging DIR, and one machine alone write to this folder.";
  std::vector<Check> checks;
  add(checks, abilities.write,
      {"writing", "Files can be written there.", "", "Check who owns the folder, and how it is mounted.",
       true});
  add(checks, abilities.rename,
      {"rename", "Files and folders get their names in one step.", staging, elsewhere, true});
  add(checks, abilities.noReplace,
      {"replacing", "A rename that must not replace anything doesn't.", staging, staging, false});
  add(checks, abilities.flush,
      {"flush", "What is written can be brought to stable storage.", "", elsewhere, true});
  // Backups have no two names that differ in case alone.
  if (abilities.caseTold.result == Result::partly)
    checks.push_back(Check::ok("case", abilities.caseTold.problem + " Backups take no harm."));
  else
    add(checks, abilities.caseTold, {"case", "Names that differ in case are two.", "", elsewhere, false});
  add(checks, abilities.longNames,
      {"names", "Names may have 255 bytes.", "Backups need no such names, but exports of objects may.",
       elsewhere, false});
  if (abilities.freeBytes) checks.push_back(spaceCheck(*abilities.freeBytes));
  return checks;
}

std::vector<Check> examineFolder(const std::filesystem::path& root, const ChosenServer& server,
                                 const HostPlaces& places) {
  std::vector<Check> checks{rootCheck(root, server, places)};
  if (files::exists(root) && !files::isDirectory(root)) return checks;
  const auto folder = nearestFolder(root);
  removeAbandonedTrials(folder);
  for (auto& check : abilityChecks(files::tryAbilities(folder, trialPrefix)))
    checks.push_back(std::move(check));
  return checks;
}

}  // namespace orvik::host
