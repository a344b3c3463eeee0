#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>

namespace orvik {

/// A file name taken apart: "Script.sh" is "Script" and ".sh". What begins with the last dot is an extension
/// when something stands before it and it looks like one: no blank, and at most 32 bytes.
struct FileNameParts {
  std::string_view base;
  std::string_view extension;  ///< with its dot; may be empty

  static FileNameParts of(std::string_view name);
};

/// The names that were given to the files of one folder, as `ObjectExporter::unique` gives them, also where
/// thousands of objects have the same name.
class ExportNames {
 public:
  /// A name that wasn't given yet.
  std::string take(std::string_view name);

 private:
  std::set<std::string> used_;
  std::unordered_map<std::string, std::size_t> counters_;  ///< the last number of a name
};

}  // namespace orvik
