#include "Platform/Files/Abilities.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <system_error>

#include "Platform/Files/Descriptor.h"
#include "Platform/Files/FaultSeam.h"
#include "Platform/UUID.h"

namespace platform::files {

namespace {

using Result = Trial::Result;

constexpr std::size_t longestName = 255;  // bytes, NAME_MAX of Linux
constexpr std::string_view content = "tried\n";

Trial works() { return {Result::works, {}}; }
Trial partly(std::string problem) { return {Result::partly, std::move(problem)}; }
Trial fails(std::string problem) { return {Result::fails, std::move(problem)}; }

/// Which file this is, under whatever name; 0 where that can't be told.
ino_t identity(const Path& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

/// The folder of the trials. Gone, with what they left, when it goes.
class TrialFolder {
 public:
  explicit TrialFolder(Path path) : path_(std::move(path)) { createDirectories(path_); }
  ~TrialFolder() {
    try {
      removeTree(path_);
    } catch (const Error&) {
      // A later trial of the same place meets the same trouble and tells it.
    }
  }
  TrialFolder(const TrialFolder&) = delete;
  TrialFolder& operator=(const TrialFolder&) = delete;

  Path operator/(std::string_view name) const { return path_ / name; }
  const Path& path() const { return path_; }

 private:
  Path path_;
};

/// Writes a file under its own name, without the help of a rename.
void writePlainly(const Path& path) {
  Descriptor file;
  int code = openNew(path, file);
  if (code == 0) code = writeFully(file.number(), content);
  if (const int closing = file.close(); code == 0) code = closing;
  if (code != 0) throwFileError("write", path, code);
}

/// A folder with one file in it.
Path filledFolder(const Path& path) {
  createDirectories(path);
  writePlainly(path / "inner");
  return path;
}

bool holdsContent(const Path& path) { return tryRead(path) == content; }

Trial tryWriting(const TrialFolder& folder) {
  const auto file = filledFolder(folder / "written") / "inner";
  return holdsContent(file) ? works()
                            : fails(fmt::format("What was written to {} does not come back.", file.native()));
}

Trial tryRenaming(const TrialFolder& folder) {
  writePlainly(folder / "old");
  writePlainly(folder / "new");
  files::rename(folder / "new", folder / "old");
  const auto from = filledFolder(folder / "from");
  const auto to = folder / "to";
  const auto before = identity(from / "inner");
  files::rename(from, to);
  if (files::exists(from) || !holdsContent(to / "inner"))
    return fails(fmt::format("{} is not whole under its new name.", to.native()));
  if (identity(to / "inner") != before)
    return partly("A folder that gets another name is copied file by file.");
  return works();
}

/// Whether a folder with something in it gives its name away.
bool replacesFolders(const Path& from, const Path& to) {
  try {
    files::rename(from, to);
    return true;
  } catch (const FileError&) {
    return false;
  }
}

Trial tryNotReplacing(const TrialFolder& folder) {
  const auto from = filledFolder(folder / "newcomer");
  const auto to = filledFolder(folder / "resident");
  int code = passFaultSeam();
  if (code == 0 && ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0)
    code = errno;
  if (code == EEXIST || code == ENOTEMPTY) return works();
  const bool isUnknown = code == EINVAL || code == ENOSYS;
  if (code != 0 && !isUnknown) throwFileError(fmt::format("rename {} to", from.native()), to, code);
  if (!isUnknown || replacesFolders(from, to))
    return fails("A folder that gets the name of another one replaces it.");
  return partly("A rename that must not replace anything takes two steps here.");
}

Trial tryFlushing(const TrialFolder& folder) {
  AppendFile file(folder / "flushed");
  file.append(content);
  file.sync();
  syncFolder(folder.path());
  return works();
}

Trial tryCase(const TrialFolder& folder) {
  writePlainly(folder / "Name");
  return files::exists(folder / "nAME") ? partly("Names that differ in case are one name.") : works();
}

Trial tryLongNames(const TrialFolder& folder) {
  try {
    writePlainly(folder / std::string(longestName, 'n'));
    return works();
  } catch (const FileError& error) {
    if (error.code() != ENAMETOOLONG && error.code() != EINVAL) throw;
    return partly(fmt::format("Names of {} bytes are too long.", longestName));
  }
}

/// A trial that fails with an exception has found out something, too.
Trial outcomeOf(Trial (*trial)(const TrialFolder&), const TrialFolder& folder) try {
  return trial(folder);
} catch (const Error& error) {
  return fails(error.description() + ".");
}

}  // namespace

Abilities tryAbilities(const Path& folder, std::string_view prefix) try {
  Abilities found;
  std::error_code failure;
  if (const auto space = std::filesystem::space(folder, failure); !failure) found.freeBytes = space.available;
  const TrialFolder trials(folder / fmt::format("{}{}", prefix, UUID::random().text()));
  found.write = outcomeOf(tryWriting, trials);
  if (found.write.result == Result::fails) return found;
  found.rename = outcomeOf(tryRenaming, trials);
  found.noReplace = outcomeOf(tryNotReplacing, trials);
  found.flush = outcomeOf(tryFlushing, trials);
  found.caseTold = outcomeOf(tryCase, trials);
  found.longNames = outcomeOf(tryLongNames, trials);
  return found;
} catch (const Error& error) {
  Abilities nothing;
  nothing.write = fails(error.description() + ".");
  return nothing;
}

}  // namespace platform::files
