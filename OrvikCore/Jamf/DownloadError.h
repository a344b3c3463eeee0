#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "TuvCore/Error.h"

namespace orvik {

/// Why a file, or a payload that stands for one, could not be had.
class DownloadError : public tuv::Error {
 public:
  enum class Kind { http, incomplete, noSource, notFound };

  static DownloadError http(int status);
  /// The sizes in bytes.
  static DownloadError incomplete(std::int64_t expected, std::int64_t got);
  /// `reason` is the whole sentence.
  static DownloadError noSource(std::string reason);
  static DownloadError notFound();

  Kind kind() const noexcept { return kind_; }
  /// The HTTP status that the failure stands for, if any.
  std::optional<int> status() const noexcept { return status_; }

 private:
  DownloadError(Kind kind, std::string description, std::optional<int> status = std::nullopt);
  Kind kind_;
  std::optional<int> status_;
};

}  // namespace orvik
