#include "SampleServer/Fleet.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <mutex>

#include "Platform/JSON/View.h"
#include "SampleServer/RecordFiles.h"
#include "SampleServer/RecordTexts.h"
#include "SampleServer/WrittenRecord.h"

namespace sample {

using platform::Bytes;

struct Fleet::Templates {
  RecordTemplate listed;
  RecordTemplate record;
  RecordTemplate classic;
  RecordTemplate basic;
};

Fleet::Fleet(FleetSize size, std::uint64_t seed)
    : size_(size),
      seed_(seed),
      shelf_(size, sectionSeed(*sectionNumber("packages")), countOf(*sectionNumber("packages")),
             countOf(*sectionNumber("jcdsFiles"))) {
  for (const SectionRow& row : sectionTable()) {
    templates_.push_back({RecordTemplate(row.listed.empty() ? row.record : row.listed),
                          RecordTemplate(row.record), RecordTemplate(row.classic),
                          RecordTemplate(row.basic)});
    sections_.emplace_back().count = row.counts[static_cast<std::size_t>(size)];
  }
}

Fleet::~Fleet() = default;

std::size_t Fleet::countOf(std::size_t section) const {
  return sectionTable()[section].counts[static_cast<std::size_t>(size_)];
}

std::string Fleet::nameOf(std::size_t section, std::size_t index) const {
  if (sectionTable()[section].ids == IDStyle::fileName) return shelf_.cloudFileName(index);
  return sectionTable()[section].naming->name(sectionSeed(section), index);
}

std::uint64_t Fleet::sectionSeed(std::size_t section) const {
  // People are the same ones wherever a section speaks of them.
  const SectionRow& row = sectionTable()[section];
  if (row.naming->style == Naming::Style::login) return seed_;
  return mix(seed_ ^ hashText(row.id)) >> 16;
}

std::string Fleet::idOf(std::size_t section, std::size_t index) const {
  const SectionRow& row = sectionTable()[section];
  if (row.naming == &naming::settings && row.ids == IDStyle::number) return "settings";
  if (row.ids == IDStyle::fileName) return nameOf(section, index);
  if (row.ids == IDStyle::number) return std::to_string(numberOf(index));
  const std::uint64_t base = sectionSeed(section);
  Bytes text;
  // The last digits are the place in disguise, so that the id leads back to it.
  appendUUID(text, mix(base + index), (mix(base) << 48) | ((base ^ index) & 0xffffffffffff), false);
  return text.substr(1, text.size() - 2);
}

RecordContext Fleet::context(const Section& state, std::size_t section, std::size_t index) const {
  const SectionRow& row = sectionTable()[section];
  const auto revision = state.revisions.find(index);
  const std::uint64_t key = mix(mix(seed_ ^ hashText(row.id)) + index);
  const auto date = state.dates.find(index);
  RecordContext made{*this,
                     row,
                     index,
                     idOf(section, index),
                     nameAt(state, section, index),
                     revision == state.revisions.end() ? 0 : revision->second,
                     key,
                     Draw(mix(key)),
                     date == state.dates.end() ? InventoryDate() : date->second};
  if (const auto tag = state.assetTags.find(index); tag != state.assetTags.end()) made.assetTag = tag->second;
  if (const auto found = state.written.find(index); found != state.written.end())
    made.written = found->second;
  return made;
}

std::string Fleet::nameAt(const Section& state, std::size_t section, std::size_t index) const {
  const auto name = state.names.find(index);
  std::string shown = name == state.names.end() ? nameOf(section, index) : name->second;
  if (!sectionTable()[section].onlyNamed) return shown;
  const auto revision = state.revisions.find(index);
  if (revision != state.revisions.end()) shown += fmt::format("-{}", revision->second + 1);
  return shown;
}

void Fleet::render(Bytes& out, RecordContext& context, const RecordTemplate& made) {
  if (context.written) {
    out += writtenRecord(context).text();
  } else {
    made.render(out, context);
  }
}

platform::json::Value Fleet::writtenRecord(const RecordContext& context) {
  platform::json::Value record = *context.written;
  if (context.row.id == "packages") setPackageMembers(record, context.fleet.shelf().claim(context.index));
  return record;
}

std::optional<std::size_t> Fleet::find(const Section& state, std::size_t section, std::string_view id) const {
  const SectionRow& row = sectionTable()[section];
  std::size_t index = state.count;
  if (row.naming == &naming::settings && row.ids == IDStyle::number) {
    index = id == "settings" ? 0 : state.count;
  } else if (row.ids == IDStyle::number) {
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(id.data(), id.data() + id.size(), number);
    if (error != std::errc() || end != id.data() + id.size() || number == 0) return std::nullopt;
    index = (number - 1) / 10 * 9 + (number - 1) % 10;
  } else if (row.ids == IDStyle::uuid && id.size() == 36) {
    std::uint64_t tail = 0;
    std::from_chars(id.data() + 24, id.data() + 36, tail, 16);
    index = static_cast<std::size_t>((tail ^ sectionSeed(section)) & 0xffffffffffff);
  } else if (row.ids == IDStyle::fileName) {
    index = shelf_.cloudFile(id).value_or(state.count);
  }
  if (index >= state.count || state.removed.contains(index) || idOf(section, index) != id)
    return std::nullopt;
  return index;
}

std::size_t Fleet::objectCount() const {
  std::size_t sum = 0;
  for (std::size_t i = 0; i < sectionTable().size(); ++i) {
    if (sectionTable()[i].kind != SectionKind::devices) sum += count(i);
  }
  return sum;
}

std::size_t Fleet::count(std::size_t section) const {
  std::shared_lock lock(mutex_);
  return sections_[section].count - sections_[section].removed.size();
}

std::vector<std::string> Fleet::ids(std::size_t section) const {
  std::shared_lock lock(mutex_);
  const Section& state = sections_[section];
  std::vector<std::string> found;
  for (std::size_t i = 0; i < state.count; ++i) {
    if (!state.removed.contains(i)) found.push_back(idOf(section, i));
  }
  return found;
}

void Fleet::appendElements(Bytes& out, std::size_t section, std::size_t from, std::size_t most,
                           const RecordTemplate& element) const {
  std::shared_lock lock(mutex_);
  const Section& state = sections_[section];
  std::size_t index = from;
  auto removed = state.removed.begin();
  for (; removed != state.removed.end() && *removed <= index; ++removed) ++index;
  bool first = true;
  for (std::size_t left = most; left > 0 && index < state.count; ++index) {
    if (removed != state.removed.end() && *removed == index) {
      ++removed;
      continue;
    }
    if (!first) out += ',';
    first = false;
    --left;
    RecordContext c = context(state, section, index);
    // Where a list has elements of its own, they show nothing of a record but what the context knows.
    if (c.row.listed.empty()) {
      render(out, c, element);
    } else {
      element.render(out, c);
    }
  }
}

Bytes Fleet::classicList(std::size_t section, ListShape shape) const {
  const SectionRow& row = sectionTable()[section];
  std::string key(row.key);
  if (shape == ListShape::emptyArray) return fmt::format("{{\"{}\":[]}}", key);
  if (shape == ListShape::sizeOnly) return fmt::format("{{\"{}\":{{\"size\":0}}}}", key);
  if (shape == ListShape::misnamedRoot) {
    if (key.find('_') == std::string::npos) key += " list";
    std::replace(key.begin(), key.end(), '_', ' ');
  }
  const bool single = shape == ListShape::singleObject;
  const bool sized = shape == ListShape::wrappedWithSize;
  Bytes out = fmt::format("{{\"{}\":", key);
  if (sized) {
    out += fmt::format("{{\"size\":{},\"{}\":[", count(section), rootKey(row));
  } else if (single || shape == ListShape::wrapped) {
    out += fmt::format("{{\"{}\":{}", rootKey(row), single ? "" : "[");
  } else {
    out += '[';
  }
  const std::size_t start = out.size();
  appendElements(out, section, 0, single ? 1 : static_cast<std::size_t>(-1), templates_[section].listed);
  if (single && out.size() == start) out += "{}";
  if (!single) out += ']';
  if (sized || single || shape == ListShape::wrapped) out += '}';
  return out += '}';
}

Bytes Fleet::accountList() const {
  const std::size_t users = *sectionNumber("accounts");
  const std::size_t groups = *sectionNumber("accountGroups");
  Bytes out = R"({"accounts":{"users":[)";
  appendElements(out, users, 0, static_cast<std::size_t>(-1), templates_[users].listed);
  out += R"(],"groups":[)";
  appendElements(out, groups, 0, static_cast<std::size_t>(-1), templates_[groups].listed);
  return out += "]}}";
}

Bytes Fleet::page(std::size_t section, std::size_t page, std::size_t pageSize, bool withTotal,
                  ListForm form) const {
  Bytes out = withTotal ? fmt::format("{{\"totalCount\":{},\"results\":[", count(section)) : "{\"results\":[";
  const Templates& made = templates_[section];
  const std::size_t most = sections_.size() * 1'000'000;
  if (page < most / pageSize) {
    appendElements(out, section, page * pageSize, pageSize,
                   form == ListForm::basic ? made.basic : made.listed);
  }
  return out += "]}";
}

Bytes Fleet::bareArray(std::size_t section) const {
  Bytes out = "[";
  appendElements(out, section, 0, static_cast<std::size_t>(-1), templates_[section].listed);
  return out += ']';
}

std::optional<Bytes> Fleet::record(std::size_t section, std::string_view id, RecordForm form) const {
  std::optional<RecordContext> found;
  {
    std::shared_lock lock(mutex_);
    const auto index = find(sections_[section], section, id);
    if (!index) return std::nullopt;
    found.emplace(context(sections_[section], section, *index));
  }
  Bytes out;
  out.reserve(4096);
  const Templates& made = templates_[section];
  render(out, *found, form == RecordForm::classic ? made.classic : made.record);
  return out;
}

std::optional<platform::json::Value> Fleet::recordValue(std::size_t section, std::string_view id) const {
  const auto bytes = record(section, id);
  if (!bytes) return std::nullopt;
  return platform::json::Value::from(platform::json::Document::parse(*bytes)->root());
}

bool Fleet::change(std::size_t section, std::string_view id) {
  std::unique_lock lock(mutex_);
  Section& state = sections_[section];
  const auto index = find(state, section, id);
  if (!index) return false;
  if (sectionTable()[section].ids == IDStyle::fileName) return shelf_.change(id);
  const unsigned revision = ++state.revisions[*index];
  if (state.written.contains(*index)) {
    platform::json::Value record = writtenRecord(context(state, section, *index));
    touchRecord(sectionTable()[section], record, revision);
    hold(state, section, *index, std::move(record));
  }
  if (const auto date = state.dates.find(*index); date != state.dates.end()) date->second.isSet = false;
  return true;
}

InventoryDate* Fleet::dateOf(std::size_t section, std::string_view id) {
  if (sectionTable()[section].kind != SectionKind::devices) return nullptr;
  const auto index = find(sections_[section], section, id);
  return index ? &sections_[section].dates[*index] : nullptr;
}

bool Fleet::setInventoryDate(std::size_t section, std::string_view id, std::optional<std::string> date) {
  std::unique_lock lock(mutex_);
  InventoryDate* const found = dateOf(section, id);
  if (!found) return false;
  found->isSet = true;
  found->text = std::move(date);
  return true;
}

bool Fleet::refresh(std::size_t section, std::string_view id) {
  std::unique_lock lock(mutex_);
  InventoryDate* const found = dateOf(section, id);
  if (!found) return false;
  ++found->refreshes;
  found->isSet = false;
  return true;
}

bool Fleet::remove(std::size_t section, std::string_view id) {
  std::unique_lock lock(mutex_);
  const auto index = find(sections_[section], section, id);
  if (!index) return false;
  sections_[section].removed.insert(*index);
  sections_[section].written.erase(*index);
  return true;
}

bool Fleet::rename(std::size_t section, std::string_view id, std::string name) {
  if (sectionTable()[section].ids == IDStyle::fileName) return false;  // the name is the id
  std::unique_lock lock(mutex_);
  const auto index = find(sections_[section], section, id);
  if (!index) return false;
  Section& state = sections_[section];
  if (state.written.contains(*index)) {
    platform::json::Value record = writtenRecord(context(state, section, *index));
    setRecordName(sectionTable()[section], record, name);
    hold(state, section, *index, std::move(record));
  } else {
    state.names[*index] = std::move(name);
  }
  return true;
}

std::optional<std::string> Fleet::add(std::size_t section) {
  const SectionRow& row = sectionTable()[section];
  if (row.kind == SectionKind::classicSingle || row.kind == SectionKind::proSingle ||
      row.kind == SectionKind::files || row.ids == IDStyle::fileName) {
    return std::nullopt;
  }
  std::unique_lock lock(mutex_);
  if (row.id == "packages") shelf_.addPackage();
  return idOf(section, sections_[section].count++);
}

std::string Fleet::addPackage(const NewPackage& package) {
  const std::size_t section = *sectionNumber("packages");
  std::unique_lock lock(mutex_);
  if (shelf_.addPackage(package)) ++sections_[*sectionNumber("jcdsFiles")].count;
  return idOf(section, sections_[section].count++);
}

std::vector<PackageFile> Fleet::packageFiles() const {
  const std::size_t packages = *sectionNumber("packages");
  const std::size_t cloud = *sectionNumber("jcdsFiles");
  std::shared_lock lock(mutex_);
  std::vector<PackageFile> files;
  std::set<std::string> seen;
  for (std::size_t i = 0; i < sections_[packages].count; ++i) {
    if (sections_[packages].removed.contains(i)) continue;
    const auto file = shelf_.file(shelf_.fileName(i));
    if (!seen.insert(file->name).second) continue;
    files.push_back({file->name, file->content.size, find(sections_[cloud], cloud, file->name).has_value(),
                     file->onShare});
  }
  return files;
}

std::optional<ShelvedFile> Fleet::cloudFile(std::string_view fileName) const {
  const std::size_t cloud = *sectionNumber("jcdsFiles");
  std::shared_lock lock(mutex_);
  if (!find(sections_[cloud], cloud, fileName)) return std::nullopt;
  return shelf_.file(fileName);
}

std::optional<ShelvedFile> Fleet::shareFile(std::string_view fileName) const {
  auto file = shelf_.file(fileName);
  if (file && !file->onShare) file.reset();
  return file;
}

std::optional<std::string> Fleet::currentName(std::size_t section, std::string_view id) const {
  std::shared_lock lock(mutex_);
  const auto index = find(sections_[section], section, id);
  if (!index) return std::nullopt;
  return context(sections_[section], section, *index).name;
}

}  // namespace sample
