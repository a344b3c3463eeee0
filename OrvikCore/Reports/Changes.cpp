#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "OrvikCore/Explore/IndexView.h"
#include "OrvikCore/Explore/NaturalOrder.h"
#include "OrvikCore/Reports/ChangeLines.h"
#include "OrvikCore/Reports/ReportBlocks.h"
#include "OrvikCore/Reports/ReportText.h"
#include "Platform/JSON/Codable.h"

namespace orvik::reportBlocks {

namespace {

using Tone = PDFDocumentWriter::Tone;
using Texts = std::vector<std::string>;

constexpr std::size_t mostInBackup = 60;
constexpr std::size_t mostInSimulation = 25;
/// Changed objects of one section whose fields are shown.
constexpr std::size_t mostWithFields = 40;

/// An object of an index by the name under which it is shown.
struct Named {
  std::string name;
  IndexView::Item item;
};

Named named(const IndexView::Item& item) {
  IndexItem shown;
  shown.id = item.id;
  const auto name = item.value["name"];
  if (const auto text = name ? name->string() : std::nullopt) shown.name = *text;
  return {BackupReader::Entry::displayNameOf(shown), item};
}

std::vector<Named> withChange(const IndexView& index, IndexItem::Change change) {
  std::vector<Named> found;
  for (const auto& item : index.items()) {
    const auto value = item.value["change"];
    if (value && value->string() == platform::json::textOf(change)) found.push_back(named(item));
  }
  return inNaturalOrder(std::move(found), &Named::name);
}

Texts namesOf(const std::vector<Named>& objects) {
  Texts names;
  for (const auto& each : objects) names.push_back(reportText::line(each.name));
  return names;
}

Texts namesOf(const std::vector<RemovedItem>& removed) {
  Texts names;
  for (const auto& each : removed) {
    IndexItem item;
    item.id = each.id;
    item.name = each.name;
    names.push_back(BackupReader::Entry::displayNameOf(item));
  }
  names =
      inNaturalOrder(std::move(names), [](const std::string& name) -> const std::string& { return name; });
  std::ranges::transform(names, names.begin(),
                         [](const std::string& name) { return reportText::line(name); });
  return names;
}

/// "New (70)"; of a list that is cut also how much of it is shown.
std::string label(std::string_view what, std::size_t count, std::size_t limit) {
  auto text = fmt::format("{} ({})", what, count);
  if (count > limit) text += fmt::format(" – first {} shown ({} more)", limit, count - limit);
  return text;
}

/// The changes of one section, drawn below its title.
class SectionChanges {
 public:
  SectionChanges(PDFDocumentWriter& writer, const BackupReader& reader, Mode mode)
      : writer_(writer), reader_(reader), mode_(mode) {}

  /// Returns whether there were any.
  bool draw(const SectionSummary& section) {
    const auto& counts = section.counts;
    if (counts.new_ == 0 && counts.changed == 0 && counts.removed == 0) return false;
    const auto index = IndexView::of(reader_, section.id);
    if (!index) {
      drawCounts(section);
      return true;
    }
    const auto added = namesOf(withChange(*index, IndexItem::Change::new_));
    const auto changed = withChange(*index, IndexItem::Change::changed);
    const auto removed = namesOf(index->removed());
    if (added.empty() && changed.empty() && removed.empty()) return false;
    writer_.subheading(reportText::title(section));
    if (isDevices(section.id)) {
      if (!changed.empty()) writer_.bullets({label("Inventory updated", changed.size(), changed.size())});
      list("New", added, Tone::good);
    } else {
      list("New", added, Tone::good);
      drawChanged(section, changed);
    }
    list("Removed", removed, Tone::bad);
    return true;
  }

 private:
  std::size_t limit() const { return mode_ == Mode::simulation ? mostInSimulation : mostInBackup; }

  void list(std::string_view what, const Texts& names, Tone tone) {
    if (names.empty()) return;
    writer_.label(label(what, names.size(), limit()), tone);
    writer_.bullets(names, Tone::normal, limit());
  }

  /// What the manifest alone tells.
  void drawCounts(const SectionSummary& section) {
    Texts texts;
    const auto add = [&](std::string_view what, int count) {
      if (count != 0) texts.push_back(fmt::format("{} ({})", what, count));
    };
    writer_.subheading(reportText::title(section));
    add("New", section.counts.new_);
    add(isDevices(section.id) ? "Inventory updated" : "Changed", section.counts.changed);
    add("Removed", section.counts.removed);
    writer_.bullets(texts);
    writer_.paragraph("The section's index can't be read, so the objects are not named.", Tone::muted);
  }

  void drawChanged(const SectionSummary& section, const std::vector<Named>& changed) {
    auto names = namesOf(changed);
    if (mode_ == Mode::simulation || names.empty()) return list("Changed", names, Tone::warning);
    writer_.label(label("Changed", names.size(), limit()), Tone::warning);
    const auto detailed = std::min(names.size(), mostWithFields);
    drawFields(section, changed, detailed);
    if (names.size() == detailed) return;
    names.erase(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(detailed));
    writer_.label(fmt::format("{} more changed objects.", names.size()), Tone::muted);
    writer_.bullets(names, Tone::normal, limit() - detailed);
  }

  /// The first objects, each with what differs.
  void drawFields(const SectionSummary& section, const std::vector<Named>& changed, std::size_t count) {
    const auto before = parentItems(section.id, changed, count);
    for (std::size_t i = 0; i < count; ++i) {
      const auto& item = changed[i].item;
      writer_.bullet(reportText::line(changed[i].name), linesOf(before.at(item.id), item));
    }
  }

  Texts linesOf(const std::optional<IndexItem>& before, const IndexView::Item& item) const try {
    return changeLines(reader_, before, IndexView::record(item));
  } catch (const platform::json::DecodingError&) {
    return {"Its record can't be read."};
  }

  /// The first objects as the parent has them, by ID; nothing for what it doesn't tell.
  std::map<std::string_view, std::optional<IndexItem>> parentItems(const std::string& sectionID,
                                                                   const std::vector<Named>& changed,
                                                                   std::size_t count) const {
    std::map<std::string_view, std::optional<IndexItem>> items;
    for (std::size_t i = 0; i < count; ++i) items.try_emplace(changed[i].item.id);
    const auto& parent = reader_.manifest.parentBackupID.value_or("");
    if (!BackupRepository::isBackupName(parent)) return items;
    const BackupReader reader(reader_.repository, {}, reader_.repository.backupDirectory(parent));
    const auto index = IndexView::of(reader, sectionID);
    if (!index) return items;
    for (const auto& item : index->items()) {
      const auto wanted = items.find(item.id);
      if (wanted == items.end()) continue;
      try {
        wanted->second = IndexView::record(item);
      } catch (const platform::json::DecodingError&) {
        // As if it were not there.
      }
    }
    return items;
  }

  PDFDocumentWriter& writer_;
  const BackupReader& reader_;
  const Mode mode_;
};

}  // namespace

void changes(PDFDocumentWriter& writer, const BackupReader& reader, Mode mode) {
  const auto& parent = reader.manifest.parentBackupID;
  writer.heading(parent ? "Changes since backup " + reportText::line(*parent)
                        : "Changes since the previous backup");
  if (!parent)
    return writer.paragraph(mode == Mode::simulation
                                ? "There is no backup yet, so a backup would store everything as new."
                                : "This is the first backup of this instance, so everything is new.");
  SectionChanges sections(writer, reader, mode);
  bool isAny = false;
  for (const auto& section : reader.sections())
    if (sections.draw(section.summary)) isAny = true;
  if (!isAny) writer.paragraph("Nothing changed.");
}

}  // namespace orvik::reportBlocks
