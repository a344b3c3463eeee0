#include "orvik/Explore/Tree/GitTree.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "Platform/Hex.h"
#include "TuvCore/Error.h"
#include "orvik/Explore/Tree/TreeNames.h"

namespace orvik::host {

namespace {

/// What the line of `git ls-tree` says that a file's mode is.
constexpr std::string_view executableMode = "100755";

}  // namespace

GitTree::GitTree(const GitRepository& repository, const std::optional<std::string>& head,
                 const std::stop_token& stop)
    : repository_(repository) {
  if (repository.tryLine({"rev-parse", "--show-object-format"}, stop) == "sha256")
    algorithm_ = platform::DigestAlgorithm::sha256;
  if (!head) return;
  const auto listing = repository.output({"ls-tree", "-r", "-z", "--full-tree", *head}, stop);
  // "MODE TYPE NAME\tPATH\0"
  for (std::string_view rest = listing; !rest.empty();) {
    const auto line = rest.substr(0, rest.find('\0'));
    rest.remove_prefix(std::min(rest.size(), line.size() + 1));
    const auto tab = line.find('\t');
    const auto name = line.substr(0, tab).rfind(' ');
    if (tab == line.npos || name == line.npos) continue;
    files_.emplace(line.substr(tab + 1), File{std::string(line.substr(name + 1, tab - name - 1)),
                                              line.starts_with(executableMode)});
  }
}

TreeState GitTree::state(const std::stop_token& stop) const {
  TreeState state;
  const auto folder = fmt::format("{}/", treeNames::listsFolder);
  for (auto each = files_.lower_bound(folder); each != files_.end() && each->first.starts_with(folder);
       ++each) {
    const auto section = TreeState::sectionOfList(std::string_view(each->first).substr(folder.size()));
    if (!section.empty())
      state.sections[section] = TreeState::readList(*content(each->first, stop), each->first);
  }
  return state;
}

std::optional<platform::Bytes> GitTree::content(const std::string& path, const std::stop_token& stop) const {
  const auto file = files_.find(path);
  if (file == files_.end()) return std::nullopt;
  return repository_.output({"cat-file", "blob", file->second.name}, stop);
}

std::vector<FastImport::Change> GitTree::takeChanges() {
  std::vector<FastImport::Change> changes;
  for (auto& [path, change] : std::exchange(changes_, {})) changes.push_back(change);
  return changes;
}

std::string GitTree::nameOf(std::string_view bytes) const {
  platform::Digest digest(algorithm_);
  digest.update(fmt::format("blob {}", bytes.size()));
  digest.update(std::string_view("\0", 1));
  digest.update(bytes);
  return platform::hexEncode(digest.finish());
}

bool GitTree::put(const BackupReader::Entry& entry, const ObjectFile& file, Owner owner) {
  const auto path = treeNames::path(entry.sectionID, file.name);
  if (files_.contains(entry.sectionID)) refuse(entry.sectionID);
  File now{nameOf(file.bytes), file.isExecutable};
  const auto there = files_.find(path);
  if (there != files_.end() && there->second == now) return false;
  if (there != files_.end() && owner == Owner::nobodyYet) refuse(path);
  set(path, std::move(now), file.bytes);
  return true;
}

void GitTree::putRecord(const std::string& path, const platform::Bytes& text) {
  File now{nameOf(text), false};
  const auto there = files_.find(path);
  if (there == files_.end() || there->second != now) set(path, std::move(now), text);
}

void GitTree::set(const std::string& path, File file, const platform::Bytes& bytes) {
  changes_.insert_or_assign(path, FastImport::Change{path, import_->blob(bytes), file.isExecutable});
  files_.insert_or_assign(path, std::move(file));
}

void GitTree::refuse(const std::string& path) const {
  throw tuv::Error(
      fmt::format("{} of {} is not of this export and stands in its way. Move it away and commit that.", path,
                  repository_.folder().string()));
}

void GitTree::remove(const std::string& path) {
  if (files_.erase(path) != 0) changes_.insert_or_assign(path, FastImport::Change{path, {}, false});
}

}  // namespace orvik::host
