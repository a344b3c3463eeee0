#include "OrvikCore/Reports/AuditTrail.h"

namespace orvik {

std::size_t AuditTrail::forEach(const Visit& visit) const {
  if (const auto* directory = std::get_if<std::filesystem::path>(&source_))
    return AuditLog::forEach(*directory, visit);
  for (const auto& entry : std::get<std::vector<AuditEntry>>(source_)) visit(entry);
  return 0;
}

}  // namespace orvik
