#include "OrvikCore/Jamf/SectionLists.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "JamfCore/Networking/Endpoint.h"
#include "Platform/Concurrency/Cancellation.h"
#include "TuvCore/Error.h"

namespace orvik {

namespace {

/// Far above any server; a list that is longer repeats itself.
constexpr std::size_t mostElements = 5'000'000;

/// A string, or a number in its text form.
std::optional<std::string> textOrNumber(const JSONTree& tree) {
  if (tree.raw() && tree.raw()->kind() == platform::json::Kind::boolean) return std::nullopt;
  return tree.string();
}

/// The elements of a list, also of one in a wrapper; nothing for what is no list.
std::optional<std::vector<JSONTree>> unwrappedElements(const JSONTree& value) {
  if (auto elements = value.array()) return elements;
  auto members = value.members();
  std::erase_if(members, [](const auto& member) { return member.first == "size"; });
  if (members.size() != 1) return std::nullopt;
  const JSONTree& only = members.front().second;
  return only.isObject() ? std::vector{only} : only.array();
}

std::vector<JSONTree> classicElements(const JSONTree& root, std::string_view key) {
  if (auto elements = unwrappedElements(root[key])) return std::move(*elements);
  for (const auto& [name, value] : root.members())
    if (auto elements = value.array()) return std::move(*elements);
  return {};
}

std::vector<ListEntry> entriesOf(const std::vector<JSONTree>& elements) {
  std::vector<ListEntry> entries;
  entries.reserve(elements.size());
  for (const auto& element : elements)
    if (auto id = textOrNumber(element["id"]))
      entries.push_back({std::move(*id), textOrNumber(element["name"]), {}, {}});
  return entries;
}

}  // namespace

std::vector<ListEntry> classicEntries(std::string_view body, std::string_view key) {
  return entriesOf(classicElements(JSONTree::parse(body), key));
}

std::vector<ListEntry> accountEntries(std::string_view body) {
  struct Row {
    std::string_view prefix, key, pathWord;
  };
  static constexpr std::array rows{Row{"user", "users", "userid"}, Row{"group", "groups", "groupid"}};

  const auto accounts = JSONTree::parse(body)["accounts"];
  std::vector<ListEntry> all;
  for (const auto& row : rows)
    for (auto& entry : entriesOf(unwrappedElements(accounts[row.key]).value_or(std::vector<JSONTree>()))) {
      if (jamf::isPathComponent(entry.id))
        entry.path = fmt::format("JSSResource/accounts/{}/{}", row.pathWord, entry.id);
      entry.id = fmt::format("{}:{}", row.prefix, entry.id);
      all.push_back(std::move(entry));
    }
  return all;
}

std::optional<platform::Bytes> proPages(jamf::JamfRequesting& reader, const std::string& path,
                                        const std::vector<jamf::QueryItem>& extra, int pageSize,
                                        const OnPage& onPage, const std::stop_token& stop) {
  std::size_t seen = 0;
  for (int page = 0;; ++page) {
    std::vector<jamf::QueryItem> query{{"page", std::to_string(page)},
                                       {"page-size", std::to_string(pageSize)}};
    query.insert(query.end(), extra.begin(), extra.end());
    auto body = reader.get(path, query, stop);
    const auto root = JSONTree::parse(body);
    auto results = root["results"].array();
    if (!results && page == 0) {
      auto whole = root.array();
      if (!whole) return body;
      onPage(std::move(*whole));
      return std::nullopt;
    }
    if (!results || results->empty()) return std::nullopt;

    const auto pageLength = results->size();
    seen += pageLength;
    onPage(std::move(*results));
    if (const auto total = root["totalCount"].integer()) {
      if (std::cmp_greater_equal(seen, *total)) return std::nullopt;
    } else if (std::cmp_less(pageLength, pageSize)) {
      return std::nullopt;
    }
    if (seen > mostElements)
      throw tuv::Error(fmt::format("The list {} does not end: more than {} objects.", path, mostElements));
    platform::throwIfCancelled(stop);
  }
}

ProResponse proFetch(jamf::JamfRequesting& reader, const std::string& path,
                     const std::vector<jamf::QueryItem>& extra, int pageSize, const std::stop_token& stop) {
  std::vector<JSONTree> items;
  auto single = proPages(
      reader, path, extra, pageSize,
      [&items](std::vector<JSONTree> elements) { std::ranges::move(elements, std::back_inserter(items)); },
      stop);
  if (single) return std::move(*single);
  return items;
}

std::vector<ListEntry> proEntries(const std::vector<JSONTree>& elements, const SectionDefinition::Pro& kind) {
  std::vector<JSONTree::KeyPath> idPaths;
  for (const auto key : kind.idKeys) idPaths.push_back({key});

  std::vector<ListEntry> entries;
  entries.reserve(elements.size());
  for (std::size_t i = 0; i < elements.size(); ++i) {
    ListEntry entry;
    entry.id = elements[i].first(idPaths).value_or(fmt::format("item-{}", i));
    entry.name = elements[i].first({{"name"}, {"displayName"}, {"packageName"}, {"fileName"}});
    if (!kind.detail.empty() && jamf::isPathComponent(entry.id))
      entry.path = fmt::format("{}/{}", kind.detail, entry.id);
    entry.payload = elements[i];
    entries.push_back(std::move(entry));
  }
  return entries;
}

}  // namespace orvik
