#include "SampleServer/Fleet.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <mutex>

#include "Platform/JSON/Writer.h"
#include "SampleServer/RecordTexts.h"

namespace sample {

using platform::Bytes;

struct Fleet::Templates {
  RecordTemplate listed;
  RecordTemplate record;
  RecordTemplate classic;
  RecordTemplate basic;
};

Fleet::Fleet(FleetSize size, std::uint64_t seed) : size_(size), seed_(seed) {
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
  return sectionTable()[section].naming->name(sectionSeed(section), index);
}

std::uint64_t Fleet::sectionSeed(std::size_t section) const {
  // People are the same ones wherever a section speaks of them.
  const SectionRow& row = sectionTable()[section];
  if (row.naming->style == Naming::Style::login) return seed_;
  // The files of the cloud are those of packages.
  return mix(seed_ ^ hashText(row.naming == &naming::package ? "packages" : row.id)) >> 16;
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
  const auto name = state.names.find(index);
  const unsigned changes = revision == state.revisions.end() ? 0 : revision->second;
  std::string shown = name == state.names.end() ? nameOf(section, index) : name->second;
  if (row.onlyNamed && changes > 0) shown += fmt::format("-{}", changes + 1);
  const std::uint64_t key = mix(mix(seed_ ^ hashText(row.id)) + index);
  return {*this, row, index, idOf(section, index), std::move(shown), changes, key, Draw(mix(key))};
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
    for (index = 0; index < state.count && nameOf(section, index) != id;) ++index;
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
    element.render(out, c);
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
  (form == RecordForm::classic ? made.classic : made.record).render(out, *found);
  return out;
}

bool Fleet::change(std::size_t section, std::string_view id) {
  std::unique_lock lock(mutex_);
  const auto index = find(sections_[section], section, id);
  if (index) ++sections_[section].revisions[*index];
  return index.has_value();
}

bool Fleet::remove(std::size_t section, std::string_view id) {
  std::unique_lock lock(mutex_);
  const auto index = find(sections_[section], section, id);
  if (index) sections_[section].removed.insert(*index);
  return index.has_value();
}

bool Fleet::rename(std::size_t section, std::string_view id, std::string name) {
  if (sectionTable()[section].ids == IDStyle::fileName) return false;  // the name is the id
  std::unique_lock lock(mutex_);
  const auto index = find(sections_[section], section, id);
  if (index) sections_[section].names[*index] = std::move(name);
  return index.has_value();
}

std::optional<std::string> Fleet::add(std::size_t section) {
  const SectionKind kind = sectionTable()[section].kind;
  if (kind == SectionKind::classicSingle || kind == SectionKind::proSingle || kind == SectionKind::files) {
    return std::nullopt;
  }
  std::unique_lock lock(mutex_);
  return idOf(section, sections_[section].count++);
}

std::optional<std::string> Fleet::currentName(std::size_t section, std::string_view id) const {
  std::shared_lock lock(mutex_);
  const auto index = find(sections_[section], section, id);
  if (!index) return std::nullopt;
  return context(sections_[section], section, *index).name;
}

}  // namespace sample
