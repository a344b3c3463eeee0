#include <fmt/format.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "OrvikCore/Explore/SearchText.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Locale/Text.h"
#include "orvik/Explore/BackupChoice.h"
#include "orvik/Explore/ChangeText.h"
#include "orvik/Explore/EntryText.h"
#include "orvik/Explore/ExploreRecords.h"
#include "orvik/ExploreCommands.h"
#include "orvik/Report.h"
#include "orvik/VisibleText.h"
#include "orvik/Wording.h"

namespace orvik::host {

namespace {

namespace locale = platform::locale;
using platform::json::Value;
using Ink = Paint::Ink;

/// A text with all that matches the query in the colour of matches.
std::string highlighted(std::string_view text, std::string_view query, const Paint& paint) {
  std::string out;
  while (const auto match = locale::findIgnoringCase(text, query)) {
    out += text.substr(0, match->begin);
    out += paint(Ink::match, text.substr(match->begin, match->end - match->begin));
    text.remove_prefix(match->end);
  }
  return out += text;
}

std::vector<SearchHit> hitsInContents(const BackupReader& backup, const std::string& query, std::size_t limit,
                                      const Report& report, const std::stop_token& stop) {
  const auto view = report.view(Verbosity::brief);
  view->step("Searching");
  return backup.searchContents(
      query, limit, [&] { return stop.stop_requested(); },
      [&](std::size_t position, std::size_t total) { view->progress(position, total); });
}

/// In two lines where one would be too long to read.
std::string excerptLines(std::string_view excerpt, std::string_view query, const Paint& paint) {
  constexpr std::size_t longest = 72;
  const auto end = excerpt.find(": ");
  if (end == excerpt.npos || locale::scalars(excerpt).size() <= longest)
    return "\n      " + highlighted(excerpt, query, paint);
  return fmt::format("\n      {}\n        {}", excerpt.substr(0, end + 1),
                     highlighted(excerpt.substr(end + 2), query, paint));
}

std::string hitText(const SearchHit& hit, std::string_view query, const Paint& paint) {
  const auto name = highlighted(visibleLine(hit.entry.displayName()), query, paint);
  auto text = "  " + entryText::named(hit.entry, name, paint);
  if (!hit.entry.isStored()) text += "  " + changeText::word(hit.entry.change(), 0, paint);
  for (const auto& excerpt : hit.excerpts) text += excerptLines(visibleLine(excerpt), query, paint);
  return text;
}

/// Returns how many sections have hits.
std::size_t printHits(const BackupReader& backup, const std::vector<SearchHit>& hits, std::string_view query,
                      const Report& report) {
  std::map<std::string_view, std::string_view> titles;
  for (const auto& summary : backup.manifest.sections) titles.emplace(summary.id, summary.title);
  std::string_view section;
  std::size_t sections = 0;
  for (const auto& hit : hits) {
    const auto& id = hit.entry.sectionID;
    if (id != section) {
      report.text((sections == 0 ? "" : "\n") + entryText::heading(titles[id], id, report.paint()));
      ++sections;
    }
    section = id;
    report.record(exploreRecords::hit(hit, idOf(backup)));
    if (!report.isJSON()) report.text(hitText(hit, query, report.paint()));
  }
  return sections;
}

}  // namespace

ExitStatus search(const SearchArguments& arguments, Results& results, const std::stop_token& stop) {
  const auto backup = openedBackup(arguments.at, arguments.backup);
  const Report report(arguments.at, results);
  const auto limit = static_cast<std::size_t>(arguments.limit);
  // One more than asked for tells whether there are more.
  auto hits = arguments.contents ? hitsInContents(backup, arguments.query, limit + 1, report, stop)
                                 : hitsByName(backup, arguments.query, limit + 1);
  const bool isLimited = hits.size() > limit;
  if (isLimited) hits.resize(limit);

  const auto query = locale::trimmed(arguments.query);
  const auto sections = printHits(backup, hits, query, report);
  platform::throwIfCancelled(stop);
  auto text = fmt::format(
      "\n{} in {} of {}.", wording::counted(static_cast<std::int64_t>(hits.size()), "hit"),
      wording::counted(static_cast<std::int64_t>(sections), "section"), visibleLine(titleOf(backup)));
  if (hits.empty())
    text = fmt::format("No {} of {} has \"{}\" in it{}.", arguments.contents ? "object" : "name",
                       visibleLine(titleOf(backup)), visibleLine(query),
                       arguments.contents ? "" : "; --contents looks into the objects too");
  if (isLimited) text += fmt::format("\nThere are more; --limit {} shows twice as many.", 2 * limit);
  report.finished(text, Value::object({{"backup", idOf(backup)},
                                       {"hits", static_cast<std::int64_t>(hits.size())},
                                       {"limited", isLimited}}));
  report.requireReader();
  return ExitStatus::done;
}

}  // namespace orvik::host
