#include "OrvikCore/Store/Retention.h"

#include <chrono>

namespace orvik {

std::vector<RetentionVerdict> planRetention(const BackupRepository& repository, RetentionPolicy policy,
                                            platform::Date now) {
  using enum RetentionVerdict::Reason;
  constexpr std::chrono::seconds day{86'400};
  std::vector<RetentionVerdict> verdicts;
  for (auto& [id, manifest] : repository.completeBackups()) {
    auto reason = withinLimits;
    if (verdicts.empty())
      reason = newest;
    else if (policy.keepCount > 0 && verdicts.size() >= static_cast<std::size_t>(policy.keepCount))
      reason = beyondCount;
    else if (policy.keepDays > 0 && manifest.finishedAt < now - policy.keepDays * day)
      reason = tooOld;
    verdicts.push_back({std::move(id), manifest.finishedAt, reason});
  }
  return verdicts;
}

}  // namespace orvik
