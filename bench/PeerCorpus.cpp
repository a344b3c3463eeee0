#include "bench/PeerCorpus.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include "Platform/Bytes.h"
#include "Platform/Files/Files.h"
#include "SampleServer/Fleet.h"
#include "SampleServer/SectionTable.h"

namespace bench {

namespace {

namespace files = platform::files;

constexpr std::uint64_t seed = 20250304;

/// Compact JSON with one member a line.
platform::Bytes indented(std::string_view json) {
  platform::Bytes text;
  std::size_t depth = 0;
  bool inText = false;
  const auto breakLine = [&] { text.append("\n").append(2 * depth, ' '); };
  for (std::size_t i = 0; i < json.size(); ++i) {
    const char c = json[i];
    if (inText) {
      text += c;
      if (c == '\\') text += json[++i];
      if (c == '"') inText = false;
    } else if (c == '{' || c == '[') {
      text += c;
      ++depth;
      if (json[i + 1] == '}' || json[i + 1] == ']')
        text += '\n';
      else
        breakLine();
    } else if (c == '}' || c == ']') {
      --depth;
      breakLine();
      text += c;
    } else if (c == ',') {
      text += c;
      breakLine();
    } else if (c == ':') {
      text += " : ";
    } else {
      inText = c == '"';
      text += c;
    }
  }
  return text;
}

bool isObjectSection(const sample::SectionRow& row) {
  return row.kind != sample::SectionKind::devices && row.kind != sample::SectionKind::files;
}

/// The file of an object whose ID is the path of a package, too.
std::string fileNameOf(std::string id) {
  std::ranges::replace(id, '/', '-');
  return id + ".json";
}

std::string textOf(std::string_view view) { return std::string(view); }

}  // namespace

std::size_t writeCorpus(const std::filesystem::path& tree, std::size_t count, std::size_t generation) {
  sample::Fleet fleet(sample::FleetSize::enterprise, seed);
  const auto rows = sample::sectionTable();
  std::size_t total = 0;
  for (std::size_t section = 0; section < rows.size(); ++section)
    if (isObjectSection(rows[section])) total += fleet.count(section);
  if (total < count) throw std::runtime_error("the fleet has fewer objects than that");

  // Spread evenly over the sections.
  std::size_t seen = 0, taken = 0, bytes = 0;
  for (std::size_t section = 0; section < rows.size(); ++section) {
    if (!isObjectSection(rows[section])) continue;
    for (const auto& id : fleet.ids(section)) {
      const bool isWanted = (seen + 1) * count / total > taken;
      ++seen;
      if (!isWanted) continue;
      const std::size_t number = taken++;
      if (generation > 0 && number % 100 != generation) continue;
      if (generation > 0 && !fleet.change(section, id)) throw std::runtime_error("no such object");
      const auto text = indented(fleet.record(section, id).value());
      files::atomicWrite(text, tree / textOf(rows[section].id) / fileNameOf(id));
      bytes += text.size();
    }
  }
  return bytes;
}

std::vector<CorpusFile> corpusFiles(const std::filesystem::path& tree) {
  std::vector<CorpusFile> found;
  for (const auto& section : files::visibleNames(tree))
    for (const auto& name : files::visibleNames(tree / section))
      found.push_back({section, name.substr(0, name.size() - 5), tree / section / name});
  return found;
}

}  // namespace bench
