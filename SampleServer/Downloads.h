#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "SampleServer/Fleet.h"
#include "SampleServer/HTTPMessage.h"
#include "SampleServer/TokenDesk.h"

namespace sample {

/// Hands out files to who has no token: those of the cloud for signed URLs that run out, those of the share
/// for anybody. Both know ranges (RFC 9110, section 14) of one part. Any thread may call.
class Downloads {
 public:
  Downloads(const Fleet& fleet, Clock clock);

  /// Whether a path, decoded and without its leading slash, belongs to this.
  static bool isSigned(std::string_view path) { return path.starts_with("cdn/"); }
  static bool isShared(std::string_view path) { return path.starts_with("JamfShare/"); }
  /// The answer to a request for such a path.
  Answer answer(const Request& request, std::string_view path) const;

  /// The answer to who asks, with a token, for a file's URL.
  Answer answerURL(std::string_view fileName) const;

  /// Counts for the URLs handed out from now on, in whole seconds rounded down: 0 makes URLs that have
  /// expired.
  void setLifetime(std::chrono::seconds lifetime) { lifetime_ = lifetime; }
  void expireAll() { ++generation_; }
  void setRangeServed(bool served) { rangeServed_ = served; }
  void setValidators(bool etag, bool lastModified);
  /// What stands ahead of "/cdn/" in URLs; empty for this server.
  void setSignedHost(std::string base);
  /// The whole URL; an empty one takes the member out of the answer, nothing makes real ones.
  void setSignedURI(std::optional<std::string> whole);

 private:
  std::int64_t now() const;
  std::string signature(std::string_view fileName, std::string_view expires) const;
  bool accepts(const Request& request, std::string_view fileName) const;
  Answer answerSigned(const Request& request, std::string_view fileName) const;
  Answer answerShared(const Request& request) const;
  Answer serve(const Request& request, const ShelvedFile& file) const;

  // Constant after construction.
  const Fleet& fleet_;
  const Clock clock_;
  const platform::MonotonicTime start_;

  // Synchronise themselves.
  std::atomic<std::chrono::seconds> lifetime_{std::chrono::minutes(10)};
  std::atomic<std::uint64_t> generation_ = 0;
  std::atomic<bool> rangeServed_ = true;
  std::atomic<bool> etag_ = true;
  std::atomic<bool> lastModified_ = true;

  mutable std::mutex mutex_;  // guards what follows
  std::string signedHost_;
  std::optional<std::string> signedURI_;
};

}  // namespace sample
