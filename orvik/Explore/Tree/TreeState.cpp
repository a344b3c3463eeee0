#include "orvik/Explore/Tree/TreeState.h"

#include <fmt/format.h>

#include <utility>

#include "Platform/JSON/Value.h"
#include "Platform/JSON/View.h"
#include "TuvCore/Error.h"
#include "orvik/Explore/Tree/TreeNames.h"

namespace orvik::host {

namespace {

namespace json = platform::json;

[[noreturn]] void refuse(std::string_view path) {
  throw tuv::Error(fmt::format(
      "{} is no list of files that an export wrote. Restore it, or export to a new folder.", path));
}

}  // namespace

platform::Bytes TreeState::listText(const Files& files) {
  std::map<std::string_view, std::string_view> owners;
  for (const auto& [id, names] : files)
    for (const auto& name : names) owners.emplace(name, id);
  json::Value::Object members;
  for (const auto& [name, id] : owners) members.emplace_back(name, id);
  return json::Value(std::move(members)).text(json::Rendering::pretty) + "\n";
}

TreeState::Files TreeState::readList(const platform::Bytes& text, std::string_view path) try {
  const auto document = json::Document::parse(text);
  if (!document->root().isObject()) refuse(path);
  Files files;
  for (const auto& [name, id] : document->root().members()) {
    if (!treeNames::isFile(name) || !id.string()) refuse(path);
    files[std::string(*id.string())].insert(std::string(name));
  }
  return files;
} catch (const json::ParseError&) {
  refuse(path);
}

std::string TreeState::sectionOfList(std::string_view name) {
  if (!name.ends_with(treeNames::listSuffix)) return {};
  name.remove_suffix(treeNames::listSuffix.size());
  return treeNames::isFolder(name) ? std::string(name) : std::string();
}

}  // namespace orvik::host
