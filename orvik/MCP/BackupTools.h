#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "JamfCore/Tools/JamfTool.h"

namespace orvik::host {

/// Tools that read the backups below a folder: that of all instances, or of one. They change nothing, ask no
/// server and need no organization. Answers are what the commands of the same purpose print with `--json`, as
/// one list. `keyFile` opens sealed folders, else the keys of this machine do.
std::vector<jamf::JamfTool> backupTools(const std::filesystem::path& root,
                                        const std::optional<std::string>& keyFile);

}  // namespace orvik::host
