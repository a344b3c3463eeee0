#include "OrvikCore/Engine/RunContext.h"

namespace orvik {

std::optional<SectionIndex> RunContext::parentIndex(std::string_view section) const {
  return parentID ? repository.index(*parentID, section) : std::nullopt;
}

}  // namespace orvik
