#include "orvik/Browse/BrowseAnswers.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <span>
#include <utility>

#include "OrvikCore/Explore/ObjectExporter.h"
#include "OrvikCore/Explore/ObjectHistory.h"
#include "OrvikCore/Explore/ReadableXML.h"
#include "OrvikCore/Reports/BackupReports.h"
#include "Platform/Concurrency/Cancellation.h"
#include "orvik/Browse/ChangedValues.h"
#include "orvik/ExitStatus.h"
#include "orvik/Explore/BackupChoice.h"
#include "orvik/Explore/ExploreRecords.h"
#include "orvik/Explore/ObjectPage.h"
#include "orvik/Folder/InstanceFolder.h"
#include "orvik/Output/JSONRecord.h"

namespace orvik::host {

namespace {

using jamf::HTTPResponse;
using platform::json::Value;
using Kind = BackupReader::ChangeKind;

constexpr std::size_t standardHits = 200;
constexpr std::size_t mostHits = 10'000;

/// The reports by the names that the page has for them.
constexpr std::array<std::pair<std::string_view, std::string_view>, 2> reports{
    {{"backup", BackupReports::backupReportFile}, {"security", BackupReports::securityReportFile}}};

[[noreturn]] void refusePath() { throw NotFoundError("There is nothing at this address."); }

ChangeCounts sumOf(const std::vector<SectionSummary>& sections) {
  ChangeCounts sum;
  for (const auto& [id, title, status, message, counts, index] : sections) {
    sum.total += counts.total;
    sum.new_ += counts.new_;
    sum.changed += counts.changed;
    sum.unchanged += counts.unchanged;
    sum.removed += counts.removed;
    sum.failed += counts.failed;
  }
  return sum;
}

Value backupJSON(const BackupReader& backup) {
  auto there = Value::array();
  for (const auto& [name, file] : reports)
    if (BackupReports::hasReport(file, backup.directory())) there.append(name);
  auto record = exploreRecords::backup(backup);
  record.set("counts", jsonOf(sumOf(backup.manifest.sections)))
      .set("sealed", backup.manifest.encryption.has_value())
      .set("reports", std::move(there));
  return record;
}

Value foldersJSON(const BrowseShelf& shelf) {
  auto list = Value::array();
  for (const auto& [repository, problem] : shelf.folders()) {
    const auto descriptor = repository.descriptor();
    const auto path = absolutePath(repository);
    auto record = Value::object({{"folder", std::ssize(*list.array_())},
                                 {"name", descriptor ? descriptor->name : path},
                                 {"server", descriptor ? descriptor->url : ""},
                                 {"path", path},
                                 {"sealed", problem || repository.cipher()}});
    if (problem) record.set("problem", *problem);
    list.append(std::move(record));
  }
  return Value::object({{"folders", std::move(list)}});
}

Value backupsJSON(const BackupRepository& repository) {
  auto list = Value::array();
  for (auto& [id, manifest] : repository.completeBackups())
    list.append(backupJSON({repository, std::move(manifest), repository.backupDirectory(id)}));
  return Value::object({{"backups", std::move(list)}});
}

Value historyJSON(const BackupRepository& repository, const RequestTarget& target,
                  const std::stop_token& stop) {
  const auto& section = target.required("section");
  const auto& id = target.required("id");
  auto list = Value::array();
  std::string name, before;
  for (const auto& version : objectHistory(repository, section, id, stop)) {
    auto record = exploreRecords::version(version, section, id);
    if (version.item) name = BackupReader::Entry::displayNameOf(*version.item);
    if (version.kind == Kind::changed) record.set("before", before);
    before = version.backupID;
    list.append(std::move(record));
  }
  return Value::object({{"name", name}, {"versions", std::move(list)}});
}

/// What is asked of one backup.
class BackupAnswers {
 public:
  BackupAnswers(const BrowseShelf& shelf, std::size_t folder, const std::string& id,
                const RequestTarget& target, const std::stop_token& stop)
      : shelf_(shelf), folder_(folder), backup_(opened(id)), target_(target), stop_(stop) {}

  HTTPResponse answer(std::string_view verb) const {
    if (verb == "entries") return json(entries());
    if (verb == "object") return json(object());
    if (verb == "change") return json(change());
    if (verb == "differences") return json(differences());
    if (verb == "search") return json(search());
    if (verb == "report") return report();
    if (verb == "download") return download();
    refusePath();
  }

  static HTTPResponse json(const Value& value) { return HTTPResponse::json(jsonLine(value)); }

 private:
  /// Throws `CredentialError` for a sealed backup that no key opens.
  BackupReader opened(const std::string& id) const {
    auto backup = shelf_.backup(folder_, id);
    if (!backup.manifest.encryption || backup.repository.cipher()) return backup;
    throw CredentialError(shelf_.folder(folder_).problem.value_or(
        fmt::format("The backup {} is sealed, and no key for it is at hand.", id)));
  }

  BackupReader::Entry entry() const {
    const auto& section = target_.required("section");
    const auto& id = target_.required("id");
    requireReadSection(backup_, section);
    if (auto found = backup_.entry(section, id)) return std::move(*found);
    readEntries(backup_, section);  // which says why its index can't be read
    throw NotFoundError(fmt::format("The backup {} holds no object {} in {}.", idOf(backup_), id, section));
  }

  Value entries() const {
    const auto& id = target_.required("section");
    requireReadSection(backup_, id);
    auto list = Value::array();
    for (const auto& each : readEntries(backup_, id)) list.append(exploreRecords::entry(each, idOf(backup_)));
    return Value::object({{"section", sectionJSON(id)}, {"entries", std::move(list)}});
  }

  Value sectionJSON(const std::string& id) const {
    const auto all = backup_.sections();
    const auto found = std::ranges::find_if(all, [&](const auto& each) { return each.summary.id == id; });
    return exploreRecords::section(*found, idOf(backup_));  // it was read, so it is there
  }

  /// The forms of an object that can be handed out whole: not package files, which may be of any size.
  std::vector<ObjectExport> forms(const BackupReader::Entry& entry) const {
    if (isDamaged(backup_, entry)) return {};
    auto all = ObjectExporter::exports(entry, backup_);
    std::erase_if(all,
                  [](const auto& each) { return !std::holds_alternative<ObjectExport::Data>(each.content); });
    return all;
  }

  Value object() const {
    const auto found = entry();
    auto downloads = Value::array();
    for (const auto& form : forms(found))
      downloads.append(Value::object({{"form", std::ssize(*downloads.array_())},
                                      {"title", form.title},
                                      {"fileName", ObjectExporter::fileName(form.fileName)}}));
    auto page = ObjectPage::of(backup_, found).json();
    addReadable(*page.find("texts")->array_());
    page.set("downloads", std::move(downloads));
    return page;
  }

  /// XML gets a second form, in lines that people can read.
  static void addReadable(Value::Array& texts) {
    for (auto& each : texts)
      if (const auto& text = *each.find("text")->string(); looksLikeXML(text))
        each.set("readable", readableXML(text));
  }

  Value change() const {
    const auto from = opened(target_.required("from"));
    const auto& section = target_.required("section");
    const auto& id = target_.required("id");
    const auto old = from.item(section, id), now = backup_.item(section, id);
    if (!old && !now)
      throw NotFoundError(
          fmt::format("Neither {} nor {} holds an object {} in {}.", idOf(from), idOf(backup_), id, section));
    return Value::object(
        {{"changes", old && now ? changedValues(backup_.changes(*old, *now)) : Value::array()}});
  }

  Value differences() const {
    const auto from = opened(target_.required("from"));
    auto sections = Value::array();
    BackupComparison::compare(
        from, backup_, std::nullopt,
        [&](const BackupComparison::Section& section) {
          auto list = Value::array();
          for (const auto& each : section.differences) list.append(exploreRecords::difference(each));
          auto record = Value::object({{"id", section.id}, {"title", section.title}});
          if (section.problem) record.set("problem", *section.problem);
          record.set("differences", std::move(list));
          sections.append(std::move(record));
        },
        stop_);
    return Value::object({{"from", idOf(from)}, {"to", idOf(backup_)}, {"sections", std::move(sections)}});
  }

  Value search() const {
    const auto& query = target_.required("q");
    const auto limit = target_.number("limit", standardHits, mostHits);
    // One more than asked for tells whether there are more.
    auto hits = target_.optional("contents") == "1"
                    ? backup_.searchContents(query, limit + 1, [this] { return stop_.stop_requested(); })
                    : hitsByName(backup_, query, limit + 1);
    platform::throwIfCancelled(stop_);
    const bool isLimited = hits.size() > limit;
    if (isLimited) hits.resize(limit);
    auto list = Value::array();
    for (const auto& hit : hits) list.append(exploreRecords::hit(hit, idOf(backup_)));
    return Value::object({{"hits", std::move(list)}, {"limited", isLimited}});
  }

  HTTPResponse report() const {
    const auto& name = target_.required("name");
    const auto known =
        std::ranges::find(reports, name, &std::pair<std::string_view, std::string_view>::first);
    if (known == reports.end()) throw UsageError("A report is \"backup\" or \"security\".");
    auto document = BackupReports::report(known->second, backup_.directory(), backup_.repository);
    if (!document)
      throw NotFoundError(
          fmt::format("The backup {} has no such report, or it can't be opened.", idOf(backup_)));
    auto response = HTTPResponse::status(200);
    response.headers.emplace("Content-Type", "application/pdf");
    response.body = std::move(*document);
    return response;
  }

  HTTPResponse download() const {
    auto all = forms(entry());
    const auto form = target_.number("form", 0, 1000);
    if (form >= all.size()) throw NotFoundError("The object has no such form.");
    auto response = HTTPResponse::status(200);
    response.headers.emplace("Content-Type", "application/octet-stream");
    response.headers.emplace("Content-Disposition", "attachment");
    response.body = std::move(std::get<ObjectExport::Data>(all[form].content).data);
    return response;
  }

  const BrowseShelf& shelf_;
  const std::size_t folder_;
  const BackupReader backup_;
  const RequestTarget& target_;
  const std::stop_token& stop_;
};

Value backupPageJSON(const BackupReader& backup) {
  auto list = Value::array();
  for (const auto& section : backup.sections()) list.append(exploreRecords::section(section, idOf(backup)));
  return Value::object({{"backup", backupJSON(backup)}, {"sections", std::move(list)}});
}

/// "0", "1": the position of a folder.
std::size_t positionOf(const std::string& text) {
  std::size_t position = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), position);
  if (error != std::errc() || end != text.data() + text.size()) refusePath();
  return position;
}

}  // namespace

HTTPResponse BrowseAnswers::answer(const RequestTarget& target, const std::stop_token& stop) const {
  const std::span path(target.path);
  if (path.size() < 2 || path.size() > 6 || path[0] != "api" || path[1] != "folders") refusePath();
  if (path.size() == 2) return BackupAnswers::json(foldersJSON(shelf_));

  const auto position = positionOf(path[2]);
  const auto& repository = shelf_.folder(position).repository;
  if (path.size() == 4 && path[3] == "history")
    return BackupAnswers::json(historyJSON(repository, target, stop));
  if (path.size() < 4 || path[3] != "backups") refusePath();
  if (path.size() == 4) return BackupAnswers::json(backupsJSON(repository));
  if (path.size() == 5) return BackupAnswers::json(backupPageJSON(shelf_.backup(position, path[4])));
  return BackupAnswers(shelf_, position, path[4], target, stop).answer(path[5]);
}

}  // namespace orvik::host
