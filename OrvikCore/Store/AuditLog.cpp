#include "OrvikCore/Store/AuditLog.h"

#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Files/Files.h"
#include "Platform/HTTP/URL.h"

namespace orvik {

AuditLog::AuditLog(const std::optional<std::filesystem::path>& directory) {
  if (directory)
    state_.withLock([&](State& state) { state.file.emplace(*directory / BackupFormat::auditFile); });
}

namespace {

std::optional<platform::Bytes> encodeLine(const AuditEntry& entry) noexcept try {
  return BackupFormat::makeLineEncoder().encode(entry);
} catch (...) {
  return std::nullopt;
}

}  // namespace

void AuditLog::record(const AuditEntry& entry) noexcept try {
  const auto line = encodeLine(entry);
  const auto key = std::string(platform::json::textOf(entry.kind)) + "." + entry.outcome;
  state_.withLock([&](State& state) {
    ++state.counts[key];
    if (state.file && line) state.file->append(*line);
  });
} catch (...) {
  // The trail never stops a backup; a full disk shows as missing lines.
}

void AuditLog::recordLocal(std::string method, std::string target,
                           std::optional<std::string> detail) noexcept {
  AuditEntry entry;
  entry.time = platform::now();
  entry.kind = AuditEntry::Kind::local;
  entry.method = std::move(method);
  entry.target = std::move(target);
  entry.outcome = "ok";
  entry.detail = std::move(detail);
  record(entry);
}

std::map<std::string, int> AuditLog::tally() const {
  return state_.withLock([](const State& state) { return state.counts; });
}

void AuditLog::close() noexcept {
  state_.withLock([](State& state) {
    if (state.file) state.file->close();
  });
}

std::string AuditLog::redact(std::string_view url) {
  const auto parsed = platform::URL::parse(url);
  if (!parsed) return "?";
  return (parsed->host.empty() ? "?" : parsed->host) + parsed->path;
}

std::size_t AuditLog::forEach(const std::filesystem::path& directory, const Visit& visit) {
  const auto decoder = BackupFormat::makeDecoder();
  std::size_t damaged = 0;
  try {
    const auto tooLong = LineFile::forEachLine(directory / BackupFormat::auditFile, BackupFormat::recordLimit,
                                               [&](std::string_view line) {
                                                 if (const auto entry = decoder.tryDecode<AuditEntry>(line))
                                                   visit(*entry);
                                                 else
                                                   ++damaged;
                                               });
    return damaged + tooLong;
  } catch (const platform::files::FileError&) {
    return damaged;
  }
}

std::vector<AuditEntry> AuditLog::read(const std::filesystem::path& directory) {
  std::vector<AuditEntry> entries;
  const auto size = platform::files::size(directory / BackupFormat::auditFile);
  if (!size || *size > static_cast<std::int64_t>(BackupFormat::indexLimit)) return entries;
  forEach(directory, [&](const AuditEntry& entry) { entries.push_back(entry); });
  return entries;
}

}  // namespace orvik
