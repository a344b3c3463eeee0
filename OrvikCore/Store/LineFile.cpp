#include "OrvikCore/Store/LineFile.h"

#include <string>

namespace orvik {

void LineFile::append(std::string_view line) {
  if (!file_) {
    file_ = std::make_unique<platform::files::AppendFile>(path_);
    mayBeTorn_ = true;
  }
  std::string bytes;
  bytes.reserve(line.size() + 2);
  if (mayBeTorn_ && !file_->endsWithLineFeed()) bytes += '\n';
  bytes.append(line).append("\n");
  mayBeTorn_ = true;
  file_->append(bytes);
  mayBeTorn_ = false;
}

void LineFile::close() noexcept {
  if (!file_) return;
  try {
    file_->sync();
  } catch (const platform::files::FileError&) {
  }
  file_.reset();
}

std::vector<std::string_view> LineFile::lines(std::string_view content) {
  std::vector<std::string_view> lines;
  while (!content.empty()) {
    const auto end = content.find('\n');
    if (const auto line = content.substr(0, end); !line.empty()) lines.push_back(line);
    if (end == std::string_view::npos) break;
    content.remove_prefix(end + 1);
  }
  return lines;
}

}  // namespace orvik
