#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>

#include "Platform/Bytes.h"

namespace orvik::host {

/// Which files of a tree are the export's: those of each section by their objects. What is not listed is
/// somebody else's.
struct TreeState {
  /// The names of files by the IDs of objects.
  using Files = std::map<std::string, std::set<std::string>>;

  std::map<std::string, Files> sections;

  /// The list of one section as it is written: "NAME" : "ID", a file a line.
  static platform::Bytes listText(const Files& files);
  /// The inverse. Throws `tuv::Error`, which names `path`, for what is no such list or names what is no file
  /// of a section's folder.
  static Files readList(const platform::Bytes& text, std::string_view path);

  /// The section of a list's name, "policies" of "policies.json"; empty for another name.
  static std::string sectionOfList(std::string_view name);
};

}  // namespace orvik::host
