#pragma once

#include <cstddef>
#include <filesystem>
#include <utility>
#include <variant>
#include <vector>

#include "OrvikCore/Store/AuditLog.h"

namespace orvik {

/// The entries of a run's audit log, in the order of the file. A log of a million lines is read anew by each
/// walk and never held. Any thread may call.
class AuditTrail {
 public:
  using Visit = AuditLog::Visit;

  /// Of the "audit.jsonl" in that folder; a missing one is empty.
  static AuditTrail in(std::filesystem::path directory) { return AuditTrail(std::move(directory)); }
  explicit AuditTrail(std::vector<AuditEntry> entries) : source_(std::move(entries)) {}

  /// Returns how many lines of the file could not be decoded.
  std::size_t forEach(const Visit& visit) const;

 private:
  explicit AuditTrail(std::filesystem::path directory) : source_(std::move(directory)) {}

  std::variant<std::filesystem::path, std::vector<AuditEntry>> source_;
};

}  // namespace orvik
