#include "orvik/Output/Wording.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>

#include "Platform/Locale/Text.h"
#include "orvik/Output/VisibleText.h"

namespace orvik::host::wording {

namespace {

using Status = SectionSummary::Status;

std::string grouped(std::int64_t number) {
  std::string digits = std::to_string(number);
  for (auto position = static_cast<std::ptrdiff_t>(digits.size()) - 3; position > (number < 0 ? 1 : 0);
       position -= 3)
    digits.insert(static_cast<std::size_t>(position), ",");
  return digits;
}

std::string_view word(Status status) {
  switch (status) {
    case Status::partial:
      return "not all could be read";
    case Status::notPermitted:
      return "not permitted";
    case Status::notAvailable:
      return "not available on this server";
    case Status::failed:
      return "failed";
    case Status::disabled:
      return "switched off";
    case Status::complete:
      break;
  }
  return "";
}

}  // namespace

std::string counted(std::int64_t count, std::string_view noun) {
  return fmt::format("{} {}{}", grouped(count), noun, count == 1 ? "" : "s");
}

std::string duration(std::chrono::duration<double> duration) {
  const double seconds = std::max(0.0, duration.count());
  if (seconds < 9.95) return fmt::format("{:.1f} s", seconds);
  const auto whole = static_cast<std::int64_t>(std::llround(seconds));
  if (whole < 60) return fmt::format("{} s", whole);
  if (whole < 3600) return fmt::format("{} min {} s", whole / 60, whole % 60);
  return fmt::format("{} h {} min", whole / 3600, whole % 3600 / 60);
}

std::string roughly(std::chrono::duration<double> duration) {
  const auto whole = static_cast<std::int64_t>(std::ceil(std::clamp(duration.count(), 0.0, 1e9)));
  if (whole < 60) return fmt::format("{} s", whole);
  if (whole < 3600) return fmt::format("{} min", (whole + 30) / 60);
  return fmt::format("{} h", (whole + 1800) / 3600);
}

std::string distance(std::chrono::duration<double> duration) {
  constexpr std::chrono::hours longInHours{48};
  return duration < longInHours ? roughly(duration)
                                : counted(std::chrono::floor<std::chrono::days>(duration).count(), "day");
}

std::string ago(platform::Date date, platform::Date now) {
  return date <= now ? distance(now - date) + " ago"
                     : distance(date - now) + " ahead of this machine's clock";
}

std::string counts(const ChangeCounts& counts) {
  const auto text = counted(counts.total, "object");
  const auto what = changes(counts);
  return what.empty() ? text : text + ", " + what;
}

std::string changes(const ChangeCounts& counts) {
  std::vector<std::string> parts;
  const auto add = [&](int count, std::string_view what) {
    if (count != 0) parts.push_back(fmt::format("{} {}", grouped(count), what));
  };
  add(counts.new_, "new");
  add(counts.changed, "changed");
  add(counts.removed, "removed");
  add(counts.failed, "failed");
  return fmt::format("{}", fmt::join(parts, ", "));
}

bool isWarning(Status status) {
  return status == Status::partial || status == Status::notPermitted || status == Status::failed;
}

std::string because(const SectionSummary& summary) {
  std::string text(word(summary.status));
  if (!summary.message) return text;
  return text + ": " + oneLine(*summary.message);
}

std::string shellWord(const std::string& text) {
  if (text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+,@:") ==
      text.npos)
    return text;
  std::string word = "'";
  for (const char c : text) c == '\'' ? word += "'\\''" : word += c;
  return word + "'";
}

std::string section(const SectionSummary& summary) {
  switch (summary.status) {
    case Status::disabled:
      return "";
    case Status::complete:
      return fmt::format("{}  {}", summary.id, counts(summary.counts));
    case Status::partial:
      return fmt::format("{}  {} ({})", summary.id, counts(summary.counts), because(summary));
    default:
      return fmt::format("{}  {}", summary.id, because(summary));
  }
}

std::string deleted(const CleanupResult& result, const std::optional<RemovedLeftovers>& leftovers) {
  std::vector<std::string> parts;
  const auto add = [&](std::int64_t count, std::string_view noun) {
    if (count != 0) parts.push_back(counted(count, noun));
  };
  add(static_cast<std::int64_t>(result.removedBackups.size()), "backup");
  add(result.removedObjects, "object");
  add(result.removedFiles, "package file");
  if (leftovers) add(leftovers->files, "leftover");
  const std::string last = parts.empty() ? "nothing" : parts.back();
  if (!parts.empty()) parts.pop_back();
  return fmt::format("{}{}{}; {}", fmt::join(parts, ", "), parts.empty() ? "" : " and ", last,
                     platform::locale::byteCount(result.bytesFreed + (leftovers ? leftovers->bytes : 0)));
}

std::string summary(const BackupOutcome& outcome) {
  const auto& manifest = outcome.manifest;
  const auto& totals = manifest.totals;
  const bool isComplete = manifest.status == BackupManifest::Status::complete;
  std::string text = fmt::format("{}: {}, {} new or changed{}; {} in {}.\n",
                                 isComplete ? "Complete" : "Complete with warnings",
                                 counted(totals.objects, "object"), grouped(totals.newOrChangedObjects),
                                 manifest.parentBackupID ? " since " + *manifest.parentBackupID : "",
                                 counted(totals.requests, "request"), duration(outcome.duration));
  if (totals.filesDownloaded != 0)
    text += fmt::format("Downloaded {} of {}; {} arrived.\n", grouped(totals.filesDownloaded),
                        counted(totals.files, "package file"),
                        platform::locale::byteCount(totals.bytesDownloaded));
  text += warnings(manifest);
  return text + fmt::format("Folder: {}\n", outcome.folder.string());
}

std::string warnings(const BackupManifest& manifest) {
  std::string text;
  for (const auto& each : manifest.sections)
    if (isWarning(each.status)) text += fmt::format("  {}  {}\n", each.id, because(each));
  const auto missing = std::ranges::count(manifest.sections, Status::notAvailable, &SectionSummary::status);
  if (missing != 0) text += fmt::format("Not available on this server: {}.\n", counted(missing, "section"));
  return text;
}

std::string simulated(const SimulationOutcome& outcome) {
  const auto& manifest = outcome.manifest;
  std::string text;
  for (const auto& each : manifest.sections) {
    const auto& now = each.counts;
    if (now.new_ + now.changed + now.removed != 0) text += fmt::format("{}  {}\n", each.id, counts(now));
  }
  return text +
         fmt::format(
             "A backup would store {} new or changed of {}{}, and download {}.",
             grouped(manifest.totals.newOrChangedObjects), counted(manifest.totals.objects, "object"),
             manifest.parentBackupID ? " since " + *manifest.parentBackupID : "",
             outcome.bytesToDownload == 0 ? "nothing" : platform::locale::byteCount(outcome.bytesToDownload));
}

}  // namespace orvik::host::wording
