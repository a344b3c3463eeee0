#pragma once

#include <filesystem>
#include <string_view>

namespace orvik::host {

/// A long command must not end at a name that could not be written from the start: throws `UsageError` when
/// the folder of a file that an option names isn't there, or when a folder has its name.
void requireOutputFile(std::string_view option, const std::filesystem::path& file);

}  // namespace orvik::host
