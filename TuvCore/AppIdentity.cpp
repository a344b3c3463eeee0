#include "TuvCore/AppIdentity.h"

#include <cstdlib>
#include <string_view>

#include "Platform/Host.h"

namespace tuv {

const AppIdentity& AppIdentity::own() {
  static const AppIdentity identity{"orvik", "org.orvik", "", "ORVIK_DEV"};
  return identity;
}

std::string AppIdentity::codeSigningRequirement() const {
  return "anchor apple generic and certificate leaf[subject.OU] = \"" + teamID + "\"";
}

bool AppIdentity::isDevMode() const {
  const char* value = std::getenv(devModeVariable.c_str());
  return value != nullptr && std::string_view(value) == "1";
}

std::filesystem::path AppIdentity::userSupportDirectory() const {
  if (const char* data = std::getenv("XDG_DATA_HOME"); data != nullptr && *data == '/')
    return std::filesystem::path(data) / folderName();
  return std::filesystem::path(platform::homeFolder()) / ".local/share" / folderName();
}

std::filesystem::path AppIdentity::systemSupportDirectory() const {
  return std::filesystem::path("/var/lib") / folderName();
}

}  // namespace tuv
