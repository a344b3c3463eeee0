#include "OrvikCore/Config/BackupInterval.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <string_view>

namespace orvik {

namespace {

/// More is as good as for ever, and keeps dates within their range.
constexpr std::int64_t mostHours = 24 * 366 * 100;

std::string counted(std::int64_t count, std::string_view unit) {
  return fmt::format("{} {}{}", count, unit, count == 1 ? "" : "s");
}

}  // namespace

BackupInterval::Decision BackupInterval::check(const std::optional<platform::Date>& lastBackup,
                                               std::int64_t minimumHours, bool hasInterrupted,
                                               platform::Date now) {
  if (minimumHours < 1 || hasInterrupted || !lastBackup) return {};
  const auto next = *lastBackup + std::chrono::hours(std::min(minimumHours, mostHours));
  if (now < next) return {Decision::TooSoon{*lastBackup, next}};
  return {};
}

BackupInterval::Decision BackupInterval::check(const BackupRepository& repository, std::int64_t minimumHours,
                                               platform::Date now) {
  if (minimumHours < 1) return {};
  const auto latest = repository.latestComplete();
  const auto finished = latest ? std::optional(latest->manifest.finishedAt) : std::nullopt;
  return check(finished, minimumHours, !repository.partialBackupIDs().empty(), now);
}

std::string BackupInterval::describe(std::int64_t hours) {
  constexpr std::int64_t day = 24;
  constexpr std::int64_t week = 7 * day;
  if (hours != 0 && hours % week == 0) return counted(hours / week, "week");
  if (hours != 0 && hours % day == 0) return counted(hours / day, "day");
  return counted(hours, "hour");
}

}  // namespace orvik
