#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/BackupJournal.h"

/// What holds for a journal of any bytes.
namespace orvik::fuzz {

/// The first rule that `bytes` break, as a sentence; nothing when all hold.
inline std::optional<std::string> brokenJournalRule(std::string_view bytes) {
  const auto entries = BackupJournal::parse(bytes);
  std::string text;
  for (const auto& entry : entries) {
    const auto line = BackupFormat::makeLineEncoder().encode(entry);
    if (line.find('\n') != std::string::npos) return "an entry takes more than one line";
    if (!line.starts_with('{')) return "an entry would be taken as sealed";
    text += line + "\n";
  }
  if (!(BackupJournal::parse(text) == entries)) return "entries change when they are written again";
  const std::string behindATornLine = std::string(bytes) + "\n" + text;
  if (BackupJournal::parse(behindATornLine).size() != 2 * entries.size())
    return "a line costs its neighbours";
  return std::nullopt;
}

}  // namespace orvik::fuzz
