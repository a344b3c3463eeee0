#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <vector>

#include "JamfCore/Networking/JamfRequesting.h"

namespace orvik::host {

/// Reads that end, whatever the server says of its lists: who reads a list asks for page after page until the
/// server has no more, and one that ignores the page asked for would be read for ever. A page with the very
/// bytes of the one before it, and one beyond the last that any server has, fail with
/// `APIError::decodingFailed`. All else is passed on as it comes. Any thread may call.
class PagedReads final : public jamf::JamfRequesting {
 public:
  /// Two million objects of a list, at the sizes of pages that a backup asks for.
  static constexpr int mostPages = 10'000;

  explicit PagedReads(std::shared_ptr<jamf::JamfRequesting> base);

  platform::Bytes get(const std::string& path, const std::vector<jamf::QueryItem>& query,
                      const std::stop_token& stop) override;

 private:
  struct Page {
    int number = -1;
    std::size_t digest = 0;
  };

  void check(const std::string& path, int number, const platform::Bytes& body);

  const std::shared_ptr<jamf::JamfRequesting> base_;
  std::mutex mutex_;
  std::map<std::string, Page> last_;  ///< by path; guarded by `mutex_`
};

}  // namespace orvik::host
