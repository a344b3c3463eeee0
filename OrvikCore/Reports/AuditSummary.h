#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "OrvikCore/Format/BackupManifest.h"
#include "OrvikCore/Reports/AuditSums.h"
#include "OrvikCore/Reports/AuditTrail.h"

namespace orvik {

/// Where package files came from, as a backup's index names it. An audit entry of a download is the source, a
/// blank and the file's name, and either may hold blanks.
class DownloadSources {
 public:
  /// None without a folder, or when the index can't be read.
  DownloadSources(const BackupManifest& manifest, const std::optional<std::filesystem::path>& folder);

  /// The source that a download's target begins with; its first word when none does.
  std::string of(std::string_view target) const;

 private:
  std::set<std::string> names_;
};

/// What one walk over a run's audit log counts.
struct AuditSummary {
  std::int64_t entries = 0;
  std::size_t damagedLines = 0;
  std::int64_t requests = 0;   ///< without the one for a token
  std::int64_t downloads = 0;  ///< completed ones
  std::int64_t localActions = 0;
  std::int64_t notable = 0;  ///< those for which `isNotable` holds
  AuditSums methods{20};     ///< this and the next two of requests
  AuditSums outcomes{50};
  AuditSums endpoints{1000};
  AuditSums sources{50};  ///< of completed downloads

  AuditSummary(const AuditTrail& trail, const DownloadSources& downloadSources);

  /// There is a request, and all are GET.
  bool isReadOnly() const;
  /// Downloads, local actions, and requests that did not answer 200.
  static bool isNotable(const AuditEntry& entry);
  /// The outcome's name for people.
  static std::string outcomeText(const AuditEntry& entry);

 private:
  void count(const AuditEntry& entry, const DownloadSources& downloadSources);
};

}  // namespace orvik
