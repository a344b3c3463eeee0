#include "OrvikCore/Engine/FileFetch.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Jamf/PackageSources.h"
#include "OrvikCore/Jamf/PartRecord.h"
#include "OrvikCore/Jamf/RequestOutcome.h"
#include "OrvikCore/Store/FileHasher.h"
#include "Platform/Files/Files.h"

namespace orvik {

namespace files = platform::files;

namespace {

constexpr std::int64_t reportStep = 1 << 20;  ///< bytes between two events of progress

constexpr const char* noSourceMessage =
    "No reachable source: not on the cloud distribution point, no file share DP with anonymous HTTP "
    "downloads, and no mounted share configured.";
constexpr const char* differsMessage = "Content differs from the hash Jamf Pro records for this package";

/// Where a file came from, as reports and the audit log say it.
std::string labelOf(const FileSection::Source& source) {
  if (const auto* point = std::get_if<DistributionPoint>(&source)) return point->name;
  if (const auto* mount = std::get_if<FileSection::Mount>(&source)) return mount->share->label();
  return "jcds";
}

bool isCancellation(const std::exception& error, const std::stop_token& stop) {
  return stop.stop_requested() || RequestOutcome::classify(error).kind == RequestOutcome::Kind::cancelled;
}

/// A failure of this machine's disk, which no other source mends.
bool isLocal(const std::exception& error) { return dynamic_cast<const files::FileError*>(&error) != nullptr; }

/// Nobody knew whether the cloud has the file, and it says that it hasn't: it is no source, then.
bool isWrongGuess(const FileSection::Source& source, const std::exception& error) {
  const auto* cloud = std::get_if<FileSection::JCDS>(&source);
  return cloud != nullptr && cloud->isGuess && FailureDescription::describe(error).status == 404;
}

std::optional<std::string> verdictText(std::optional<bool> verified) {
  if (!verified) return std::nullopt;
  return *verified ? "hash verified" : "hash differs from Jamf Pro";
}

}  // namespace

FileFetch::FileFetch(const RunContext& context, const FileSection::Target& target)
    : context_(context),
      target_(target),
      part_(context.store.downloadsDirectory() / partName(target.fileName)) {}

FileRef FileFetch::told(const FileSection::Target& target) {
  FileRef file;
  file.fileName = target.fileName;
  file.size = target.size;
  file.jamfHash = target.jamfHash();
  return file;
}

std::string FileFetch::partName(const std::string& fileName) {
  return ObjectStore::sha256(fileName) + std::string(BackupFormat::partSuffix);
}

FileRef FileFetch::run(const std::vector<FileSection::Source>& sources, const std::stop_token& stop) {
  auto file = told(target_);
  file.status = FileRef::Status::unavailable;
  file.message = noSourceMessage;
  if (!sources.empty()) files::createDirectories(part_.parent_path());
  for (std::size_t i = 0; i < sources.size(); ++i) {
    context_.downloader.gate->wait(stop);
    const auto started = platform::MonotonicClock::now();
    Obtained obtained;
    try {
      obtained = std::visit([&](const auto& source) { return obtain(source, stop); }, sources[i]);
    } catch (const std::exception& error) {
      AuditEntry entry;
      const bool cancelled = isCancellation(error, stop);
      auto failure = FailureDescription::describe(error);
      entry.status = failure.status;
      entry.outcome = cancelled ? "cancelled" : std::move(failure.outcome);
      if (!cancelled) entry.detail = describeFailure(error);
      record(sources[i], started, std::move(entry));
      if (cancelled) throw platform::CancellationError();
      if (!isWrongGuess(sources[i], error)) {
        file.status = FileRef::Status::failed;
        file.message = describeFailure(error);
      }
      if (isLocal(error)) break;
      const bool isLast = i + 1 == sources.size();
      if (!isLast || files::size(part_).value_or(0) == 0) removePart(part_);
      continue;
    }
    return adopt(sources[i], obtained, started, stop);
  }
  return file;
}

FileFetch::Obtained FileFetch::obtain(const FileSection::JCDS&, const std::stop_token& stop) {
  return download("jcds", PackageSources::cloudRequest(context_.pipeline, target_.fileName), stop);
}

FileFetch::Obtained FileFetch::obtain(const DistributionPoint& source, const std::stop_token& stop) {
  return download("http " + source.base, PackageSources::shareRequest(source, target_.fileName), stop);
}

FileFetch::Obtained FileFetch::obtain(const FileSection::Mount& source, const std::stop_token& stop) {
  return source.share->copy(
      target_.fileName, part_, context_.downloader.gate, [this](std::int64_t bytes) { count(bytes); }, stop);
}

FileFetch::Obtained FileFetch::download(std::string_view source,
                                        const FileDownloader::MakeRequest& makeRequest,
                                        const std::stop_token& stop) {
  context_.downloader.download(
      part_, source, makeRequest, [this](std::int64_t bytes) { count(bytes); }, stop);
  return std::nullopt;
}

FileRef FileFetch::adopt(const FileSection::Source& source, const Obtained& obtained,
                         platform::MonotonicTime started, const std::stop_token& stop) {
  const auto digests = obtained ? *obtained : FileHasher::digests(part_, FileHasher::defaultChunkSize, stop);
  const auto verified = FileSection::verify(target_, digests);
  AuditEntry entry;
  if (!std::holds_alternative<FileSection::Mount>(source)) entry.status = 200;
  entry.outcome = "ok";
  entry.bytes = digests.size;
  entry.detail = verdictText(verified);
  record(source, started, std::move(entry));

  context_.store.adoptFile(part_, digests.sha256, stop);
  PartRecord::remove(part_);
  context_.emit(BackupEvents::BytesTransferred{context_.bytes.value()});

  auto file = told(target_);
  file.status = FileRef::Status::downloaded;
  file.sha256 = digests.sha256;
  file.size = digests.size;
  file.source = labelOf(source);
  file.jamfHashVerified = verified;
  if (verified == false) file.message = differsMessage;
  return file;
}

void FileFetch::count(std::int64_t bytes) const {
  const auto sum = context_.bytes.withLock([bytes](std::int64_t& total) { return total += bytes; });
  if (sum / reportStep != (sum - bytes) / reportStep) context_.emit(BackupEvents::BytesTransferred{sum});
}

void FileFetch::record(const FileSection::Source& source, platform::MonotonicTime started,
                       AuditEntry entry) const {
  entry.time = platform::now();
  entry.kind = AuditEntry::Kind::download;
  entry.method = std::holds_alternative<FileSection::Mount>(source) ? "COPY" : "GET";
  entry.target = fmt::format("{} {}", labelOf(source), target_.fileName);
  entry.milliseconds =
      std::chrono::duration_cast<std::chrono::milliseconds>(platform::MonotonicClock::now() - started)
          .count();
  context_.audit.record(entry);
}

}  // namespace orvik
