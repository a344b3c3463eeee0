#include "orvik/MCP/BackupTools.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <string_view>
#include <utility>

#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Files/Files.h"
#include "Platform/JSON/Codable.h"
#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/Explore/ExploreCommands.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

namespace {

namespace files = platform::files;
namespace json = platform::json;
using jamf::JamfTool;
using jamf::JamfToolError;
using jamf::JamfToolParameter;
using jamf::ParameterType;
using Arguments = JamfTool::Arguments;

struct BackupSummary {
  std::string id;
  platform::Date startedAt;
  platform::Date finishedAt;
  BackupManifest::Status status = BackupManifest::Status::complete;
  int objects = 0;
  int newOrChangedObjects = 0;
  bool sealed = false;

  static constexpr auto fields() {
    using json::field;
    return fieldList(field("id", &BackupSummary::id), field("startedAt", &BackupSummary::startedAt),
                     field("finishedAt", &BackupSummary::finishedAt), field("status", &BackupSummary::status),
                     field("objects", &BackupSummary::objects),
                     field("newOrChangedObjects", &BackupSummary::newOrChangedObjects),
                     field("sealed", &BackupSummary::sealed));
  }
};

struct InstanceBackups {
  std::string instance;  ///< the folder's name
  std::string name;
  std::string url;
  std::vector<BackupSummary> backups;

  static constexpr auto fields() {
    using json::field;
    return fieldList(field("instance", &InstanceBackups::instance), field("name", &InstanceBackups::name),
                     field("url", &InstanceBackups::url), field("backups", &InstanceBackups::backups));
  }
};

/// The backups that the tools read.
struct BackupFolders {
  files::Path root;
  std::optional<std::string> keyFile;

  /// Looked for anew each time: backups are made meanwhile.
  std::vector<BackupRepository> all() const {
    if (BackupRepository(root).descriptor()) return {BackupRepository(root)};
    std::vector<BackupRepository> found;
    for (const auto& name : files::listVisible(root))
      if (BackupRepository each(root / name); each.descriptor()) found.push_back(std::move(each));
    return found;
  }

  /// What a command is told to open: the instance that a call names, or the only one.
  FolderArguments at(const Arguments& arguments) const {
    const auto wanted = JamfTool::optionalStringArgument(arguments, "instance");
    std::vector<std::string> names;
    std::optional<files::Path> found;
    const auto folders = all();
    for (const auto& each : folders) {
      names.push_back(nameOf(each));
      if (wanted ? names.back() == *wanted || each.descriptor()->name == *wanted : folders.size() == 1)
        found = each.instanceDirectory;
    }
    if (!found)
      throw JamfToolError(fmt::format("{} There are: {}.",
                                      wanted ? fmt::format("There is no instance \"{}\".", *wanted)
                                             : "Say which instance, by the argument \"instance\".",
                                      names.empty() ? "(none)" : fmt::format("{}", fmt::join(names, ", "))));
    FolderArguments opened;
    opened.json = true;
    opened.quiet = true;
    opened.folder = found->string();
    opened.key = keyFile;
    return opened;
  }

  static std::string nameOf(const BackupRepository& repository) {
    return repository.instanceDirectory.filename().string();
  }
};

/// The JSON lines that a command prints, as one list.
platform::Bytes collected(const std::function<void(Results&)>& command) {
  platform::Bytes list = "[";
  Results results([&list](std::string_view line) {
    if (list.size() > 1) list += ',';
    list += line;
    return 0;
  });
  command(results);
  return list += "]";
}

/// A number that a call may leave out, in these bounds.
int number(const Arguments& arguments, const std::string& key, int otherwise, int most) {
  const auto given = JamfTool::optionalIntArgument(arguments, key);
  if (given && (*given < 1 || *given > most))
    throw JamfToolError(fmt::format("The argument \"{}\" must be between 1 and {}.", key, most));
  return given ? static_cast<int>(*given) : otherwise;
}

platform::Bytes listed(const BackupFolders& folders) {
  std::vector<InstanceBackups> instances;
  for (const auto& repository : folders.all()) {
    const auto descriptor = repository.descriptor();
    if (!descriptor) continue;  // gone since
    auto& instance = instances.emplace_back();
    instance.instance = BackupFolders::nameOf(repository);
    instance.name = descriptor->name;
    instance.url = descriptor->url;
    for (const auto& [id, manifest] : repository.completeBackups())
      instance.backups.push_back({id, manifest.startedAt, manifest.finishedAt, manifest.status,
                                  manifest.totals.objects, manifest.totals.newOrChangedObjects,
                                  manifest.encryption.has_value()});
  }
  return JamfTool::encode(instances);
}

JamfToolParameter optionalText(const char* name, const char* description) {
  return {name, description, ParameterType::string, false};
}
JamfToolParameter requiredText(const char* name, const char* description) {
  return {name, description, ParameterType::string, true};
}

const auto instanceParameter =
    optionalText("instance", "Instance from list_backups (needed when there are several)");
const auto backupParameter = optionalText("backup", "Backup id from list_backups (default: the newest)");
const auto sectionParameter = requiredText("section", "Section id, as search_backup gives it");
const auto objectParameter = requiredText("object", "The object's id or exact name");

constexpr int standardHits = 50;
constexpr int mostHits = 1000;

}  // namespace

std::vector<JamfTool> backupTools(const std::filesystem::path& root,
                                  const std::optional<std::string>& keyFile) {
  if (!files::isDirectory(root)) throw NotFoundError(fmt::format("There is no folder {}.", root.string()));
  // The name of an instance's folder: "." and a slash at the end are none.
  const BackupFolders folders{std::filesystem::canonical(root), keyFile};
  const auto text = [](const Arguments& arguments, const char* key) {
    return JamfTool::stringArgument(arguments, key);
  };
  const auto maybe = [](const Arguments& arguments, const char* key) {
    return JamfTool::optionalStringArgument(arguments, key);
  };
  return {{"list_backups",
           "Lists the backups that are kept in the backup folder, newest first, for every backed-up Jamf Pro "
           "server. Call this first to discover valid values for instance and backup.",
           {},
           [folders](auto&, const auto&, const auto&) { return listed(folders); }},
          {"search_backup",
           "Searches a backup for a text, in the names, ids and contents of its objects, and gives the "
           "section and "
           "id of each hit.",
           {requiredText("query", "Text to search for, in any case"),
            instanceParameter,
            backupParameter,
            {"contents", "Search the contents too, not only names and ids (default: true)",
             ParameterType::boolean, false},
            {"limit", "Most hits to give (default: 50, at most 1000)", ParameterType::integer, false}},
           [=](auto&, const auto& arguments, const auto& stop) {
             SearchArguments search;
             search.at = folders.at(arguments);
             search.query = text(arguments, "query");
             search.contents = JamfTool::optionalBoolArgument(arguments, "contents").value_or(true);
             search.backup = maybe(arguments, "backup");
             search.limit = number(arguments, "limit", standardHits, mostHits);
             return collected([&](Results& results) { host::search(search, results, stop); });
           }},
          {"describe_object",
           "Describes one object of a backup: facts, scripts and texts, all of its fields, and what changed "
           "since "
           "the backup before.",
           {sectionParameter, objectParameter, instanceParameter, backupParameter},
           [=](auto&, const auto& arguments, const auto&) {
             ShowArguments show;
             show.at = folders.at(arguments);
             show.section = text(arguments, "section");
             show.item = text(arguments, "object");
             show.backup = maybe(arguments, "backup");
             return collected([&](Results& results) { host::show(show, results); });
           }},
          {"diff_backups",
           "Tells which objects differ between two backups, and in which fields.",
           {instanceParameter, optionalText("from", "The earlier backup's id (default: the one before)"),
            optionalText("to", "The later backup's id (default: the newest)"),
            optionalText("section", "Compare this section alone, by its id")},
           [=](auto&, const auto& arguments, const auto& stop) {
             DiffArguments diff;
             diff.at = folders.at(arguments);
             diff.from = maybe(arguments, "from");
             diff.to = maybe(arguments, "to");
             diff.section = maybe(arguments, "section");
             return collected([&](Results& results) { host::diff(diff, results, stop); });
           }},
          {"object_history",
           "Tells in which backups an object was new, changed or removed, and what changed each time.",
           {sectionParameter, objectParameter, instanceParameter},
           [=](auto&, const auto& arguments, const auto& stop) {
             HistoryArguments history;
             history.at = folders.at(arguments);
             history.section = text(arguments, "section");
             history.item = text(arguments, "object");
             return collected([&](Results& results) { host::history(history, results, stop); });
           }}};
}

}  // namespace orvik::host
