// Loaded into a program by LD_PRELOAD, this library writes down every operation that changes files below
// RECORD_BELOW, in the order in which they happened, into the file RECORD_TO. A record is
//
//   struct record   numbers in the machine's own order
//   path            `path` bytes: the path it is about
//   data            `data` bytes: what was written, or the path that a file was renamed from
//
// Flushes are operations too: what a power cut leaves can be built from the list.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

struct record {
  char kind;  // Open Write Truncate Rename Unlink Mkdir Sync Folder (sync of a) All
  char pad[7];
  uint64_t file;    // inode
  uint64_t offset;  // of a write; the new size of a truncation
  uint32_t path, data;
};

static pthread_mutex_t order = PTHREAD_MUTEX_INITIALIZER;  // one operation at a time, with its record
static int to = -1;
static const char* below = "";

__attribute__((constructor)) static void begin(void) {
  const char* path = getenv("RECORD_TO");
  below = getenv("RECORD_BELOW");
  if (path && below) to = (int)syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_APPEND | O_CLOEXEC, 0);
}

static int isBelow(const char* path) {
  const size_t length = to < 0 ? 0 : strlen(below);
  return to >= 0 && strncmp(path, below, length) == 0 && (path[length] == 0 || path[length] == '/');
}

static void put(char kind, uint64_t file, uint64_t offset, const char* path, const void* data, size_t size) {
  struct record record = {kind, {0}, file, offset, (uint32_t)strlen(path), (uint32_t)size};
  struct iovec parts[] = {{&record, sizeof record}, {(void*)path, record.path}, {(void*)data, size}};
  const int error = errno;
  if (syscall(SYS_writev, to, parts, 3) != (long)(sizeof record + record.path + size)) abort();
  errno = error;
}

static void ofDescriptor(int descriptor, char path[PATH_MAX]) {
  char link[40];
  snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
  const int error = errno;
  const long length = syscall(SYS_readlink, link, path, PATH_MAX - 1);
  errno = error;
  path[length < 0 ? 0 : length] = 0;
}

static const char* absolute(int folder, const char* name, char path[2 * PATH_MAX]) {
  if (name[0] == '/') return name;
  if (folder == AT_FDCWD) {
    if (syscall(SYS_getcwd, path, (size_t)PATH_MAX) < 0) return "";
  } else {
    ofDescriptor(folder, path);
  }
  const size_t length = strlen(path);
  snprintf(path + length, PATH_MAX, "/%s", name);
  return path;
}

static uint64_t numberOf(int file) {
  struct stat about;
  return syscall(SYS_newfstatat, file, "", &about, AT_EMPTY_PATH) == 0 ? about.st_ino : 0;
}

static int isFolder(int file) {
  struct stat about;
  return syscall(SYS_newfstatat, file, "", &about, AT_EMPTY_PATH) == 0 && S_ISDIR(about.st_mode);
}

static int opened(int folder, const char* name, int flags, mode_t mode) {
  char buffer[2 * PATH_MAX];
  if ((flags & O_ACCMODE) == O_RDONLY && !(flags & (O_CREAT | O_TRUNC)))
    return (int)syscall(SYS_openat, folder, name, flags, mode);
  const char* path = absolute(folder, name, buffer);
  pthread_mutex_lock(&order);
  const int file = (int)syscall(SYS_openat, folder, name, flags, mode);
  if (file >= 0 && isBelow(path)) {
    put('O', numberOf(file), 0, path, "", 0);
    if (flags & O_TRUNC) put('T', numberOf(file), 0, path, "", 0);
  }
  pthread_mutex_unlock(&order);
  return file;
}

#define OPEN(name, folder, ...)               \
  int name(__VA_ARGS__, int flags, ...) {     \
    va_list list;                             \
    va_start(list, flags);                    \
    const mode_t mode = va_arg(list, mode_t); \
    va_end(list);                             \
    return opened(folder, path, flags, mode); \
  }
OPEN(open, AT_FDCWD, const char* path)
OPEN(open64, AT_FDCWD, const char* path)
OPEN(openat, folder, int folder, const char* path)
OPEN(openat64, folder, int folder, const char* path)

static ssize_t written(int file, const void* data, size_t size, off64_t at) {
  char path[PATH_MAX];
  ofDescriptor(file, path);
  pthread_mutex_lock(&order);
  if (at < 0 && isBelow(path)) {
    const long flags = syscall(SYS_fcntl, file, F_GETFL);
    at = syscall(SYS_lseek, file, 0, flags >= 0 && (flags & O_APPEND) ? SEEK_END : SEEK_CUR);
    if (at >= 0) syscall(SYS_lseek, file, at, SEEK_SET);
    const ssize_t done = syscall(SYS_write, file, data, size);
    if (done > 0) put('W', numberOf(file), (uint64_t)at, path, data, (size_t)done);
    pthread_mutex_unlock(&order);
    return done;
  }
  const ssize_t done =
      at < 0 ? syscall(SYS_write, file, data, size) : syscall(SYS_pwrite64, file, data, size, at);
  if (done > 0 && isBelow(path)) put('W', numberOf(file), (uint64_t)at, path, data, (size_t)done);
  pthread_mutex_unlock(&order);
  return done;
}
ssize_t write(int file, const void* data, size_t size) { return written(file, data, size, -1); }
ssize_t pwrite(int file, const void* data, size_t size, off_t at) { return written(file, data, size, at); }
ssize_t pwrite64(int file, const void* data, size_t size, off64_t at) {
  return written(file, data, size, at);
}

// Makes a call, and writes it down when it went well.
#define CALL(kind, path, from, call)                                                 \
  char buffer[2 * PATH_MAX], other[2 * PATH_MAX];                                    \
  (void)buffer, (void)other;                                                         \
  const char *about = path, *source = from;                                          \
  pthread_mutex_lock(&order);                                                        \
  const int answer = (int)(call);                                                    \
  if (answer == 0 && isBelow(about)) put(kind, 0, 0, about, source, strlen(source)); \
  pthread_mutex_unlock(&order);                                                      \
  return answer;

int renameat2(int folder, const char* from, int second, const char* name, unsigned flags) {
  CALL('R', absolute(second, name, buffer), absolute(folder, from, other),
       syscall(SYS_renameat2, folder, from, second, name, flags))
}
int renameat(int folder, const char* from, int second, const char* name) {
  return renameat2(folder, from, second, name, 0);
}
int rename(const char* from, const char* name) { return renameat2(AT_FDCWD, from, AT_FDCWD, name, 0); }
int unlinkat(int folder, const char* name, int flags) {
  CALL('U', absolute(folder, name, buffer), "", syscall(SYS_unlinkat, folder, name, flags))
}
int unlink(const char* name) { return unlinkat(AT_FDCWD, name, 0); }
int rmdir(const char* name) { return unlinkat(AT_FDCWD, name, AT_REMOVEDIR); }
int remove(const char* name) {
  const int answer = unlinkat(AT_FDCWD, name, 0);
  return answer < 0 && errno == EISDIR ? unlinkat(AT_FDCWD, name, AT_REMOVEDIR) : answer;
}
int mkdirat(int folder, const char* name, mode_t mode) {
  CALL('M', absolute(folder, name, buffer), "", syscall(SYS_mkdirat, folder, name, mode))
}
int mkdir(const char* name, mode_t mode) { return mkdirat(AT_FDCWD, name, mode); }

static int flushed(int file, long call, char kind) {
  char path[PATH_MAX];
  ofDescriptor(file, path);
  pthread_mutex_lock(&order);
  const int answer = (int)syscall(call, file);
  if (answer == 0 && isBelow(path)) put(kind, numberOf(file), 0, path, "", 0);
  pthread_mutex_unlock(&order);
  return answer;
}
int fsync(int file) { return flushed(file, SYS_fsync, isFolder(file) ? 'F' : 'S'); }
int fdatasync(int file) { return flushed(file, SYS_fdatasync, 'S'); }
int syncfs(int file) { return flushed(file, SYS_syncfs, 'A'); }
int ftruncate(int file, off_t size) {
  char path[PATH_MAX];
  ofDescriptor(file, path);
  pthread_mutex_lock(&order);
  const int answer = (int)syscall(SYS_ftruncate, file, size);
  if (answer == 0 && isBelow(path)) put('T', numberOf(file), (uint64_t)size, path, "", 0);
  pthread_mutex_unlock(&order);
  return answer;
}
int ftruncate64(int file, off64_t size) { return ftruncate(file, size); }
ssize_t copy_file_range(int from, off64_t* fromAt, int file, off64_t* at, size_t size, unsigned flags) {
  (void)from, (void)fromAt, (void)file, (void)at, (void)size, (void)flags;
  errno = ENOSYS;  // whoever copies goes on with reads and writes
  return -1;
}
