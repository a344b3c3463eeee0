#include "TuvCore/AppFolders.h"

#include <cstdlib>

#include "Platform/Host.h"

namespace tuv::AppFolders {

namespace {

constexpr const char* name = "orvik";

}  // namespace

std::filesystem::path user() {
  if (const char* data = std::getenv("XDG_DATA_HOME"); data != nullptr && *data == '/')
    return std::filesystem::path(data) / name;
  return std::filesystem::path(platform::homeFolder()) / ".local/share" / name;
}

std::filesystem::path system() { return std::filesystem::path("/var/lib") / name; }

}  // namespace tuv::AppFolders
