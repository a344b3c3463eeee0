#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/JSON/Codable.h"

namespace orvik {

/// A package file that belongs to an item.
struct FileRef {
  enum class Status { downloaded, reused, unavailable, failed, skipped };

  std::string fileName;
  std::optional<std::string> sha256;  ///< of the stored file
  std::optional<std::int64_t> size;   ///< bytes
  std::optional<std::string> source;  ///< where it came from
  Status status = Status::skipped;
  std::optional<std::string> jamfHash;  ///< "TYPE:value" as the server reports it
  std::optional<bool> jamfHashVerified;
  std::optional<std::string> message;

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("fileName", &FileRef::fileName), field("sha256", &FileRef::sha256),
                     field("size", &FileRef::size), field("source", &FileRef::source),
                     field("status", &FileRef::status), field("jamfHash", &FileRef::jamfHash),
                     field("jamfHashVerified", &FileRef::jamfHashVerified),
                     field("message", &FileRef::message));
  }
  bool operator==(const FileRef&) const = default;
};

constexpr auto enumTexts(FileRef::Status) {
  using enum FileRef::Status;
  using namespace std::string_view_literals;
  return std::array{std::pair{downloaded, "downloaded"sv}, std::pair{reused, "reused"sv},
                    std::pair{unavailable, "unavailable"sv}, std::pair{failed, "failed"sv},
                    std::pair{skipped, "skipped"sv}};
}

/// One object of a section.
struct IndexItem {
  enum class Change { new_, changed, unchanged };

  std::string id;  ///< on the server
  std::optional<std::string> name;
  std::map<std::string, std::string> objects;  ///< variant to the hash of its stored object
  Change change = Change::new_;                ///< against the parent backup
  std::optional<std::string> marker;           ///< lets a later run see that the object didn't change
  std::optional<FileRef> file;

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("id", &IndexItem::id), field("name", &IndexItem::name),
                     field("objects", &IndexItem::objects), field("change", &IndexItem::change),
                     field("marker", &IndexItem::marker), field("file", &IndexItem::file));
  }
  bool operator==(const IndexItem&) const = default;
};

constexpr auto enumTexts(IndexItem::Change) {
  using enum IndexItem::Change;
  using namespace std::string_view_literals;
  return std::array{std::pair{new_, "new"sv}, std::pair{changed, "changed"sv},
                    std::pair{unchanged, "unchanged"sv}};
}

/// An object that the parent backup has and this one has not.
struct RemovedItem {
  std::string id;
  std::optional<std::string> name;

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("id", &RemovedItem::id), field("name", &RemovedItem::name));
  }
  bool operator==(const RemovedItem&) const = default;
};

/// An object that could not be read.
struct ItemError {
  std::string id;
  std::optional<std::string> name;
  std::string message;

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("id", &ItemError::id), field("name", &ItemError::name),
                     field("message", &ItemError::message));
  }
  bool operator==(const ItemError&) const = default;
};

/// "sections/<sectionID>.json": what one section of one backup holds.
struct SectionIndex {
  std::string sectionID;
  std::string title;
  std::map<std::string, std::string> sources;  ///< notes on where it was read; no references into the store
  std::vector<IndexItem> items;
  std::vector<RemovedItem> removed;
  std::vector<ItemError> errors;

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("sectionID", &SectionIndex::sectionID), field("title", &SectionIndex::title),
                     field("sources", &SectionIndex::sources), field("items", &SectionIndex::items),
                     field("removed", &SectionIndex::removed), field("errors", &SectionIndex::errors));
  }
  bool operator==(const SectionIndex&) const = default;
};

}  // namespace orvik
