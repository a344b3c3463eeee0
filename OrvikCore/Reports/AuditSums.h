#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "OrvikCore/Store/AuditLog.h"

namespace orvik {

/// What a request path is about, whatever object it names: components of numerals or in the form of a UUID
/// become "{id}", and below "jcds/files" the file's name "{file}".
std::string templateOf(std::string_view path);

/// Audit entries counted under names. Takes memory for so many names at most: entries under any further one
/// are counted together.
class AuditSums {
 public:
  struct Row {
    std::string name;
    std::int64_t count = 0;
    std::int64_t errors = 0;  ///< that ended otherwise than "ok"
    std::int64_t bytes = 0;
    std::int64_t milliseconds = 0;
  };

  static constexpr std::size_t longestName = 300;  ///< characters; what is longer is cut
  static constexpr std::string_view othersName = "others";

  explicit AuditSums(std::size_t mostNames) : mostNames_(mostNames) {}

  void add(std::string_view name, const AuditEntry& entry);

  /// Most frequent first, then by name; the others last.
  std::vector<Row> rows() const;
  /// The names of `rows`.
  std::vector<std::string> names() const;

 private:
  std::size_t mostNames_;
  std::map<std::string, Row, std::less<>> rows_;
  Row others_{std::string(othersName)};
};

}  // namespace orvik
