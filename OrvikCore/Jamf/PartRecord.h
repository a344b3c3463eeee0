#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "Platform/HTTP/HTTPSession.h"
#include "Platform/JSON/Codable.h"

namespace orvik {

/// What tells two versions of a file on a server apart. Only validators that stand for the bytes themselves
/// are kept: no weak ETag.
struct PartValidator {
  std::optional<std::string> etag;          ///< with its quotes
  std::optional<std::string> lastModified;  ///< as the server wrote it

  static PartValidator of(const platform::HTTPResponse& head);

  /// What If-Range says: the ETag, else the date, else nothing.
  std::optional<std::string> ifRange() const { return etag ? etag : lastModified; }
  /// Whether both state a validator of one kind and the two differ.
  bool contradicts(const PartValidator& other) const;

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("etag", &PartValidator::etag),
                     field("lastModified", &PartValidator::lastModified));
  }
  bool operator==(const PartValidator&) const = default;
};

/// Where the bytes of a part file come from: a small JSON file beside it, named after it with ".json" behind.
/// It is written before the part's first byte, and goes with the part. It holds no URL and nothing secret.
struct PartRecord {
  std::string source;
  PartValidator validator;
  std::optional<std::int64_t> total;  ///< bytes of the whole file, when the server said so

  struct Found;

  static std::filesystem::path path(const std::filesystem::path& part);
  /// Never throws for a file that is missing, damaged or foreign.
  static Found load(const std::filesystem::path& part);
  /// Flushed to stable storage. Throws `platform::files::FileError`.
  void save(const std::filesystem::path& part) const;
  /// A record that is not there is no error. Throws `platform::files::FileError`.
  static void remove(const std::filesystem::path& part);

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("source", &PartRecord::source), field("validator", &PartRecord::validator),
                     field("total", &PartRecord::total));
  }
  bool operator==(const PartRecord&) const = default;
};

/// What stands beside a part file.
struct PartRecord::Found {
  bool exists = false;               ///< something stands there
  std::optional<PartRecord> record;  ///< when it can be read
};

/// Deletes a part file and its record; what is not there is no error. The part goes first: a record alone
/// does no harm. Throws `platform::files::FileError`.
void removePart(const std::filesystem::path& part);

}  // namespace orvik
