#include "orvik/Output/OutputFile.h"

#include <fmt/format.h>

#include "Platform/Files/Files.h"
#include "orvik/ExitStatus.h"

namespace orvik::host {

void requireOutputFile(std::string_view option, const std::filesystem::path& file) {
  const auto folder = std::filesystem::absolute(file).parent_path();
  if (!platform::files::isDirectory(folder))
    throw UsageError(fmt::format("The folder {} of {} is not there.", folder.string(), option));
  if (!file.has_filename() || platform::files::isDirectory(file))
    throw UsageError(fmt::format("{} of {} is a folder; name a file.", file.string(), option));
}

}  // namespace orvik::host
