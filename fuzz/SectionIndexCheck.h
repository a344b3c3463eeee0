#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Format/BackupManifest.h"
#include "OrvikCore/Format/SectionIndex.h"

/// What holds for the records of any bytes.
namespace orvik::fuzz {

/// Nothing when `bytes` are no such record, or one that comes back from its own encoding.
template <class Record>
std::optional<std::string> brokenRecordRule(std::string_view bytes) {
  const auto decoder = BackupFormat::makeDecoder();
  const auto record = decoder.tryDecode<Record>(bytes);
  if (!record) return std::nullopt;
  const auto text = BackupFormat::makeEncoder().encode(*record);
  const auto again = decoder.tryDecode<Record>(text);
  if (!again) return "what was encoded does not decode";
  if (!(*again == *record)) return "the record changes on its way through its encoding";
  if (BackupFormat::makeEncoder().encode(*again) != text) return "the encoding is not stable";
  return std::nullopt;
}

/// The first rule that `bytes` break, as a sentence; nothing when all hold.
inline std::optional<std::string> brokenIndexRule(std::string_view bytes) {
  if (auto broken = brokenRecordRule<SectionIndex>(bytes)) return broken;
  if (auto broken = brokenRecordRule<IndexItem>(bytes)) return broken;
  return brokenRecordRule<BackupManifest>(bytes);
}

}  // namespace orvik::fuzz
