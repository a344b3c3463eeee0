#include "orvik/Explore/EntryText.h"

#include <fmt/format.h>

#include "orvik/Output/VisibleText.h"

namespace orvik::host::entryText {

using Ink = Paint::Ink;

std::string heading(std::string_view title, std::string_view sectionID, const Paint& paint) {
  return fmt::format("{}  {}", paint(Ink::strong, visibleLine(title)),
                     paint(Ink::faint, visibleLine(sectionID)));
}

std::string named(const BackupReader::Entry& entry, const std::string& name, const Paint& paint) {
  const auto& id = entry.item.id;
  const auto plain = entry.displayName();
  if (plain == id || plain == "#" + id) return name;
  return fmt::format("{}  {}", name, paint(Ink::faint, "#" + visibleLine(id)));
}

std::string named(const BackupReader::Entry& entry, const Paint& paint) {
  return named(entry, visibleLine(entry.displayName()), paint);
}

}  // namespace orvik::host::entryText
