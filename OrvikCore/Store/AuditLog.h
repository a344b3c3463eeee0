#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "OrvikCore/Store/LineFile.h"
#include "Platform/Date.h"
#include "Platform/JSON/Codable.h"
#include "TuvCore/Locked.h"

namespace orvik {

/// One event of a run: a request that it made or a local action that it took.
struct AuditEntry {
  enum class Kind { request, download, local };

  platform::Date time;
  Kind kind = Kind::local;
  std::string method;  ///< HTTP method, or the name of the local action
  std::string target;  ///< what was touched; a URL as `AuditLog::redact` renders it
  std::optional<int> status;
  std::string outcome;  ///< "ok", "retry", "failed", "notFound", "notPermitted", "cancelled"
  std::optional<std::int64_t> bytes;
  std::optional<std::int64_t> milliseconds;
  std::optional<std::string> detail;

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("time", &AuditEntry::time), field("kind", &AuditEntry::kind),
                     field("method", &AuditEntry::method), field("target", &AuditEntry::target),
                     field("status", &AuditEntry::status), field("outcome", &AuditEntry::outcome),
                     field("bytes", &AuditEntry::bytes), field("milliseconds", &AuditEntry::milliseconds),
                     field("detail", &AuditEntry::detail));
  }
  bool operator==(const AuditEntry&) const = default;
};

constexpr auto enumTexts(AuditEntry::Kind) {
  using enum AuditEntry::Kind;
  using namespace std::string_view_literals;
  return std::array{std::pair{request, "request"sv}, std::pair{download, "download"sv},
                    std::pair{local, "local"sv}};
}

/// "audit.jsonl": one line for every request and local action of a run, so that an auditor can check that it
/// only read. Always plain. Counts events too. Any thread may call; no failure of the log ever reaches a
/// caller or stops a backup: it shows as missing lines.
class AuditLog {
 public:
  /// The log in that folder, or, without one, only the counts.
  explicit AuditLog(const std::optional<std::filesystem::path>& directory);

  void record(const AuditEntry& entry) noexcept;
  /// Records an action of this machine that went well.
  void recordLocal(std::string method, std::string target,
                   std::optional<std::string> detail = std::nullopt) noexcept;

  /// How many events there were under each "<kind>.<outcome>".
  std::map<std::string, int> tally() const;

  /// Flushes to stable storage and closes. A later `record` opens the file again.
  void close() noexcept;

  /// A URL's host, "?" when it has none, followed by its path: no scheme, port, user or query, so that no
  /// token of a query reaches the log.
  static std::string redact(std::string_view url);

  using Visit = std::function<void(const AuditEntry&)>;
  /// Reads the entries one after another, in file order, in memory for one line, however long the file is.
  /// Returns how many lines could not be decoded or are longer than `BackupFormat::recordLimit`; they are
  /// skipped. A missing file is empty, and one that can't be read ends there. Throws what `visit` throws, but
  /// a `FileError` ends the walk.
  static std::size_t forEach(const std::filesystem::path& directory, const Visit& visit);
  /// The entries in file order, all at once; those of a file beyond `BackupFormat::indexLimit` are too many.
  static std::vector<AuditEntry> read(const std::filesystem::path& directory);

 private:
  struct State {
    std::optional<LineFile> file;
    std::map<std::string, int> counts;
  };
  tuv::Locked<State> state_;
};

}  // namespace orvik
