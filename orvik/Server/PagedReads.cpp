#include "orvik/Server/PagedReads.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <functional>
#include <optional>
#include <string_view>
#include <utility>

#include "JamfCore/Networking/APIError.h"

namespace orvik::host {

namespace {

std::optional<int> pageNumber(const std::vector<jamf::QueryItem>& query) {
  const auto item = std::ranges::find(query, "page", &jamf::QueryItem::name);
  if (item == query.end() || !item->value) return std::nullopt;
  int number = 0;
  const char* const end = item->value->data() + item->value->size();
  const auto parsed = std::from_chars(item->value->data(), end, number);
  if (parsed.ec != std::errc{} || parsed.ptr != end) return std::nullopt;
  return number;
}

}  // namespace

PagedReads::PagedReads(std::shared_ptr<jamf::JamfRequesting> base) : base_(std::move(base)) {}

platform::Bytes PagedReads::get(const std::string& path, const std::vector<jamf::QueryItem>& query,
                                const std::stop_token& stop) {
  auto body = base_->get(path, query, stop);
  if (const auto number = pageNumber(query)) check(path, *number, body);
  return body;
}

void PagedReads::check(const std::string& path, int number, const platform::Bytes& body) {
  if (number >= mostPages)
    throw jamf::APIError::decodingFailed(
        fmt::format("{} has still more objects after {} pages.", path, mostPages));
  const auto digest = std::hash<std::string_view>{}({body.data(), body.size()});
  const std::scoped_lock lock(mutex_);
  Page& last = last_[path];
  if (number > 0 && last.number == number - 1 && last.digest == digest)
    throw jamf::APIError::decodingFailed(
        fmt::format("{} sends the same page again and again, whichever is asked for.", path));
  last = {number, digest};
}

}  // namespace orvik::host
