#include "OrvikCore/Format/BackupEngineError.h"

#include <utility>

#include "Platform/Locale/Text.h"

namespace orvik {

BackupEngineError::BackupEngineError(Kind kind, std::string description, std::string by, platform::Date since)
    : Error(std::move(description)), kind_(kind), by_(std::move(by)), since_(since) {}

BackupEngineError BackupEngineError::cannotConnect(const std::string& reason, Credential credential) {
  BackupEngineError error(Kind::cannotConnect, "Can't read from Jamf Pro: " + reason, {}, {});
  error.credential_ = credential;
  return error;
}

BackupEngineError BackupEngineError::locked(std::string by, platform::Date since) {
  std::string text = by + " has been backing up this instance into the same folder since " +
                     platform::locale::dateText(since) + ". Try again when that backup has finished.";
  return {Kind::locked, std::move(text), std::move(by), since};
}

}  // namespace orvik
