#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/AllocatedSize.h"
#include "Platform/Files/Descriptor.h"
#include "Platform/Files/Files.h"

namespace platform::files {

namespace {

constexpr std::int64_t blockSize = 512;  // the unit of st_blocks, whatever the file system's own is
constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK;

// Walks a tree with one open folder at a time: down by name, up by "..", which is taken only when it leads
// back to the folder that was left. So neither the depth nor the length of the paths has a limit.
class SizeWalk {
 public:
  SizeWalk(const Path& folder, const std::stop_token& stop)
      : stop_(stop), at_(open(folder.c_str(), folderFlags)) {}

  void run(std::int64_t& total) {
    if (!enter(total)) return;
    while (!levels_.empty()) {
      auto& pending = levels_.back().pending;
      if (pending.empty()) {
        levels_.pop_back();
        if (!levels_.empty() && !leave()) return;
        continue;
      }
      const std::string name = std::move(pending.back());
      pending.pop_back();
      Descriptor below(openat(at_.number(), name.c_str(), folderFlags | O_NOFOLLOW));
      if (!below.isOpen()) continue;
      std::swap(at_, below);
      if (!enter(total)) at_ = std::move(below);
    }
  }

 private:
  struct Level {
    dev_t device;
    ino_t inode;
    std::vector<std::string> pending;  // folders in it that are still to be looked at
  };

  bool enter(std::int64_t& total) {
    struct stat status;
    if (!at_.isOpen() || fstat(at_.number(), &status) != 0) return false;
    Descriptor listing(openat(at_.number(), ".", folderFlags));
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(fdopendir(listing.number()), closedir);
    if (!stream) return false;
    listing.release();
    Level level{status.st_dev, status.st_ino, {}};
    while (const dirent* entry = readdir(stream.get())) {
      throwIfCancelled(stop_);
      look(entry->d_name, level, total);
    }
    levels_.push_back(std::move(level));
    return true;
  }

  void look(const char* name, Level& level, std::int64_t& total) const {
    struct stat status;
    const std::string_view text = name;
    if (text == "." || text == "..") return;
    if (fstatat(at_.number(), name, &status, AT_SYMLINK_NOFOLLOW) != 0) return;
    if (S_ISREG(status.st_mode)) total += status.st_blocks * blockSize;
    if (S_ISDIR(status.st_mode)) level.pending.emplace_back(text);
  }

  bool leave() {
    struct stat status;
    Descriptor above(openat(at_.number(), "..", folderFlags));
    if (!above.isOpen() || fstat(above.number(), &status) != 0) return false;
    at_ = std::move(above);
    return status.st_dev == levels_.back().device && status.st_ino == levels_.back().inode;
  }

  const std::stop_token& stop_;
  Descriptor at_;
  std::vector<Level> levels_;
};

}  // namespace

std::int64_t allocatedSize(const Path& folder) noexcept {
  std::int64_t total = 0;
  try {
    SizeWalk(folder, {}).run(total);
  } catch (const std::exception&) {
  }
  return total;
}

std::int64_t allocatedSize(const Path& folder, const std::stop_token& stop) {
  std::int64_t total = 0;
  SizeWalk(folder, stop).run(total);
  return total;
}

}  // namespace platform::files
