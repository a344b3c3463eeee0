#include "OrvikCore/Care/Finding.h"

#include "Platform/Files/Files.h"

namespace orvik {

namespace files = platform::files;

std::vector<std::string> listedNames(const std::filesystem::path& root, const std::string& folder,
                                     std::vector<Finding>& findings) {
  const auto path = root / folder;
  try {
    return files::listVisible(path);
  } catch (const files::FileError& error) {
    if (files::exists(path))
      findings.push_back({Finding::Kind::folderUnreadable, folder, error.description() + ".", {}, {}});
    return {};
  }
}

}  // namespace orvik
