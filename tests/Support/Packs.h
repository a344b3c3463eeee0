#pragma once

#include <string>
#include <utility>
#include <vector>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/ObjectStore.h"
#include "OrvikCore/Store/PackCache.h"
#include "OrvikCore/Store/PackStore.h"
#include "Platform/Files/Files.h"
#include "tests/Support/Folders.h"

namespace orvik::test {

inline Path packsOf(const Path& instance) {
  return instance / BackupFormat::storeFolder / BackupFormat::packsFolder;
}

/// An index with these entries, as text: `"<name>":<range>`.
inline std::string indexText(const std::string& pack,
                             const std::vector<std::pair<std::string, std::string>>& ranges) {
  std::string text = R"({"formatVersion":1,"objects":{)";
  for (const auto& [name, range] : ranges)
    text.append(text.ends_with('{') ? "" : ",").append("\"" + name + "\":" + range);
  return text + R"(},"pack":")" + pack + "\"}";
}

inline std::string rangeText(std::size_t offset, std::size_t length) {
  return "[" + std::to_string(offset) + "," + std::to_string(length) + "]";
}

/// Writes a pack of any bytes under any names by hand, as another process could, and lets this process see it
/// at once. Gives the path of its index.
inline Path writePack(const Path& instance, const std::string& name,
                      const std::vector<std::pair<std::string, std::string>>& objects) {
  std::string content;
  std::vector<std::pair<std::string, std::string>> ranges;
  for (const auto& [hash, bytes] : objects) {
    ranges.emplace_back(hash, rangeText(content.size(), bytes.size()));
    content += bytes;
  }
  const auto packs = packsOf(instance);
  write(packs / (name + ".pack"), content);
  write(packs / (name + ".idx"), indexText(name + ".pack", ranges));
  PackCache::shared().invalidate(packs);
  return packs / (name + ".idx");
}

/// The index of the one pack in a folder.
inline PackIndex onlyIndex(const Path& instance) {
  const auto names = PackStore::indexNames(packsOf(instance));
  EXPECT_EQ(names.size(), 1U);
  return names.size() == 1 ? PackStore::readIndex(packsOf(instance) / names.front()).value() : PackIndex();
}

}  // namespace orvik::test
