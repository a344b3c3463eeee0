#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "OrvikCore/Jamf/DownloadError.h"
#include "OrvikCore/Jamf/FileDownloader.h"
#include "OrvikCore/Jamf/PartRecord.h"
#include "Platform/Files/Files.h"
#include "tests/Support/FileServing.h"

namespace orvik::test {

namespace files = platform::files;

/// One download into a folder of its own, with delays of a millisecond.
struct Download {
  files::TempFolder folder;
  files::Path part = folder / "file.part";
  FileDownloader downloader{RetryPolicy{3, 0.001, 0.001}, nullptr, {}};
  std::string source = "jcds";
  int requestsMade = 0;
  std::atomic<std::int64_t> progress = 0;

  std::int64_t from(const std::string& url, const std::stop_token& stop = {}) {
    return downloader.download(
        part, source,
        [&](const std::stop_token&) {
          ++requestsMade;
          platform::HTTPRequest request;
          request.url = url;
          return request;
        },
        [&](std::int64_t bytes) { progress += bytes; }, stop);
  }

  std::string content() const { return files::read(part); }
  std::optional<PartRecord> record() const { return PartRecord::load(part).record; }
};

/// The error of that type that `work` ends with.
template <class Error, class Work>
Error failureOf(Work&& work) {
  try {
    work();
  } catch (const Error& error) {
    return error;
  }
  throw std::logic_error("no failure");
}

}  // namespace orvik::test
