#pragma once

#include <optional>
#include <string>
#include <vector>

#include "OrvikCore/Format/BackupManifest.h"
#include "OrvikCore/Store/CleanupResult.h"
#include "Platform/Date.h"

namespace orvik {

/// What a report tells and a backup's folder doesn't hold. Never a secret.
struct ReportContext {
  std::string user;              ///< who ran it
  std::string host;              ///< machine name
  std::string orvikVersion;      ///< of the software that makes the report
  std::string clientID;          ///< OAuth client ID
  std::string credentialSource;  ///< where the client secret came from
  std::vector<std::string> notes;
  std::optional<CleanupResult> retention;    ///< what retention removed in this run
  platform::Date created = platform::now();  ///< of the report; stands in its footer and its metadata

  /// Every page of both reports: whose backup, which, and when the report was made.
  std::string footer(const BackupManifest& manifest) const;
  /// "<user> on <host>"
  std::string runBy() const;
};

}  // namespace orvik
