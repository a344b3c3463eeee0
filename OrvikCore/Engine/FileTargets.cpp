#include "OrvikCore/Engine/FileTargets.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "OrvikCore/Jamf/RequestOutcome.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Concurrency/Cancellation.h"

namespace orvik {

namespace {

/// A tebibyte, above any package: the sizes of all that a list can name must add up without an overflow.
constexpr std::int64_t mostBytes = std::int64_t{1} << 40;

std::optional<std::string> textOf(const JSONTree& value) {
  auto text = value.string();
  if (text && text->empty()) text.reset();
  return text;
}

std::optional<std::int64_t> sizeOf(const JSONTree& value) {
  const auto size = value.integer();
  return size && *size >= 0 && *size <= mostBytes ? size : std::nullopt;
}

void setHash(FileSection::Target& target, std::optional<std::string> type, std::optional<std::string> value) {
  if (target.jamfHash() || !type || !value) return;
  target.hashType = std::move(type);
  target.hashValue = std::move(value);
}

}  // namespace

void forEachStoredObject(const RunContext& context, std::string_view section, const char* variant,
                         const std::function<void(const JSONTree&)>& show, const std::stop_token& stop) {
  const auto index = BackupRepository::loadIndex(context.partial, section, context.cipher);
  if (!index) return;
  for (const auto& item : index->items) {
    platform::throwIfCancelled(stop);
    const auto object = item.objects.find(variant);
    if (object == item.objects.end()) continue;
    JSONTree record;
    try {
      record = JSONTree::parse(context.store.object(object->second));
    } catch (const std::exception& error) {
      context.emit(
          BackupEvents::Note{fmt::format("Files of \"{}\" are left out, its record can't be read: {}",
                                         item.name.value_or(item.id), describeFailure(error))});
      continue;
    }
    show(record);
  }
}

void FileTargets::addPackage(const JSONTree& record) {
  auto fileName = textOf(record["fileName"]);
  if (!fileName) return;
  const auto [place, isNew] = places_.try_emplace(*fileName, targets_.size());
  if (isNew) {
    targets_.emplace_back();
    targets_.back().fileName = std::move(*fileName);
  }
  auto& target = targets_[place->second];
  if (auto name = textOf(record["packageName"])) target.packageNames.push_back(std::move(*name));
  setHash(target, textOf(record["hashType"]), textOf(record["hashValue"]));
  if (!target.size) target.size = sizeOf(record["size"]);
}

void FileTargets::addCloudFile(const JSONTree& entry) {
  const auto place = places_.find(entry["fileName"].string().value_or(std::string()));
  if (place == places_.end()) return;
  auto& target = targets_[place->second];
  target.onJCDS = true;
  if (!target.size) target.size = sizeOf(entry["length"]);
  setHash(target, "MD5", textOf(entry["md5"]));
}

}  // namespace orvik
