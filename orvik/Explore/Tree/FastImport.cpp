#include "orvik/Explore/Tree/FastImport.h"

#include <fmt/format.h>

#include <chrono>
#include <utility>

#include "Platform/Locale/Text.h"
#include "TuvCore/Error.h"

namespace orvik::host {

namespace {

/// Always the same, so that the same folder gives the same commits wherever it is exported.
constexpr std::string_view author = "Orvik <orvik@localhost>";

}  // namespace

std::string quotedPath(std::string_view path) {
  std::string quoted = "\"";
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\')
      quoted += {'\\', c};
    else if (byte < ' ' || byte == 0x7F)
      quoted += fmt::format("\\{:03o}", byte);
    else
      quoted += c;
  }
  return quoted + '"';
}

FastImport::FastImport(const GitRepository& repository, std::string reference,
                       std::optional<std::string> head, const std::stop_token& stop)
    : reference_(std::move(reference)),
      head_(std::move(head)),
      git_(repository.feed({"fast-import", "--quiet", "--force", "--done", "--date-format=raw"}, stop)) {}

FastImport::Mark FastImport::blob(std::string_view bytes) {
  send(fmt::format("blob\nmark :{}\ndata {}\n", ++last_, bytes.size()));
  send(bytes);
  send("\n");
  return last_;
}

void FastImport::commit(std::string_view message, platform::Date date, const std::vector<Change>& changes) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(date).time_since_epoch().count();
  std::string text = fmt::format("commit {0}\nauthor {1} {2} +0000\ncommitter {1} {2} +0000\ndata {3}\n{4}\n",
                                 reference_, author, seconds, message.size(), message);
  if (head_) text += fmt::format("from {}\n", *std::exchange(head_, {}));
  for (const auto& change : changes)
    text += change.content ? fmt::format("M {} :{} {}\n", change.isExecutable ? "100755" : "100644",
                                         *change.content, quotedPath(change.path))
                           : fmt::format("D {}\n", quotedPath(change.path));
  send(text + "\n");
}

void FastImport::finish() {
  send("done\n");
  end();
}

void FastImport::send(std::string_view bytes) {
  if (git_->write(bytes)) return;
  end();
  throw tuv::Error("git fast-import ended before it had read everything.");
}

void FastImport::end() {
  const auto end = git_->finish();
  if (end.status == 0) return;
  throw tuv::Error(fmt::format("git fast-import failed: {}", platform::locale::trimmed(end.errors)));
}

}  // namespace orvik::host
