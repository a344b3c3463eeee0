#pragma once

#include <string>
#include <string_view>

/// The names in a tree of text files. Each is made of one object alone, so that a path stays where it is
/// whatever else a backup holds, and none can leave the tree or be one that git or a file system takes for
/// its own.
namespace orvik::host::treeNames {

inline constexpr std::string_view recordFile = "backup.json";  ///< tells what the tree is of
inline constexpr std::string_view listsFolder = ".orvik";      ///< which files are the export's
inline constexpr std::string_view listSuffix = ".json";

/// Whether a section's ID may name a folder: letters, digits, "-" and "_", and a letter or digit first.
bool isFolder(std::string_view sectionID);

/// "NAME (ID)EXTENSION", in which the ID stands whole. An ID that is not made of lower-case letters, digits,
/// "-" and "_" alone, or is long, has a part of its digest behind it: then no two IDs give the same name, not
/// even to a folder that knows no case. What file systems of other machines refuse is "-". Requires:
/// `extension` is made of such characters and dots, and short.
std::string file(std::string_view name, std::string_view id, std::string_view extension);

/// An extension of a file, or a word of it that came from elsewhere: as the ID in `file`.
std::string word(std::string_view text);

/// Whether it can be the name of a file that `file` gave: no path, and nothing that controls.
bool isFile(std::string_view name);

/// "SECTION/NAME".
std::string path(std::string_view sectionID, std::string_view name);
/// ".orvik/SECTION.json".
std::string listPath(std::string_view sectionID);

}  // namespace orvik::host::treeNames
