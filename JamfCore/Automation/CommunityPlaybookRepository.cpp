#include "JamfCore/Automation/CommunityPlaybookRepository.h"

#include <fmt/format.h>

#include <algorithm>

#include "JamfCore/Networking/Endpoint.h"
#include "Platform/HTTP/URL.h"
#include "Platform/Locale/Text.h"

namespace jamf {

namespace {

/// Whether a text can be an owner or a repository: letters, digits, "-", "_" and "." (GitHub allows no
/// others).
bool isRepositoryName(const std::string& text) {
  return isPathComponent(text) && std::ranges::all_of(text, [](char c) {
           return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
                  c == '_' || c == '.';
         });
}

bool isBranchName(const std::string& text) {
  return !text.empty() && std::ranges::none_of(text, [](char c) {
    return static_cast<unsigned char>(c) <= ' ' || c == '\x7f';
  });
}

bool isFetchable(const std::string& text) {
  const auto url = platform::URL::parse(text);
  return url && !url->host.empty() && (url->scheme == "https" || url->scheme == "http");
}

}  // namespace

std::string CommunityPlaybookRepository::listingURL() const {
  if (!isRepositoryName(owner) || !isRepositoryName(repo) || !isBranchName(branch))
    throw CommunityPlaybookError("Invalid repository reference.");
  return fmt::format("{}/repos/{}/{}/contents/?ref={}", baseAddress, owner, repo,
                     platform::percentEncodeQueryItem(branch));
}

std::vector<CommunityPlaybookRepository::Entry> CommunityPlaybookRepository::listPlaybooks(
    const std::stop_token& stop) const {
  platform::HTTPRequest request;
  request.url = listingURL();
  request.headers = {{"Accept", "application/vnd.github+json"}};
  const auto body = send(std::move(request), stop);
  std::vector<ContentItem> items;
  try {
    items = platform::json::Decoder().decode<std::vector<ContentItem>>(body);
  } catch (const platform::Error& error) {
    throw CommunityPlaybookError("Couldn't read the playbook list: " + error.description());
  }
  std::vector<Entry> found;
  for (auto& item : items) {
    const bool isPlaybook =
        item.type == "file" && (item.name.ends_with(".yaml") || item.name.ends_with(".yml"));
    if (isPlaybook && item.downloadURL && isFetchable(*item.downloadURL))
      found.push_back({std::move(item.name), std::move(item.path), std::move(*item.downloadURL)});
  }
  return found;
}

std::string CommunityPlaybookRepository::fetchYAML(const Entry& entry, const std::stop_token& stop) const {
  platform::HTTPRequest request;
  request.url = entry.downloadURL;
  auto text = send(std::move(request), stop);
  if (!platform::locale::isValidUTF8(text))
    throw CommunityPlaybookError(fmt::format("\"{}\" is not valid UTF-8 text.", entry.name));
  return text;
}

platform::Bytes CommunityPlaybookRepository::send(platform::HTTPRequest request,
                                                  const std::stop_token& stop) const {
  request.headers.emplace_back("User-Agent", "orvik");  // GitHub refuses who has no name
  platform::HTTPResponse response;
  try {
    response = urlSession->data(std::move(request), stop);
  } catch (const platform::HTTPError& error) {
    if (error.kind() != platform::HTTPErrorKind::notHTTP) throw;
    throw CommunityPlaybookError("No HTTP response.");
  }
  if (response.status == 403 && response.header("X-RateLimit-Remaining") == "0")
    throw CommunityPlaybookError("GitHub rate-limited this request. Try again later.");
  if (response.status == 404) throw CommunityPlaybookError("Repository or file not found (404).");
  if (response.status < 200 || response.status > 299)
    throw CommunityPlaybookError(fmt::format("Request failed ({}).", response.status));
  return std::move(response.body);
}

}  // namespace jamf
