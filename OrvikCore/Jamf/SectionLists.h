#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "JamfCore/Networking/JamfRequesting.h"
#include "OrvikCore/Jamf/JSONTree.h"
#include "OrvikCore/Jamf/SectionCatalog.h"
#include "Platform/Bytes.h"

namespace orvik {

/// One object that a list names.
struct ListEntry {
  std::string id;
  std::optional<std::string> name;
  std::optional<std::string> path;  ///< where to read the object
  std::optional<JSONTree> payload;  ///< the list element, for objects that have no detail path
};

/// The entries of a Classic list under `key`, whatever wrapping this server gives it; no paths yet.
///
/// A wrapper is an object with one member beside "size": its value is the list, or the one element. Failing
/// that, the first member of the root that is an array is the list; an answer without any is an empty
/// section. Elements without an id are skipped. Throws `platform::json::ParseError`.
std::vector<ListEntry> classicEntries(std::string_view body, std::string_view key);

/// The users and groups of the accounts answer with ids such as "user:12", and their paths.
/// Throws `platform::json::ParseError`.
std::vector<ListEntry> accountEntries(std::string_view body);

/// An answer that is no list is `Bytes`: the one object of its section.
using ProResponse = std::variant<std::vector<JSONTree>, platform::Bytes>;

/// Shows the elements of each page of a Pro list, so that a page can be forgotten before the next one is
/// read; an answer that is no list is returned. A page without elements, at the end, is not shown. Throws as
/// `proFetch`.
using OnPage = std::function<void(std::vector<JSONTree> elements)>;
std::optional<platform::Bytes> proPages(jamf::JamfRequesting& reader, const std::string& path,
                                        const std::vector<jamf::QueryItem>& extra, int pageSize,
                                        const OnPage& onPage, const std::stop_token& stop);

/// Reads all pages of a Pro list. Throws what the reader throws, `platform::json::ParseError`, and a
/// `tuv::Error` for a list that never ends.
ProResponse proFetch(jamf::JamfRequesting& reader, const std::string& path,
                     const std::vector<jamf::QueryItem>& extra, int pageSize, const std::stop_token& stop);

/// The entries of a Pro list; an element without an id is named by its place, "item-3".
std::vector<ListEntry> proEntries(const std::vector<JSONTree>& elements, const SectionDefinition::Pro& kind);

}  // namespace orvik
