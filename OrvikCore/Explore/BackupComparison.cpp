#include "OrvikCore/Explore/BackupComparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "OrvikCore/Explore/IndexView.h"
#include "OrvikCore/Explore/NaturalOrder.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Concurrency/Cancellation.h"
#include "TuvCore/Error.h"

namespace orvik {

namespace {

using ChangeKind = BackupReader::ChangeKind;
using Difference = BackupComparison::Difference;

const SectionSummary* summaryOf(const BackupReader& reader, std::string_view sectionID) {
  const auto summary = std::ranges::find(reader.manifest.sections, sectionID, &SectionSummary::id);
  return summary != reader.manifest.sections.end() ? &*summary : nullptr;
}

/// The sections of both, in catalog order.
std::vector<std::string> sectionsOf(const BackupReader& from, const BackupReader& to) {
  std::vector<std::string> ids;
  for (const auto* reader : {&to, &from})
    for (const auto& summary : reader->manifest.sections)
      if (std::ranges::find(ids, summary.id) == ids.end()) ids.push_back(summary.id);
  std::ranges::stable_sort(ids, {}, SectionCatalog::position);
  return ids;
}

/// One section's index in one of the backups, or why there is none.
struct Side {
  std::optional<IndexView> index;
  std::optional<std::string> problem;
};

Side sideOf(const BackupReader& reader, std::string_view sectionID) {
  const auto* summary = summaryOf(reader, sectionID);
  const auto folder = reader.directory().filename().string();
  if (!summary) return {{}, fmt::format("{} doesn't know the section.", folder)};
  if (!summary->index) {
    const auto status = platform::json::textOf(summary->status);
    const auto why = summary->message ? ": " + *summary->message : std::string(".");
    return {{}, fmt::format("{} didn't read it ({}){}", folder, status, why)};
  }
  Side side{IndexView::of(reader, sectionID), {}};
  if (!side.index) side.problem = fmt::format("Its index in {} can't be read.", folder);
  return side;
}

/// Finds the items of an index by ID, in one step as long as they are asked for in their order.
class ItemsByID {
 public:
  explicit ItemsByID(const std::vector<IndexView::Item>& items) : items_(items), wasMet_(items.size()) {}

  /// Null for an ID that isn't there or was asked for before.
  const IndexView::Item* take(std::string_view id) {
    auto place = next_;
    if (place >= items_.size() || items_[place].id != id || wasMet_[place]) {
      if (places_.empty())
        for (std::size_t i = 0; i < items_.size(); ++i) places_.try_emplace(items_[i].id, i);
      const auto found = places_.find(id);
      if (found == places_.end() || wasMet_[found->second]) return nullptr;
      place = found->second;
    }
    wasMet_[place] = true;
    next_ = place + 1;
    return &items_[place];
  }

  bool wasMet(std::size_t place) const { return wasMet_[place]; }

 private:
  const std::vector<IndexView::Item>& items_;
  std::vector<bool> wasMet_;
  std::size_t next_ = 0;
  std::unordered_map<std::string_view, std::size_t> places_;  ///< made when it is needed
};

/// What two versions of a section have in common is passed over by the names of their objects.
class SectionDifferences {
 public:
  SectionDifferences(const BackupReader& from, IndexView old, const BackupReader& to, IndexView now,
                     std::string sectionID)
      : from_(from), to_(to), old_(std::move(old)), now_(std::move(now)), sectionID_(std::move(sectionID)) {
    for (const auto& error : old_.errors()) oldErrors_.emplace(error.id, &error);
    for (const auto& error : now_.errors()) newErrors_.emplace(error.id, &error);
  }

  /// Throws `platform::json::DecodingError` for an item that differs and is no record.
  std::vector<Difference> find(const std::stop_token& stop) {
    ItemsByID oldItems(old_.items());
    for (const auto& item : now_.items()) {
      platform::throwIfCancelled(stop);
      if (const auto* old = oldItems.take(item.id)) {
        if (!IndexView::refersToTheSame(*old, item))
          compare(IndexView::record(*old), IndexView::record(item));
      } else if (const auto error = oldErrors_.find(item.id); error != oldErrors_.end()) {
        addUnreadable(*error->second, from_);
      } else {
        add(ChangeKind::new_, IndexView::record(item));
      }
    }
    for (std::size_t i = 0; i < old_.items().size(); ++i) {
      const auto& item = old_.items()[i];
      if (oldItems.wasMet(i)) continue;
      if (const auto error = newErrors_.find(item.id); error != newErrors_.end())
        addUnreadable(*error->second, to_);
      else
        add(ChangeKind::removed, IndexView::record(item));
    }
    return inNaturalOrder(std::move(found_), [](const Difference& each) { return each.entry.displayName(); });
  }

 private:
  void compare(const IndexItem& old, const IndexItem& now) {
    auto changes = to_.difference(old, now);
    if (!changes) return;
    add(ChangeKind::changed, now);
    found_.back().changes = std::move(*changes);
  }

  void add(ChangeKind kind, const IndexItem& item) {
    Difference difference;
    difference.kind = kind;
    difference.entry.sectionID = sectionID_;
    difference.entry.item = item;
    difference.entry.removed = kind == ChangeKind::removed;
    found_.push_back(std::move(difference));
  }

  void addUnreadable(const ItemError& error, const BackupReader& reader) {
    IndexItem item;
    item.id = error.id;
    item.name = error.name;
    add(ChangeKind::failed, item);
    found_.back().entry.error =
        fmt::format("{} (in {})", error.message, reader.directory().filename().string());
  }

  const BackupReader& from_;
  const BackupReader& to_;
  const IndexView old_;
  const IndexView now_;
  const std::string sectionID_;
  std::unordered_map<std::string_view, const ItemError*> oldErrors_;
  std::unordered_map<std::string_view, const ItemError*> newErrors_;
  std::vector<Difference> found_;
};

std::string titleOf(const BackupReader& from, const BackupReader& to, const std::string& sectionID) {
  for (const auto* reader : {&to, &from})
    if (const auto* summary = summaryOf(*reader, sectionID)) return summary->title;
  return sectionID;
}

}  // namespace

void BackupComparison::compare(const BackupReader& from, const BackupReader& to,
                               const std::optional<std::string>& sectionID, const OnSection& onSection,
                               const std::stop_token& stop) {
  for (const auto& id : sectionID ? std::vector{*sectionID} : sectionsOf(from, to)) {
    platform::throwIfCancelled(stop);
    const auto readsIt = [&](const BackupReader& reader) {
      const auto* summary = summaryOf(reader, id);
      return summary && summary->index;
    };
    if (!readsIt(from) && !readsIt(to)) continue;
    Section section{id, titleOf(from, to, id), {}, {}};
    auto old = sideOf(from, id);
    auto now = sideOf(to, id);
    section.problem = old.problem ? old.problem : now.problem;
    try {
      if (!section.problem)
        section.differences =
            SectionDifferences(from, std::move(*old.index), to, std::move(*now.index), id).find(stop);
    } catch (const platform::json::DecodingError& error) {
      section.problem = "An index can't be read: " + error.description();
    }
    if (section.problem || !section.differences.empty()) onSection(std::move(section));
  }
}

}  // namespace orvik
