#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "OrvikCore/Security/BackupEncryption.h"
#include "fuzz/SectionIndexCheck.h"

/// What holds for "encryption.json" of any bytes.
namespace orvik::fuzz {

/// The first rule that `bytes` break, as a sentence; nothing when all hold.
inline std::optional<std::string> brokenEncryptionRecordRule(std::string_view bytes) {
  if (auto broken = brokenRecordRule<EncryptionInfo>(bytes)) return broken;
  const auto record = BackupFormat::makeDecoder().tryDecode<EncryptionInfo>(bytes);
  if (record && BackupEncryption::keyIDs(*record).size() != record->keys.size())
    return "an entry lacks its ID";
  return std::nullopt;
}

}  // namespace orvik::fuzz
