#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Bytes.h"
#include "Platform/Date.h"
#include "Platform/Error.h"

/// Files and folders. Paths are used as they stand; links are followed unless an operation says otherwise.
/// Every operation that changes the disk passes the fault seam (FaultSeam.h).
namespace platform::files {

using Path = std::filesystem::path;

enum class FileErrorKind {
  notFound,
  exists,
  notPermitted,
  noSpace,
  notADirectory,
  isADirectory,
  notEmpty,
  other
};

/// A failed file operation. `description()` names the operation, the path and the system's reason, for
/// example "Can't write /backups/x/instance.json: No space left on device".
class FileError : public Error {
 public:
  FileError(FileErrorKind kind, int code, std::string description)
      : Error(std::move(description)), kind_(kind), code_(code) {}
  FileErrorKind kind() const noexcept { return kind_; }
  /// The system's error number.
  int code() const noexcept { return code_; }

 private:
  FileErrorKind kind_;
  int code_;
};

/// The one place where a system error number becomes ours. `action` is a verb phrase, "write" or "create the
/// folder"; control characters of the path are shown as "?", so that the sentence stays one line.
[[noreturn]] void throwFileError(std::string_view action, const Path& path, int code);

/// The whole content. Throws `FileError`; whatever is no regular file (a folder, a pipe, a device) is an
/// error and never blocks. The result has room behind its end for the padding that the JSON reader wants.
Bytes read(const Path& path);
/// The same into a buffer that is used again and again, whose content is undefined after a failure. A file
/// longer than `limit` bytes is an error, before memory is taken for it.
void read(const Path& path, Bytes& buffer, std::uint64_t limit = UINT64_MAX);

/// The content when `read` would give it and it is no longer than `limit` bytes, else nothing. The limit also
/// bounds the memory that is taken, whatever size the file claims.
std::optional<Bytes> tryRead(const Path& path, std::uint64_t limit = UINT64_MAX) noexcept;

/// Whether the path exists and is a regular file (links followed). Never throws.
bool isFile(const Path& path) noexcept;
/// Whether the path exists and is a folder (links followed). Never throws.
bool isDirectory(const Path& path) noexcept;
/// Whether anything stands there, a dangling link included. Never throws.
bool exists(const Path& path) noexcept;

/// The size of a regular file in bytes, or nothing.
std::optional<std::int64_t> size(const Path& path) noexcept;

/// What stands at a path itself: a link is looked at, not followed.
struct Entry {
  enum class Kind { file, folder, link, other };
  Kind kind = Kind::other;
  std::int64_t size = 0;  ///< bytes of a file
  Date modified;          ///< when its content last changed
};
/// Nothing when nothing stands there or it can't be looked at.
std::optional<Entry> entryAt(const Path& path) noexcept;

/// The names in a folder, in no order, without "." and "..". Throws `FileError`.
std::vector<std::string> list(const Path& folder);
/// The same without the names that begin with ".", ascending as bytes. Throws `FileError`.
std::vector<std::string> listVisible(const Path& folder);
/// The same; an empty list when the folder can't be read.
std::vector<std::string> visibleNames(const Path& folder) noexcept;

/// Makes the folder with its parents. Throws `FileError`; a folder that exists, or that another thread or
/// process makes meanwhile, is no error.
void createDirectories(const Path& folder);

/// Whether written bytes are flushed to stable storage before their file gets its name.
enum class Flush { no, yes };

/// Writes a whole file in one step: the data goes to a sibling named "." + name + "." + an upper-case UUID +
/// ".tmp", which is then renamed over the target; missing folders are made. Readers see the old content or
/// the new one, never a part. Where the file system refuses to replace a file that another writer put there
/// meanwhile, that writer got there first and the call succeeds. The mode is 0644 less the umask, or exactly
/// `mode` when one is given, from the moment on in which the file has its name. Throws `FileError`, also for
/// a name so long (over 213 bytes) that the sibling's is not allowed; the temporary file is gone after a
/// failure.
void atomicWrite(std::string_view data, const Path& path, Flush flush = Flush::no,
                 std::optional<std::filesystem::perms> mode = {});

/// Whether a file of that name is the sibling of an `atomicWrite`: "." + name + "." + an upper-case UUID +
/// ".tmp". Such a file that nobody writes any more is what a crash left.
bool isTemporaryName(std::string_view name) noexcept;

/// Renames; an existing file at `to` is replaced. Throws `FileError`.
void rename(const Path& from, const Path& to);
/// Renames and never replaces anything: fails with `exists` when `to` is there, be it an empty folder or a
/// dangling link. Throws `FileError`. One step where the file system can do it; on those that can't (some
/// network file systems) `to` is looked at first, so a file that appears in that moment may be replaced, a
/// folder with content never.
void renameWithoutReplacing(const Path& from, const Path& to);
/// Copies a regular file in pieces: the copy is flushed to stable storage and appears whole, under a name
/// that must be free. Throws `FileError`, and `CancellationError` on a stop; nothing has appeared then.
void copyFile(const Path& from, const Path& to, const std::stop_token& stop = {});
/// The same in place of what file is there, which stays until the copy is whole. The mode is exactly `mode`.
void copyReplacing(const Path& from, const Path& to, std::filesystem::perms mode,
                   const std::stop_token& stop = {});
/// Gives a file another name; from one file system to another it is copied first. An existing file at `to`
/// is replaced or, by the copy, an error. Throws as `rename` and `copyFile`; the file is still there then.
void move(const Path& from, const Path& to, const std::stop_token& stop = {});
/// Deletes a file. Throws `FileError`, also when it is not there.
void remove(const Path& path);
/// Deletes a file or an empty folder; failures are ignored.
void tryRemove(const Path& path) noexcept;
/// Deletes a tree; links are deleted, not followed. A path that is not there is no error. Throws `FileError`;
/// a part of the tree may be gone then. It passes the fault seam once, before anything is deleted.
void removeTree(const Path& path);

/// The allocated size, in bytes, of all regular files below a folder, hidden ones included, links not
/// followed; what can't be looked at counts 0. Takes a handful of descriptors and no stack, however deep the
/// tree is.
std::int64_t allocatedSize(const Path& folder) noexcept;

/// Flushes the file system that holds `path` to stable storage. Throws `FileError`.
void syncFileSystem(const Path& path);
/// Flushes a folder's entries to stable storage: files that were made, renamed or deleted in it. File systems
/// that know no such thing count as done. Throws `FileError`.
void syncFolder(const Path& folder);

/// Sequential reading of one file in pieces. Closed when it goes. Not for more than one thread.
class FileReader {
 public:
  /// Throws `FileError`, also for what is no regular file.
  explicit FileReader(const Path& path);
  ~FileReader();
  FileReader(const FileReader&) = delete;
  FileReader& operator=(const FileReader&) = delete;

  /// Reads `capacity` (at least 1) bytes into `buffer`, fewer only in the last piece (resized to what came);
  /// false at the end. Throws `FileError`.
  bool read(Bytes& buffer, std::size_t capacity);

 private:
  Path path_;
  int descriptor_;
};

/// A folder held open, for reading many files below it: a name is looked up from there, not from the root.
/// Any thread may call.
class FolderReader {
 public:
  /// A folder that can't be opened reads nothing.
  explicit FolderReader(const Path& folder) noexcept;
  ~FolderReader();
  FolderReader(const FolderReader&) = delete;
  FolderReader& operator=(const FolderReader&) = delete;

  /// Fills `buffer` with a regular file of at most `limit` bytes. False, with `buffer` in any state, for
  /// whatever `read` would throw; ask that for the reason. `name` is relative to the folder.
  bool tryRead(const std::string& name, Bytes& buffer, std::uint64_t limit = UINT64_MAX) const noexcept;

 private:
  int descriptor_;
};

/// A file that only grows. Made (mode 0644 less the umask) when it is missing; every `append` goes to the
/// present end in one write. Closed, without a flush, when it goes. Not for more than one thread.
class AppendFile {
 public:
  /// Throws `FileError`, also when the folder is missing or something else than a regular file stands there.
  explicit AppendFile(const Path& path);
  ~AppendFile();
  AppendFile(const AppendFile&) = delete;
  AppendFile& operator=(const AppendFile&) = delete;

  /// Throws `FileError`. A failure may leave a part of `bytes` at the end.
  void append(std::string_view bytes);
  /// The file's present size; 0 when the system can't tell.
  std::int64_t size() const noexcept;
  /// Whether the file is empty or its last byte is a line feed; false when that can't be read.
  bool endsWithLineFeed() const noexcept;
  /// Flushes to stable storage. Throws `FileError`.
  void sync();

 private:
  Path path_;
  int descriptor_;
};

/// A file that is written in several goes: what is there stays until it is cut off. Made empty (mode 0644
/// less the umask) when it is missing. Closed, without a flush, when it goes. Not for more than one thread.
class ResumableFile {
 public:
  /// Opens at position 0. Throws `FileError`, also when the folder is missing or something else than a
  /// regular file stands there.
  explicit ResumableFile(const Path& path);
  ~ResumableFile();
  ResumableFile(const ResumableFile&) = delete;
  ResumableFile& operator=(const ResumableFile&) = delete;

  /// The present size in bytes. Throws `FileError`.
  std::int64_t size() const;
  /// Cuts the file to `size` bytes; the position stays. Throws `FileError`.
  void truncate(std::int64_t size);
  /// The next write goes to that many bytes from the begin. Throws `FileError`.
  void seek(std::int64_t offset);
  /// Writes at the position and moves it. Throws `FileError`; a part may have been written then.
  void write(std::string_view bytes);
  /// Flushes to stable storage. Throws `FileError`.
  void sync();

 private:
  Path path_;
  int descriptor_;
};

/// A new file that is written from begin to end under a temporary name, as `atomicWrite` makes it, and
/// appears whole. Not for more than one thread. What is not published is deleted when it goes.
class StagedFile {
 public:
  /// Makes the temporary file beside `target`, whose folder exists. Throws `FileError`.
  explicit StagedFile(Path target);
  ~StagedFile();
  StagedFile(const StagedFile&) = delete;
  StagedFile& operator=(const StagedFile&) = delete;

  /// Bytes are gathered and written in pieces of a megabyte. Throws `FileError`; after that nothing but the
  /// end of this object makes sense, and every other operation throws as well.
  void append(std::string_view bytes);
  /// Bytes appended so far.
  std::int64_t size() const noexcept { return size_; }
  /// Writes what is gathered, flushes it to stable storage, closes the file and gives it its name. Never
  /// replaces anything. Throws `FileError`.
  void publish();
  /// The same in place of what file has the name, with exactly that mode.
  void publishReplacing(std::filesystem::perms mode);

 private:
  void require(int code);
  void finish();
  void writeGathered();

  Path target_;
  Path temporary_;
  int descriptor_ = -1;
  Bytes gathered_;
  std::int64_t size_ = 0;
  int failure_ = 0;  ///< the first error number
};

/// An open file whose ranges are read in any order, by any number of threads at once. The file may be deleted
/// meanwhile and stays readable; one that is cut meanwhile gives short reads.
class RangeReader {
 public:
  /// Throws `FileError`, also for what is no regular file.
  explicit RangeReader(const Path& path);
  ~RangeReader();
  RangeReader(const RangeReader&) = delete;
  RangeReader& operator=(const RangeReader&) = delete;

  /// In bytes, when it was opened.
  std::int64_t size() const noexcept { return size_; }
  /// Fills `buffer` with that range; false, with `buffer` in any state, when it is not all there or can't be
  /// read. Throws when memory runs out.
  bool read(std::int64_t offset, std::int64_t length, Bytes& buffer) const;

 private:
  int descriptor_;
  std::int64_t size_;
};

/// A fresh private folder (mode 0700) below the system's temporary folder, deleted with all its content when
/// it goes; that deletion alone does not pass the fault seam.
class TempFolder {
 public:
  /// Throws `FileError`.
  explicit TempFolder(std::string_view prefix = "orvik");
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const Path& path() const noexcept { return path_; }
  Path operator/(std::string_view name) const { return path_ / name; }
  /// Leaves the folder and its content where they are when this goes.
  void keep() noexcept { isKept_ = true; }

 private:
  Path path_;
  bool isKept_ = false;
};

}  // namespace platform::files
