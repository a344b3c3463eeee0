// Loaded into a program beside shim.c, this library shows folders as other file systems have them:
//
//   NAMES_BELOW   the folder that is shown so
//   NAMES_FOLD    1: names that differ in case are one; the first spelling stays
//   NAMES_COPY    milliseconds: a folder is renamed by copying file after file, so long each, and deletion
//   NAMES_LAST    and the file of this name goes last; without it the first
#define _GNU_SOURCE
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#define REAL(name)               \
  static __typeof__(name)* real; \
  if (!real) real = (__typeof__(name)*)dlsym(RTLD_NEXT, #name)

static const char *below = "", *copying = "", *last = "";
static int folds;

__attribute__((constructor)) static void begin(void) {
  if (getenv("NAMES_BELOW")) below = getenv("NAMES_BELOW");
  if (getenv("NAMES_COPY")) copying = getenv("NAMES_COPY");
  if (getenv("NAMES_LAST")) last = getenv("NAMES_LAST");
  folds = getenv("NAMES_FOLD") != NULL;
}

static int isBelow(const char* path) {
  const size_t length = strlen(below);
  return length > 0 && strncmp(path, below, length) == 0 && path[length] == '/';
}

// The entry of a folder that differs from `name` in case alone, copied over it. True when there is one.
static int respell(const char* folder, char* name) {
  static DIR* (*openFolder)(const char*);
  static struct dirent* (*next)(DIR*);
  if (!openFolder) openFolder = (DIR * (*)(const char*)) dlsym(RTLD_NEXT, "opendir");
  if (!next) next = (struct dirent * (*)(DIR*)) dlsym(RTLD_NEXT, "readdir");
  DIR* entries = openFolder(folder);
  if (!entries) return 0;
  int found = 0;
  for (struct dirent* entry; !found && (entry = next(entries));)
    if (strlen(entry->d_name) == strlen(name) && strcasecmp(entry->d_name, name) == 0) {
      memcpy(name, entry->d_name, strlen(name));
      found = 1;
    }
  closedir(entries);
  return found;
}

// The path as the disk spells it, part by part below the folder; what isn't there stays as it is.
static const char* spelled(int folder, const char* path, char buffer[2 * PATH_MAX]) {
  if (!folds || !path || !*path) return path;
  const int error = errno;
  if (path[0] == '/') {
    snprintf(buffer, 2 * PATH_MAX, "%s", path);
  } else {
    char link[40];
    snprintf(link, sizeof link, "/proc/self/fd/%d", folder);
    long length = folder == AT_FDCWD ? syscall(SYS_getcwd, buffer, (size_t)PATH_MAX) - 1
                                     : syscall(SYS_readlink, link, buffer, (size_t)PATH_MAX);
    if (length < 0) length = 0;
    snprintf(buffer + length, (size_t)(2 * PATH_MAX - length), "/%s", path);
  }
  if (!isBelow(buffer)) {
    errno = error;
    return path;
  }
  for (char* part = buffer + strlen(below) + 1; part && *part;) {
    char* end = strchr(part, '/');
    if (end) *end = 0;
    struct stat about;
    if (syscall(SYS_newfstatat, AT_FDCWD, buffer, &about, AT_SYMLINK_NOFOLLOW) != 0) {
      part[-1] = 0;
      char name[PATH_MAX];
      snprintf(name, sizeof name, "%s", part);
      const int found = respell(buffer, name);
      part[-1] = '/';
      if (found) memcpy(part, name, strlen(name));
    }
    if (end) *end = '/';
    part = end ? end + 1 : NULL;
  }
  errno = error;
  return buffer;
}

#define SPELLED(folder, path)     \
  char spelledHere[2 * PATH_MAX]; \
  path = spelled(folder, path, spelledHere);

#define MODE                             \
  mode_t mode = 0;                       \
  if (flags & (O_CREAT | __O_TMPFILE)) { \
    va_list list;                        \
    va_start(list, flags);               \
    mode = va_arg(list, mode_t);         \
    va_end(list);                        \
  }

int open(const char* path, int flags, ...) {
  REAL(open);
  SPELLED(AT_FDCWD, path)
  MODE return real(path, flags, mode);
}
int open64(const char* path, int flags, ...) {
  REAL(open64);
  SPELLED(AT_FDCWD, path)
  MODE return real(path, flags, mode);
}
int openat(int folder, const char* path, int flags, ...) {
  REAL(openat);
  SPELLED(folder, path)
  MODE return real(folder, path, flags, mode);
}
int openat64(int folder, const char* path, int flags, ...) {
  REAL(openat64);
  SPELLED(folder, path)
  MODE return real(folder, path, flags, mode);
}
DIR* opendir(const char* path) {
  REAL(opendir);
  SPELLED(AT_FDCWD, path)
  return real(path);
}

#define ONE_PATH(name, parameters, folder, arguments) \
  int name parameters {                               \
    REAL(name);                                       \
    SPELLED(folder, path)                             \
    return real arguments;                            \
  }
ONE_PATH(stat, (const char* path, struct stat* to), AT_FDCWD, (path, to))
ONE_PATH(lstat, (const char* path, struct stat* to), AT_FDCWD, (path, to))
ONE_PATH(stat64, (const char* path, struct stat64* to), AT_FDCWD, (path, to))
ONE_PATH(lstat64, (const char* path, struct stat64* to), AT_FDCWD, (path, to))
ONE_PATH(fstatat, (int folder, const char* path, struct stat* to, int flags), folder,
         (folder, path, to, flags))
ONE_PATH(fstatat64, (int folder, const char* path, struct stat64* to, int flags), folder,
         (folder, path, to, flags))
ONE_PATH(statx, (int folder, const char* path, int flags, unsigned mask, struct statx* to), folder,
         (folder, path, flags, mask, to))
ONE_PATH(access, (const char* path, int mode), AT_FDCWD, (path, mode))
ONE_PATH(faccessat, (int folder, const char* path, int mode, int flags), folder, (folder, path, mode, flags))
ONE_PATH(unlink, (const char* path), AT_FDCWD, (path))
ONE_PATH(remove, (const char* path), AT_FDCWD, (path))
ONE_PATH(rmdir, (const char* path), AT_FDCWD, (path))
ONE_PATH(unlinkat, (int folder, const char* path, int flags), folder, (folder, path, flags))
ONE_PATH(mkdir, (const char* path, mode_t mode), AT_FDCWD, (path, mode))
ONE_PATH(mkdirat, (int folder, const char* path, mode_t mode), folder, (folder, path, mode))
ONE_PATH(chmod, (const char* path, mode_t mode), AT_FDCWD, (path, mode))

static void copyFile(const char* from, const char* to) {
  const int in = (int)syscall(SYS_openat, AT_FDCWD, from, O_RDONLY | O_CLOEXEC);
  const int out = (int)syscall(SYS_openat, AT_FDCWD, to, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  char buffer[65536];
  for (long size; (size = syscall(SYS_read, in, buffer, sizeof buffer)) > 0;)
    if (syscall(SYS_write, out, buffer, (size_t)size) != size) break;
  syscall(SYS_close, in);
  syscall(SYS_close, out);
  const long milliseconds = atol(copying);
  const struct timespec wait = {milliseconds / 1000, milliseconds % 1000 * 1000000};
  syscall(SYS_nanosleep, &wait, NULL);
}

// Copies a folder and deletes it. Those of its own entries that bear the name of NAMES_LAST go in a second
// round, or all others do.
static void moveFolder(const char* from, const char* to, int atTop) {
  mkdir(to, 0755);
  for (int round = 0; round < (atTop ? 2 : 1); ++round) {
    DIR* entries = opendir(from);
    if (!entries) return;
    for (struct dirent* entry; (entry = readdir(entries));) {
      const char* name = entry->d_name;
      if (strcmp(name, ".") == 0 || strcmp(name, "..") == 0) continue;
      const int isSpecial = strcmp(name, *last ? last : "manifest.json") == 0;
      if (atTop && (isSpecial != (*last ? round == 1 : round == 0))) continue;
      char source[PATH_MAX], target[PATH_MAX];
      snprintf(source, sizeof source, "%s/%s", from, name);
      snprintf(target, sizeof target, "%s/%s", to, name);
      struct stat about;
      if (syscall(SYS_newfstatat, AT_FDCWD, source, &about, AT_SYMLINK_NOFOLLOW) != 0) continue;
      if (S_ISDIR(about.st_mode))
        moveFolder(source, target, 0);
      else
        copyFile(source, target);
    }
    closedir(entries);
  }
}

static void removeFolder(const char* path) {
  DIR* entries = opendir(path);
  if (!entries) return;
  for (struct dirent* entry; (entry = readdir(entries));) {
    char name[PATH_MAX];
    if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0) continue;
    snprintf(name, sizeof name, "%s/%s", path, entry->d_name);
    if (syscall(SYS_unlinkat, AT_FDCWD, name, 0) != 0) removeFolder(name);
  }
  closedir(entries);
  syscall(SYS_unlinkat, AT_FDCWD, path, AT_REMOVEDIR);
}

// 1 when it was a folder and has been moved so, -1 when something is in its place, 0 for what is no folder.
static int movedSlowly(const char* from, const char* to) {
  struct stat about;
  if (!*copying || !isBelow(to)) return 0;
  if (syscall(SYS_newfstatat, AT_FDCWD, from, &about, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISDIR(about.st_mode))
    return 0;
  if (syscall(SYS_newfstatat, AT_FDCWD, to, &about, AT_SYMLINK_NOFOLLOW) == 0) {
    errno = EEXIST;
    return -1;
  }
  moveFolder(from, to, 1);
  removeFolder(from);
  return 1;
}

#define MOVE(call)                         \
  const int moved = movedSlowly(from, to); \
  return moved != 0 ? (moved < 0 ? -1 : 0) : call;

int rename(const char* from, const char* to) {
  REAL(rename);
  char spelledFrom[2 * PATH_MAX];
  from = spelled(AT_FDCWD, from, spelledFrom);
  SPELLED(AT_FDCWD, to)
  MOVE(real(from, to))
}
int renameat2(int folder, const char* from, int other, const char* to, unsigned flags) {
  REAL(renameat2);
  char spelledFrom[2 * PATH_MAX];
  from = spelled(folder, from, spelledFrom);
  SPELLED(other, to)
  MOVE(real(folder, from, other, to, flags))
}
