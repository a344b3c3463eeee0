#include "OrvikCore/Reports/AuditSummary.h"

#include <vector>

#include "OrvikCore/Reports/ReportBlocks.h"
#include "OrvikCore/Store/BackupRepository.h"

namespace orvik {

namespace {

constexpr std::size_t mostSources = 50;

/// The one call that is no GET: it changes nothing on the server.
bool isTokenRequest(const AuditEntry& entry) {
  return entry.method == "POST" && entry.target.ends_with("api/oauth/token");
}

}  // namespace

DownloadSources::DownloadSources(const BackupManifest& manifest,
                                 const std::optional<std::filesystem::path>& folder) {
  if (!folder || !BackupRepository::isBackupName(manifest.backupID)) return;
  const auto index = BackupRepository(*folder).index(manifest.backupID, reportBlocks::filesSection);
  if (!index) return;
  for (const auto& item : index->items)
    if (item.file && item.file->source && names_.size() < mostSources) names_.insert(*item.file->source);
}

std::string DownloadSources::of(std::string_view target) const {
  std::string_view source = target.substr(0, target.find(' '));
  for (const auto& name : names_)
    if (name.size() > source.size() && target.starts_with(name) &&
        target.substr(name.size()).starts_with(' '))
      source = name;
  return std::string(source);
}

AuditSummary::AuditSummary(const AuditTrail& trail, const DownloadSources& downloadSources) {
  damagedLines = trail.forEach([&](const AuditEntry& entry) { count(entry, downloadSources); });
}

void AuditSummary::count(const AuditEntry& entry, const DownloadSources& downloadSources) {
  ++entries;
  if (isNotable(entry)) ++notable;
  if (entry.kind == AuditEntry::Kind::local) {
    ++localActions;
  } else if (entry.kind == AuditEntry::Kind::download) {
    if (entry.outcome != "ok") return;
    ++downloads;
    sources.add(downloadSources.of(entry.target), entry);
  } else if (!isTokenRequest(entry)) {
    ++requests;
    methods.add(entry.method, entry);
    outcomes.add(outcomeText(entry), entry);
    endpoints.add(entry.method + " " + templateOf(entry.target), entry);
  }
}

bool AuditSummary::isReadOnly() const { return methods.names() == std::vector<std::string>{"GET"}; }

bool AuditSummary::isNotable(const AuditEntry& entry) {
  return entry.kind != AuditEntry::Kind::request || entry.status != 200;
}

std::string AuditSummary::outcomeText(const AuditEntry& entry) {
  return entry.status == 403 ? "Refused – no privilege (403)" : entry.outcome;
}

}  // namespace orvik
