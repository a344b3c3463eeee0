#pragma once

#include <string>

#include "Platform/Date.h"
#include "TuvCore/Error.h"

namespace orvik {

/// Why a run could not begin or go on.
class BackupEngineError : public tuv::Error {
 public:
  enum class Kind { cannotConnect, locked };

  /// Whether a run that can't read from the server has its client credential to blame.
  enum class Credential { notAtFault, refused };

  /// "Can't read from Jamf Pro: " + `reason`.
  static BackupEngineError cannotConnect(const std::string& reason,
                                         Credential credential = Credential::notAtFault);
  /// Another writer holds the folder. `by` is "<user> on <host>"; the date is shown in the user's locale.
  static BackupEngineError locked(std::string by, platform::Date since);

  Kind kind() const noexcept { return kind_; }
  /// Of `cannotConnect`.
  Credential credential() const noexcept { return credential_; }
  /// Of `locked`: who holds the folder and since when.
  const std::string& by() const noexcept { return by_; }
  platform::Date since() const noexcept { return since_; }

 private:
  BackupEngineError(Kind kind, std::string description, std::string by, platform::Date since);
  Kind kind_;
  Credential credential_ = Credential::notAtFault;
  std::string by_;
  platform::Date since_;
};

}  // namespace orvik
