#include "JamfCore/Automation/PlaybookRunResult.h"

#include <fmt/format.h>

#include <algorithm>

namespace jamf {

bool PlaybookRunResult::succeeded() const {
  return std::ranges::none_of(
      entries, [](const Entry& entry) { return entry.outcome.which == ResourceOutcome::Case::failed; });
}

std::string PlaybookRunResult::summary() const {
  if (entries.empty()) return "No resources declared";
  std::string text;
  for (const auto& [which, word] : enumTexts(ResourceOutcome::Case{})) {
    const auto count = std::ranges::count_if(
        entries, [&, wanted = which](const Entry& entry) { return entry.outcome.which == wanted; });
    if (count > 0) text += fmt::format("{}{} {}", text.empty() ? "" : ", ", count, word);
  }
  return text;
}

}  // namespace jamf
