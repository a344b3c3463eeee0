#include "orvik/Explore/Tree/TreeNames.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>

#include "OrvikCore/Explore/ObjectExporter.h"
#include "Platform/Crypto/Digest.h"

namespace orvik::host::treeNames {

namespace {

constexpr std::size_t longestWord = 64;     // bytes of an ID that stands as it is
constexpr std::size_t shownOfOther = 40;    // bytes of another one
constexpr std::size_t digestDigits = 12;    // behind it
constexpr std::size_t longestSection = 64;  // bytes
constexpr std::size_t longestName = 255;    // bytes, of any file system
constexpr std::string_view refusedElsewhere = "\\:*?\"<>|";

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLower(char c) { return c >= 'a' && c <= 'z'; }
bool isUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool isJoint(char c) { return c == '-' || c == '_'; }
bool isPlain(char c) { return isDigit(c) || isLower(c) || isJoint(c); }

}  // namespace

bool isFolder(std::string_view sectionID) {
  const auto isLetterOrDigit = [](char c) { return isDigit(c) || isLower(c) || isUpper(c); };
  return !sectionID.empty() && sectionID.size() <= longestSection && isLetterOrDigit(sectionID.front()) &&
         std::ranges::all_of(sectionID, [&](char c) { return isLetterOrDigit(c) || isJoint(c); });
}

std::string word(std::string_view text) {
  if (!text.empty() && text.size() <= longestWord && std::ranges::all_of(text, isPlain))
    return std::string(text);
  std::string shown(text.substr(0, shownOfOther));
  std::ranges::replace_if(
      shown, [](char c) { return !isPlain(c) && !isUpper(c); }, '-');
  return fmt::format("{}~{}", shown, platform::sha256Hex(text).substr(0, digestDigits));
}

std::string file(std::string_view name, std::string_view id, std::string_view extension) {
  auto safe = ObjectExporter::safeName(name);
  std::ranges::replace_if(
      safe, [](char c) { return refusedElsewhere.find(c) != std::string_view::npos; }, '-');
  return ObjectExporter::fileName(safe, fmt::format(" ({}){}", word(id), extension));
}

bool isFile(std::string_view name) {
  return !name.empty() && name.size() <= longestName && name.front() != '.' &&
         std::ranges::none_of(name, [](char c) { return c == '/' || static_cast<unsigned char>(c) < ' '; });
}

std::string path(std::string_view sectionID, std::string_view name) {
  return fmt::format("{}/{}", sectionID, name);
}

std::string listPath(std::string_view sectionID) {
  return fmt::format("{}/{}{}", listsFolder, sectionID, listSuffix);
}

}  // namespace orvik::host::treeNames
