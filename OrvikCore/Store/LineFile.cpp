#include "OrvikCore/Store/LineFile.h"

#include <string>

namespace orvik {

namespace {

constexpr std::size_t pieceSize = 64 * 1024;

/// The line that is being read, put together from pieces of the file.
class GrowingLine {
 public:
  GrowingLine(std::size_t longest, const std::function<void(std::string_view)>& visit)
      : longest_(longest), visit_(visit) {}

  void append(std::string_view part) {
    isTooLong_ = isTooLong_ || part.size() > longest_ - text_.size();
    if (!isTooLong_) text_.append(part);
  }
  void end() {
    if (isTooLong_)
      ++leftOut_;
    else if (!text_.empty())
      visit_(text_);
    text_.clear();
    isTooLong_ = false;
  }
  std::size_t leftOut() const { return leftOut_; }

 private:
  const std::size_t longest_;
  const std::function<void(std::string_view)>& visit_;
  std::string text_;
  bool isTooLong_ = false;
  std::size_t leftOut_ = 0;
};

}  // namespace

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

std::size_t LineFile::forEachLine(const std::filesystem::path& path, std::size_t longest,
                                  const std::function<void(std::string_view)>& visit) {
  platform::files::FileReader file(path);
  GrowingLine line(longest, visit);
  platform::Bytes piece;
  while (file.read(piece, pieceSize)) {
    std::string_view rest = piece;
    for (auto end = rest.find('\n'); end != std::string_view::npos; end = rest.find('\n')) {
      line.append(rest.substr(0, end));
      line.end();
      rest.remove_prefix(end + 1);
    }
    line.append(rest);
  }
  line.end();
  return line.leftOut();
}

}  // namespace orvik
