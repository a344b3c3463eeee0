#include "OrvikCore/Engine/FileSection.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <set>
#include <utility>

#include "OrvikCore/Engine/FileFetch.h"
#include "OrvikCore/Engine/FileTargets.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Jamf/PartRecord.h"
#include "Platform/Files/Files.h"
#include "Platform/Locale/Text.h"

namespace orvik {

namespace files = platform::files;
using platform::locale::lowercased;

namespace {

constexpr std::string_view packagesSection = "packages";
constexpr std::string_view cloudSection = "jcdsFiles";
constexpr std::string_view pointsSection = "distributionPoints";
constexpr std::size_t mostNamed = 5;  ///< files in one remark

std::optional<std::string> joined(const std::vector<std::string>& names) {
  if (names.empty()) return std::nullopt;
  return fmt::format("{}", fmt::join(names, ", "));
}

FileRef reused(const FileRef& parent) {
  FileRef file;
  file.fileName = parent.fileName;
  file.status = FileRef::Status::reused;
  file.sha256 = parent.sha256;
  file.size = parent.size;
  file.source = parent.source;
  file.jamfHash = parent.jamfHash;
  file.jamfHashVerified = parent.jamfHashVerified;
  return file;
}

/// The parent's file of that name.
std::unordered_map<std::string_view, const FileRef*> filesOf(const SectionIndex* parent) {
  std::unordered_map<std::string_view, const FileRef*> found;
  if (parent)
    for (const auto& item : parent->items)
      if (item.file) found.insert_or_assign(item.id, &*item.file);
  return found;
}

}  // namespace

std::optional<std::string> FileSection::Target::jamfHash() const {
  if (!hashType || !hashValue || hashType->empty() || hashValue->empty()) return std::nullopt;
  return *hashType + ":" + lowercased(*hashValue);
}

std::vector<FileSection::Target> FileSection::collectTargets(const std::stop_token& stop) const {
  FileTargets targets;
  forEachStoredObject(
      context_, packagesSection, "pro", [&](const JSONTree& record) { targets.addPackage(record); }, stop);
  forEachStoredObject(
      context_, cloudSection, "pro", [&](const JSONTree& entry) { targets.addCloudFile(entry); }, stop);
  return targets.take();
}

std::vector<DistributionPoint> FileSection::httpDistributionPoints(const std::stop_token& stop) const {
  std::vector<DistributionPoint> points;
  forEachStoredObject(
      context_, pointsSection, "classic",
      [&](const JSONTree& record) {
        if (auto point = DistributionPoint::anonymousHTTP(record)) points.push_back(std::move(*point));
      },
      stop);
  return points;
}

SectionReading FileSection::run(const SectionRunner& mapper, const std::stop_token& stop) const {
  const auto targets = collectTargets(stop);
  TargetsByName byName;
  std::vector<ListEntry> entries;
  for (const auto& target : targets) {
    byName.emplace(target.fileName, &target);
    entries.push_back({target.fileName, joined(target.packageNames), {}, {}});
  }
  const auto points = httpDistributionPoints(stop);
  const auto known = filesOf(mapper.parentIndex());
  const auto reusable = [&](const Target& target) -> const FileRef* {
    const auto parent = known.find(target.fileName);
    return parent != known.end() && isReusable(*parent->second, target) ? parent->second : nullptr;
  };
  if (fetches()) announceBytes(targets, reusable);

  SectionReading reading;
  reading.outcomes = mapper.mapConcurrently(
      entries, context_.job.options.maxConcurrentDownloads,
      [&](const ListEntry& entry, const std::stop_token& token) {
        const auto& target = *byName.at(entry.id);
        IndexItem item;
        item.id = entry.id;
        item.name = entry.name;
        const auto* parent = reusable(target);
        item.file = parent ? reused(*parent) : fetch(target, points, token);
        return item;
      },
      stop);
  if (fetches() && !targets.empty()) removeUnwantedParts(byName);
  noteMissing(reading.outcomes.items);
  return reading;
}

FileRef FileSection::fetch(const Target& target, const std::vector<DistributionPoint>& points,
                           const std::stop_token& stop) const {
  if (fetches()) return FileFetch(context_, target).run(sourcesOf(target, points), stop);
  auto file = FileFetch::told(target);
  file.status = FileRef::Status::skipped;
  if (context_.isSimulation()) {
    file.message = "Would be downloaded (simulation)";
    context_.pendingBytes.withLock([&](std::int64_t& bytes) { bytes += target.size.value_or(0); });
  }
  return file;
}

bool FileSection::fetches() const { return context_.job.options.downloadFiles && !context_.isSimulation(); }

std::vector<FileSection::Source> FileSection::sourcesOf(const Target& target,
                                                        const std::vector<DistributionPoint>& points) const {
  std::vector<Source> sources;
  const bool isCloudKnown = !context_.job.options.isEnabled(cloudSection) ||
                            files::isFile(context_.partial / BackupFormat::sectionPath(cloudSection));
  if (target.onJCDS || !isCloudKnown) sources.emplace_back(JCDS{!target.onJCDS});
  sources.insert(sources.end(), points.begin(), points.end());
  if (mount_) sources.emplace_back(Mount{&*mount_});
  return sources;
}

bool FileSection::sameFile(const FileRef& parent, const Target& target) {
  if (const auto hash = target.jamfHash()) return parent.jamfHash == hash;
  return parent.size && target.size && *parent.size == *target.size;
}

bool FileSection::isReusable(const FileRef& parent, const Target& target) const {
  return parent.sha256 && sameFile(parent, target) && context_.store.hasFile(*parent.sha256);
}

std::optional<bool> FileSection::verify(const Target& target, const FileHasher::Digests& digests) {
  if (!target.jamfHash()) return std::nullopt;
  const auto type = lowercased(*target.hashType);
  const auto value = lowercased(*target.hashValue);
  if (type == "md5") return digests.md5 == value;
  if (type == "sha_512" || type == "sha512") return digests.sha512 == value;
  if (type == "sha_256" || type == "sha256") return digests.sha256 == value;
  return std::nullopt;
}

void FileSection::announceBytes(const std::vector<Target>& targets, const Reusable& reusable) const {
  const auto journaled = context_.journaled.find(definition_.id);
  std::int64_t bytes = 0;
  for (const auto& target : targets) {
    const bool isDone = journaled != context_.journaled.end() && journaled->second.contains(target.fileName);
    if (!isDone && !reusable(target)) bytes += target.size.value_or(0);
  }
  context_.emit(BackupEvents::BytesExpected{bytes});
}

/// The section is complete without them, so nothing else would say it.
void FileSection::noteMissing(const std::vector<IndexItem>& items) const {
  std::vector<std::string_view> missing;
  for (const auto& item : items)
    if (item.file->status == FileRef::Status::failed || item.file->status == FileRef::Status::unavailable)
      missing.push_back(item.id);
  if (missing.empty()) return;
  const auto count = missing.size();
  if (count > mostNamed) missing.resize(mostNamed);
  context_.emit(BackupEvents::Note{fmt::format(
      "{} of {} package files could not be had: {}{}.", count, items.size(), fmt::join(missing, ", "),
      count > mostNamed ? fmt::format(" and {} more", count - mostNamed) : std::string())});
}

/// Parts of files that no package names any more would stay for ever.
void FileSection::removeUnwantedParts(const TargetsByName& wanted) const {
  const auto folder = context_.store.downloadsDirectory();
  std::set<std::string> names;
  for (const auto& [fileName, target] : wanted) {
    const auto part = FileFetch::partName(fileName);
    names.insert(part);
    names.insert(PartRecord::path(part).string());
  }
  for (const auto& name : files::visibleNames(folder))
    if (!names.contains(name)) files::tryRemove(folder / name);
}

}  // namespace orvik
