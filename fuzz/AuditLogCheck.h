#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/AuditLog.h"
#include "Platform/Files/Files.h"

/// What holds for an audit log of any bytes.
namespace orvik::fuzz {

/// The first rule that `bytes` break, as a sentence; nothing when all hold.
inline std::optional<std::string> brokenAuditRule(std::string_view bytes) {
  static const platform::files::TempFolder folder("orvik-audit");
  const auto path = folder / BackupFormat::auditFile;
  const auto write = [&](std::string_view content) { platform::files::atomicWrite(content, path); };

  write(bytes);
  std::vector<std::string> lines;
  LineFile::forEachLine(path, bytes.size(), [&](std::string_view line) { lines.emplace_back(line); });
  const auto whole = LineFile::lines(bytes);
  if (!std::equal(lines.begin(), lines.end(), whole.begin(), whole.end()))
    return "a file's lines differ from those of its content";

  std::vector<AuditEntry> entries;
  const auto damaged =
      AuditLog::forEach(folder.path(), [&](const AuditEntry& entry) { entries.push_back(entry); });
  if (entries.size() + damaged != lines.size()) return "a line is neither an entry nor damaged";
  std::string text;
  for (const auto& entry : entries) text += BackupFormat::makeLineEncoder().encode(entry) + "\n";
  write(text);
  if (!(AuditLog::read(folder.path()) == entries)) return "entries change when they are written again";
  return std::nullopt;
}

}  // namespace orvik::fuzz
