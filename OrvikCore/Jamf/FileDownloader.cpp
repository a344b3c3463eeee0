#include "OrvikCore/Jamf/FileDownloader.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <optional>
#include <utility>

#include "OrvikCore/Jamf/ContentRange.h"
#include "OrvikCore/Jamf/DownloadError.h"
#include "OrvikCore/Jamf/PartRecord.h"
#include "OrvikCore/Jamf/RequestOutcome.h"
#include "OrvikCore/Jamf/StreamDelegate.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"
#include "Platform/HTTP/URL.h"
#include "TuvCore/Log.h"

namespace orvik {

namespace files = platform::files;

namespace {

constexpr std::chrono::seconds idleTimeout{120};
constexpr std::chrono::seconds totalTimeout{604'800};  // seven days

/// The answer does not fit the bytes that are there: they have to go.
struct RestartSignal {};

/// What is there when an attempt begins.
struct Part {
  std::int64_t offset = 0;  ///< bytes to go on from
  std::optional<PartRecord> record;

  /// Deletes a part that is another source's, or whose record can't say.
  static Part prepared(const std::filesystem::path& path, std::string_view source) {
    Part part;
    part.offset = files::size(path).value_or(0);
    if (part.offset == 0) return part;
    auto found = PartRecord::load(path);
    if (found.exists && (!found.record || found.record->source != source)) {
      removePart(path);
      return {};
    }
    part.record = std::move(found.record);
    return part;
  }
};

void requireHTTP(const std::string& address) {
  const auto url = platform::URL::parse(address);
  if (!url) throw DownloadError::noSource("The download address is not a valid URL");
  if (url->scheme != "http" && url->scheme != "https")
    throw DownloadError::noSource(fmt::format(
        "The download address begins with \"{}://\"; only http and https are allowed", url->scheme));
  if (url->host.empty()) throw DownloadError::noSource("The download address is not a valid URL");
}

/// The size of the body when the head announces one of at least a byte.
std::optional<std::int64_t> announcedLength(const platform::HTTPResponse& head) {
  if (head.header("Transfer-Encoding")) return std::nullopt;  // RFC 9112, 6.3: the length is void
  const auto length = parseByteCount(head.header("Content-Length").value_or(""));
  return length && *length >= 1 ? length : std::nullopt;
}

/// Lets the session's thread go, which may wait for room in the stream: without that the session can't end.
struct ClosesOnExit {
  StreamDelegate& delegate;
  ~ClosesOnExit() { delegate.events.close(); }
};

/// One request and what it adds to the file.
class Attempt {
 public:
  Attempt(const FileDownloader& downloader, const std::filesystem::path& to, std::string_view source,
          Part part)
      : downloader_(downloader), to_(to), source_(source), part_(std::move(part)) {}

  std::int64_t run(platform::HTTPRequest request, const FileDownloader::Progress& progress,
                   const std::stop_token& stop);

  /// Whether the server sent the file from its beginning though it was asked to go on.
  bool replacedThePart() const { return replaced_; }

 private:
  void askForTheRest(platform::HTTPRequest& request) const;
  /// False when there is nothing left to fetch.
  bool takeHead(const platform::HTTPResponse& head, files::ResumableFile& file);
  void beginAnew(const platform::HTTPResponse& head, files::ResumableFile& file);
  void goOn(const platform::HTTPResponse& head, files::ResumableFile& file);
  void requireComplete(const platform::HTTPResponse& head) const;
  void remember(const platform::HTTPResponse& head, std::optional<std::int64_t> total) const;

  const FileDownloader& downloader_;
  const std::filesystem::path& to_;
  const std::string_view source_;
  const Part part_;
  std::int64_t position_ = 0;             ///< where the next byte goes
  std::optional<std::int64_t> expected_;  ///< bytes of the whole file
  bool replaced_ = false;
};

std::int64_t Attempt::run(platform::HTTPRequest request, const FileDownloader::Progress& progress,
                          const std::stop_token& stop) {
  requireHTTP(request.url);
  askForTheRest(request);
  request.idleTimeout = idleTimeout;
  files::ResumableFile file(to_);

  auto configuration =
      downloader_.makeConfiguration ? downloader_.makeConfiguration() : platform::HTTPSessionConfiguration();
  configuration.totalTimeout = totalTimeout;
  platform::HTTPSession session(std::move(configuration));
  const auto delegate = std::make_shared<StreamDelegate>();
  auto transfer = session.stream(std::move(request), delegate);
  const ClosesOnExit closing{*delegate};

  while (const auto event = delegate->events.next(stop)) {
    if (const auto* response = std::get_if<StreamDelegate::Response>(&*event)) {
      if (takeHead(response->head, file)) continue;
      transfer.cancel();
      break;
    }
    const platform::Bytes& chunk = std::get<StreamDelegate::Data>(*event).chunk;
    file.write(chunk);
    position_ += static_cast<std::int64_t>(chunk.size());
    if (progress) progress(static_cast<std::int64_t>(chunk.size()));
    if (downloader_.gate && downloader_.gate->isPaused()) {
      transfer.cancel();
      file.sync();
      throw FileDownloader::PausedSignal();
    }
  }
  file.sync();
  if (expected_ && *expected_ != position_) throw DownloadError::incomplete(*expected_, position_);
  return position_;
}

void Attempt::askForTheRest(platform::HTTPRequest& request) const {
  if (part_.offset == 0) return;
  request.headers.emplace_back("Range", fmt::format("bytes={}-", part_.offset));
  if (!part_.record) return;
  if (const auto validator = part_.record->validator.ifRange())
    request.headers.emplace_back("If-Range", *validator);
}

bool Attempt::takeHead(const platform::HTTPResponse& head, files::ResumableFile& file) {
  switch (head.status) {
    case 200:
      beginAnew(head, file);
      return true;
    case 206:
      goOn(head, file);
      return true;
    case 404:
      throw DownloadError::notFound();
    case 416:
      if (part_.offset == 0) break;
      requireComplete(head);
      position_ = part_.offset;
      return false;
    default:
      break;
  }
  throw DownloadError::http(head.status);
}

void Attempt::beginAnew(const platform::HTTPResponse& head, files::ResumableFile& file) {
  if (part_.offset > 0) {
    file.truncate(0);
    replaced_ = true;
  }
  file.seek(0);
  expected_ = announcedLength(head);
  remember(head, expected_);
}

void Attempt::goOn(const platform::HTTPResponse& head, files::ResumableFile& file) {
  const auto range = ContentRange::parse(head.header("Content-Range").value_or(""));
  const auto& record = part_.record;
  const auto total = range.total || !record ? range.total : record->total;
  const bool isElsewhere = range.first && *range.first != part_.offset;
  const bool isBeyondTheEnd = total && (*total <= part_.offset || (range.last && *range.last >= *total));
  const bool isOfManyParts = head.header("Content-Type").value_or("").starts_with("multipart/");
  if (isElsewhere || isBeyondTheEnd || isOfManyParts) throw RestartSignal();
  if (record && record->total && *record->total != *total) throw RestartSignal();
  if (record && record->validator.contradicts(PartValidator::of(head))) throw RestartSignal();

  file.seek(part_.offset);
  position_ = part_.offset;
  // A length may be that of a piece; a total never is.
  expected_ = total;
  if (const auto length = announcedLength(head); !expected_ && length) expected_ = part_.offset + *length;
  if (!record || (range.total && !record->total)) remember(head, range.total);
}

void Attempt::requireComplete(const platform::HTTPResponse& head) const {
  const auto differs = [this](std::optional<std::int64_t> total) { return total && *total != part_.offset; };
  const auto& record = part_.record;
  if (differs(ContentRange::parse(head.header("Content-Range").value_or("")).total)) throw RestartSignal();
  // The file may have become as long as the part is by now.
  if (record && (differs(record->total) || record->validator.contradicts(PartValidator::of(head))))
    throw RestartSignal();
}

void Attempt::remember(const platform::HTTPResponse& head, std::optional<std::int64_t> total) const {
  const bool isTheSame = part_.record && !replaced_;
  const auto validator = isTheSame ? part_.record->validator : PartValidator::of(head);
  PartRecord{std::string(source_), validator, total}.save(to_);
}

}  // namespace

std::int64_t FileDownloader::download(const std::filesystem::path& to, std::string_view source,
                                      const MakeRequest& makeRequest, const Progress& progress,
                                      const std::stop_token& stop) const {
  const int mostRestarts = std::max(1, policy.maxAttempts);
  int restarts = 0;
  for (int number = 1;;) {
    platform::throwIfCancelled(stop);
    if (gate) gate->wait(stop);
    const Part part = Part::prepared(to, source);
    Attempt attempt(*this, to, source, part);
    double delay = 0;
    try {
      return attempt.run(makeRequest(stop), progress, stop);
    } catch (const PausedSignal&) {
      continue;
    } catch (const RestartSignal&) {
      if (++restarts > mostRestarts)
        throw DownloadError::noSource(
            "The server sends another part or another version of the file each time");
      removePart(to);
      continue;
    } catch (const std::exception& error) {
      if (attempt.replacedThePart()) ++restarts;
      // What a file that is replaced again and again gains is no progress.
      const bool grew = files::size(to).value_or(0) > part.offset && restarts <= mostRestarts;
      if (grew) number = 1;
      if (!shouldRetry(error) || number >= policy.maxAttempts) throw;
      platform::throwIfCancelled(stop);  // a request that was cancelled on its way is no news for the log
      delay = policy.delay(number, std::nullopt);
      tuv::CategoryLogger{"download"}.notice(fmt::format("download {}: {}; retry {} in {:.0f}s",
                                                         to.filename().native(), describeFailure(error),
                                                         number, std::trunc(delay)));
    }
    platform::sleep(std::chrono::duration<double>(delay), stop);
    ++number;
  }
}

bool FileDownloader::shouldRetry(const std::exception& error) {
  const auto* failed = dynamic_cast<const DownloadError*>(&error);
  if (!failed) return RequestOutcome::classify(error).kind == RequestOutcome::Kind::retryable;
  switch (failed->kind()) {
    case DownloadError::Kind::http: {
      const int status = failed->status().value_or(0);
      return status >= 500 || status == 401 || status == 403 || status == 408 || status == 429;
    }
    case DownloadError::Kind::incomplete:
      return true;
    case DownloadError::Kind::noSource:
    case DownloadError::Kind::notFound:
      return false;
  }
  return false;
}

}  // namespace orvik
