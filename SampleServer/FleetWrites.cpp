#include <mutex>

#include "Platform/Locale/Text.h"
#include "SampleServer/Fleet.h"
#include "SampleServer/RecordTexts.h"
#include "SampleServer/WrittenRecord.h"

namespace sample {

using platform::json::Value;

void Fleet::hold(Section& state, std::size_t section, std::size_t index, Value record) {
  const SectionRow& row = sectionTable()[section];
  setRecordID(row, record, idOf(section, index));
  state.names[index] = recordName(row, record);
  if (row.id == "packages") {
    shelf_.describe(index, textOf(record, "fileName"), textOf(record, "hashType"),
                    textOf(record, "hashValue"));
  }
  state.written[index] = std::make_shared<const Value>(std::move(record));
}

std::string Fleet::create(std::size_t section, Value record) {
  std::unique_lock lock(mutex_);
  Section& state = sections_[section];
  hold(state, section, state.count, std::move(record));
  return idOf(section, state.count++);
}

bool Fleet::write(std::size_t section, std::string_view id, Value record) {
  std::unique_lock lock(mutex_);
  const auto index = find(sections_[section], section, id);
  if (index) hold(sections_[section], section, *index, std::move(record));
  return index.has_value();
}

bool Fleet::describeDevice(std::size_t section, std::string_view id, std::optional<std::string> name,
                           std::optional<std::string> assetTag) {
  std::unique_lock lock(mutex_);
  Section& state = sections_[section];
  const auto index = find(state, section, id);
  if (!index) return false;
  if (name) state.names[*index] = *std::move(name);
  if (assetTag) state.assetTags[*index] = *std::move(assetTag);
  return true;
}

bool Fleet::storePackageFile(std::string_view id, const std::string& fileName, platform::Bytes content) {
  const std::size_t packages = *sectionNumber("packages");
  std::unique_lock lock(mutex_);
  Section& cloud = sections_[*sectionNumber("jcdsFiles")];
  const auto index = find(sections_[packages], packages, id);
  if (!index) return false;
  if (shelf_.store(*index, fileName, std::move(content))) {
    ++cloud.count;
  } else {
    cloud.removed.erase(*shelf_.cloudFile(fileName));
  }
  if (const auto written = sections_[packages].written.find(*index);
      written != sections_[packages].written.end()) {
    Value record = *written->second;
    record.set("cloudTransferStatus", "READY");
    written->second = std::make_shared<const Value>(std::move(record));
  }
  return true;
}

std::optional<std::string> Fleet::idOfName(std::size_t section, std::string_view name) const {
  const std::string wanted = platform::locale::lowercased(name);
  std::shared_lock lock(mutex_);
  const Section& state = sections_[section];
  for (std::size_t i = 0; i < state.count; ++i) {
    if (state.removed.contains(i)) continue;
    if (platform::locale::lowercased(nameAt(state, section, i)) == wanted) return idOf(section, i);
  }
  return std::nullopt;
}

std::optional<bool> Fleet::isSmartGroup(std::size_t section, std::string_view id) const {
  std::shared_lock lock(mutex_);
  const auto index = find(sections_[section], section, id);
  if (!index) return std::nullopt;
  return isSmart(context(sections_[section], section, *index));
}

}  // namespace sample
