#pragma once

#include <optional>
#include <string>
#include <vector>

#include "OrvikCore/Explore/BackupReader.h"

namespace orvik::reportBlocks {

/// The package files of a backup by name, in the natural order of the user's locale; nothing when its list
/// can't be read or it has none.
std::optional<std::vector<FileRef>> packageFiles(const BackupReader& reader);

/// Whether the content is another than the server's record says.
bool isMismatch(const FileRef& file);
/// Whether the backup lacks the file, or has one that the server's record doesn't know.
bool needsAttention(const FileRef& file);
/// Its name and what is wrong with it.
std::string attentionText(const FileRef& file);

}  // namespace orvik::reportBlocks
