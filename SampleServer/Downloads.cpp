#include "SampleServer/Downloads.h"

#include <fmt/format.h>

#include <charconv>
#include <iterator>

#include "Platform/HTTP/URL.h"
#include "Platform/JSON/Writer.h"
#include "SampleServer/Answers.h"
#include "SampleServer/ByteRange.h"
#include "SampleServer/Draw.h"

namespace sample {
namespace {

constexpr std::string_view cdnPrefix = "cdn/";
constexpr std::string_view sharePrefix = "/JamfShare/Packages/";
/// Where the seconds of the URLs count from, so that they look like those of a calendar.
constexpr std::int64_t calendarStart = 1'784'540'000;

std::string etagOf(const ShelvedFile& file) { return fmt::format("\"{:016x}\"", file.content.key); }

std::string dateOf(const ShelvedFile& file) {
  return fmt::format("Mon, 20 Jul 2026 06:{:02}:{:02} GMT", file.revision / 60 % 60, file.revision % 60);
}

Answer cloudFailure(int status, std::string_view code, std::string_view message) {
  return {
      status,
      "application/xml",
      {},
      fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Error><Code>{}</Code><Message>{}</Message>"
                  "</Error>",
                  code, message)};
}

Answer shareFailure(int status) {
  return {status, "text/html", {}, "<html><head><title>Error</title></head><body></body></html>\n"};
}

}  // namespace

Downloads::Downloads(const Fleet& fleet, Clock clock)
    : fleet_(fleet), clock_(std::move(clock)), start_(clock_()) {}

void Downloads::setValidators(bool etag, bool lastModified) {
  etag_ = etag;
  lastModified_ = lastModified;
}

void Downloads::setSignedHost(std::string base) {
  std::lock_guard lock(mutex_);
  signedHost_ = std::move(base);
}

void Downloads::setSignedURI(std::optional<std::string> whole) {
  std::lock_guard lock(mutex_);
  signedURI_ = std::move(whole);
}

std::int64_t Downloads::now() const {
  return calendarStart + std::chrono::duration_cast<std::chrono::seconds>(clock_() - start_).count();
}

std::string Downloads::signature(std::string_view fileName, std::string_view expires) const {
  const std::uint64_t what = mix(hashText(fileName)) ^ hashText(expires);
  return fmt::format("{:016x}", mix(mix(what ^ fleet_.seed()) + generation_));
}

bool Downloads::accepts(const Request& request, std::string_view fileName) const {
  const auto expires = request.queryItem("Expires");
  const auto given = request.queryItem("Signature");
  if (!expires || !given || *given != signature(fileName, *expires)) return false;
  std::int64_t end = 0;  // what isn't a number has expired
  std::from_chars(expires->data(), expires->data() + expires->size(), end);
  return now() < end;
}

Answer Downloads::answerURL(std::string_view fileName) const {
  if (!fleet_.cloudFile(fileName)) return failureFor("api/", 404);
  std::string uri;
  {
    std::lock_guard lock(mutex_);
    if (signedURI_) {
      uri = *signedURI_;
    } else {
      const std::string expires = std::to_string(now() + lifetime_.load().count());
      uri = fmt::format("{}/cdn/{}?Expires={}&Signature={}&Key-Pair-Id=KSAMPLE",
                        signedHost_.empty() ? fmt::format("http://127.0.0.1:{}", fleet_.port()) : signedHost_,
                        platform::percentEncodePath(fileName), expires, signature(fileName, expires));
    }
  }
  if (uri.empty()) return proAnswer("{}");
  platform::Bytes body = "{\"uri\":";
  platform::json::appendString(body, uri);
  return proAnswer(body += '}');
}

Answer Downloads::answer(const Request& request, std::string_view path) const {
  return isSigned(path) ? answerSigned(request, path.substr(cdnPrefix.size())) : answerShared(request);
}

Answer Downloads::answerSigned(const Request& request, std::string_view fileName) const {
  if (request.method != "GET")
    return cloudFailure(405, "MethodNotAllowed", "The method is not allowed against this resource");
  if (request.header("Authorization"))
    return cloudFailure(400, "InvalidArgument", "Only one auth mechanism allowed");
  if (!accepts(request, fileName)) return cloudFailure(403, "AccessDenied", "Request has expired");
  const auto file = fleet_.cloudFile(fileName);
  if (!file) return cloudFailure(404, "NoSuchKey", "The specified key does not exist");
  return serve(request, *file);
}

Answer Downloads::answerShared(const Request& request) const {
  if (request.method != "GET") return shareFailure(405);
  // A slash that is part of a name comes encoded; a plain one would lead into a folder, and there is none.
  if (!request.path.starts_with(sharePrefix)) return shareFailure(404);
  const std::string_view encoded = request.path.substr(sharePrefix.size());
  const auto file = encoded.find('/') == std::string_view::npos
                        ? fleet_.shareFile(platform::percentDecode(encoded))
                        : std::nullopt;
  return file ? serve(request, *file) : shareFailure(404);
}

Answer Downloads::serve(const Request& request, const ShelvedFile& file) const {
  const std::int64_t size = file.content.size;
  Answer answer{.status = 200, .contentType = "application/octet-stream"};
  auto out = std::back_inserter(answer.headers);
  if (etag_) fmt::format_to(out, "ETag: {}\r\n", etagOf(file));
  if (lastModified_) fmt::format_to(out, "Last-Modified: {}\r\n", dateOf(file));
  fmt::format_to(out, "Accept-Ranges: {}\r\n", rangeServed_ ? "bytes" : "none");

  const auto asked = rangeServed_ ? request.header("Range") : std::nullopt;
  const auto condition = request.header("If-Range");
  const bool sameVersion =
      !condition || (etag_ && *condition == etagOf(file)) || (lastModified_ && *condition == dateOf(file));
  ByteRange range{0, size};
  if (asked && sameVersion) {
    const auto parsed = parseByteRange(*asked, size);
    if (parsed && parsed->length == 0) {
      answer.status = 416;
      fmt::format_to(out, "Content-Range: bytes */{}\r\n", size);
      return answer;
    }
    if (parsed) {
      range = *parsed;
      answer.status = 206;
      fmt::format_to(out, "Content-Range: bytes {}-{}/{}\r\n", range.offset, range.offset + range.length - 1,
                     size);
    }
  }
  answer.stream = {
      [content = file.content](std::int64_t offset, std::span<char> to) { content.fill(offset, to); },
      range.offset, range.length};
  return answer;
}

}  // namespace sample
