#pragma once

#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "Platform/HTTP/HTTPSession.h"
#include "Platform/JSON/Codable.h"
#include "TuvCore/Error.h"

namespace jamf {

/// Why a community's playbooks can't be had.
class CommunityPlaybookError : public tuv::Error {
 public:
  explicit CommunityPlaybookError(const std::string& message) : Error(message) {}
  const std::string& message() const { return description(); }
};

/// The playbooks in the top folder of a public GitHub repository. It reads, without a token, by the contents
/// listing of GitHub's REST API. A plain value; any thread may call. Calls block and throw
/// `CommunityPlaybookError`, and `platform::HTTPError` when no answer comes.
struct CommunityPlaybookRepository {
  struct Entry {
    std::string name;
    std::string path;
    std::string downloadURL;

    auto operator<=>(const Entry&) const = default;
  };

  /// One line of the listing.
  struct ContentItem {
    std::string name;
    std::string path;
    std::string type;
    std::optional<std::string> downloadURL;

    static constexpr auto fields() {
      using namespace platform::json;
      return fieldList(field("name", &ContentItem::name), field("path", &ContentItem::path),
                       field("type", &ContentItem::type), field("download_url", &ContentItem::downloadURL));
    }
    bool operator==(const ContentItem&) const = default;
  };

  std::string owner;
  std::string repo;
  std::string branch;
  std::shared_ptr<platform::HTTPSession> urlSession;
  std::string baseAddress = "https://api.github.com";

  /// The files whose names end in ".yaml" or ".yml", in the order of the listing.
  std::vector<Entry> listPlaybooks(const std::stop_token& stop = {}) const;
  std::string fetchYAML(const Entry& entry, const std::stop_token& stop = {}) const;

 private:
  std::string listingURL() const;
  platform::Bytes send(platform::HTTPRequest request, const std::stop_token& stop) const;
};

}  // namespace jamf
