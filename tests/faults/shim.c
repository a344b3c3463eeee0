// Loaded into a program by LD_PRELOAD, this library breaks the n-th call that the program makes of the C
// library on files below the given folders, counted over all its threads. What it does stands in environment
// variables:
//
//   FAULT_STATE    file of `struct state`, mapped: what happened survives the program
//   FAULT_CALLS    kinds of calls, with commas: open read write close stat rename unlink mkdir sync
//   syncfolder list
//                  chmod link truncate malloc; "all" is every one but malloc
//   FAULT_BELOW    folders, with colons; only calls on what lies below them count. Empty: everywhere
//   FAULT_PATTERN  and only where the path holds this text
//   FAULT_AT       the first call to break, from 1; 0 breaks none
//   FAULT_UNTIL    the last one; as FAULT_AT by default, 0 is without end
//   FAULT_EVERY    between the two each so many-th call alone
//   FAULT_DO       kill, stop (as by SIGSTOP, then the call is made), error:NUMBER, short (half the bytes; a
//   listing
//                  ends), one (a single byte), lie (success, and nothing was done), torn (half the bytes,
//                  then kill), delay:MILLISECONDS, omit or repeat (an entry of a listing)
//
// The clock of the calendar is moved by `clock` of the state, at any time; the monotonic clock never is.
#define _GNU_SOURCE
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

struct state {
  uint64_t count;    // calls that counted
  uint64_t hits;     // calls that were broken
  int64_t clock;     // seconds that the calendar is ahead
  char refused[64];  // renames to paths that hold this text fail, from when it is set
  char what[936];    // the first broken call: its kind and path
};

enum action { PASS, FAIL, SHORT, ONE, LIE, TORN, OMIT, REPEAT };
enum kind {
  OPEN,
  READ,
  WRITE,
  CLOSE,
  STAT,
  RENAME,
  UNLINK,
  MKDIR,
  SYNC,
  SYNCFOLDER,
  LIST,
  CHMOD,
  LINK,
  TRUNCATE,
  MALLOC,
  KINDS
};
static const char* const kindNames[KINDS] = {"open",   "read",   "write", "close",    "stat",
                                             "rename", "unlink", "mkdir", "sync",     "syncfolder",
                                             "list",   "chmod",  "link",  "truncate", "malloc"};

static struct state* state;
static int wanted[KINDS];
static const char *below = "", *pattern = "", *deed = "";
static uint64_t first, last, step = 1;

#define REAL(name)               \
  static __typeof__(name)* real; \
  if (!real) real = (__typeof__(name)*)dlsym(RTLD_NEXT, #name)

static uint64_t number(const char* variable, uint64_t otherwise) {
  const char* text = getenv(variable);
  return text && *text ? strtoull(text, NULL, 10) : otherwise;
}

static const char* text(const char* variable) {
  const char* value = getenv(variable);
  return value ? value : "";
}

// Whether a list with commas has that word.
static int names(const char* list, const char* word) {
  for (; *list; list += strcspn(list, ","), list += *list == ',')
    if (strcspn(list, ",") == strlen(word) && strncmp(list, word, strlen(word)) == 0) return 1;
  return 0;
}

__attribute__((constructor)) static void begin(void) {
  const char* calls = text("FAULT_CALLS");
  for (int i = 0; i < KINDS; ++i)
    wanted[i] = names(calls, kindNames[i]) || (strcmp(calls, "all") == 0 && i != MALLOC);
  below = text("FAULT_BELOW");
  pattern = text("FAULT_PATTERN");
  deed = text("FAULT_DO");
  first = number("FAULT_AT", 0);
  last = number("FAULT_UNTIL", first);
  if (last == 0) last = UINT64_MAX;
  step = number("FAULT_EVERY", 1);
  const int file = (int)syscall(SYS_openat, AT_FDCWD, text("FAULT_STATE"), O_RDWR | O_CLOEXEC, 0);
  if (file < 0) return;
  void* map = mmap(NULL, sizeof(struct state), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  syscall(SYS_close, file);
  if (map != MAP_FAILED) state = map;
}

static int isBelow(const char* path) {
  if (!*below) return 1;
  for (const char* at = below; *at;) {
    const size_t length = strcspn(at, ":");
    if (strncmp(path, at, length) == 0 && (path[length] == 0 || path[length] == '/')) return 1;
    at += length + (at[length] == ':');
  }
  return 0;
}

// What happens to this call: it is counted, and the process ends, stops or waits in here.
static enum action decide(enum kind kind, const char* path) {
  if (!state || !wanted[kind]) return PASS;
  if (path && (!isBelow(path) || (*pattern && !strstr(path, pattern)))) return PASS;
  if (kind == RENAME && *state->refused && path && strstr(path, state->refused)) {
    errno = EIO;
    return FAIL;
  }
  const uint64_t n = __atomic_add_fetch(&state->count, 1, __ATOMIC_SEQ_CST);
  if (first == 0 || n < first || n > last || (n - first) % step != 0) return PASS;
  if (__atomic_fetch_add(&state->hits, 1, __ATOMIC_SEQ_CST) == 0) {
    char *out = state->what, *end = state->what + sizeof state->what - 1;
    for (const char* from = kindNames[kind]; *from && out < end;) *out++ = *from++;
    if (out < end) *out++ = ' ';
    for (const char* from = path ? path : ""; *from && out < end;) *out++ = *from++;
    *out = 0;
  }
  if (strcmp(deed, "kill") == 0) syscall(SYS_kill, getpid(), SIGKILL);
  if (strcmp(deed, "stop") == 0) syscall(SYS_kill, getpid(), SIGSTOP);
  if (strncmp(deed, "delay:", 6) == 0) {
    const long milliseconds = atol(deed + 6);
    const struct timespec wait = {milliseconds / 1000, milliseconds % 1000 * 1000000};
    syscall(SYS_nanosleep, &wait, NULL);
  }
  if (strncmp(deed, "error:", 6) == 0) {
    errno = atoi(deed + 6);
    return FAIL;
  }
  return strcmp(deed, "short") == 0    ? SHORT
         : strcmp(deed, "one") == 0    ? ONE
         : strcmp(deed, "lie") == 0    ? LIE
         : strcmp(deed, "torn") == 0   ? TORN
         : strcmp(deed, "omit") == 0   ? OMIT
         : strcmp(deed, "repeat") == 0 ? REPEAT
                                       : PASS;
}

static void ofDescriptor(int descriptor, char path[PATH_MAX]) {
  char link[40];
  snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
  const int error = errno;
  const long length = syscall(SYS_readlink, link, path, PATH_MAX - 1);
  errno = error;
  path[length < 0 ? 0 : length] = 0;
}

static enum action decideAt(enum kind kind, int folder, const char* name) {
  if (!state || !wanted[kind] || !name) return PASS;
  if (name[0] == '/') return decide(kind, name);
  char path[2 * PATH_MAX];
  if (folder == AT_FDCWD) {
    if (syscall(SYS_getcwd, path, (size_t)PATH_MAX) < 0) return PASS;
  } else {
    ofDescriptor(folder, path);
  }
  const size_t length = strlen(path);
  if (*name) snprintf(path + length, sizeof path - length, "/%s", name);
  return decide(kind, path);
}

static enum action decideOpen(enum kind kind, int descriptor) {
  if (!state || !wanted[kind]) return PASS;
  char path[PATH_MAX];
  ofDescriptor(descriptor, path);
  return decide(kind, path);
}

// For calls that give 0 for success: fails or pretends, else makes the call.
#define ANSWER(decision, call) \
  switch (decision) {          \
    case FAIL:                 \
      return -1;               \
    case LIE:                  \
      return 0;                \
    default:                   \
      return call;             \
  }

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
  MODE return decideAt(OPEN, AT_FDCWD, path) == FAIL ? -1 : real(path, flags, mode);
}
int open64(const char* path, int flags, ...) {
  REAL(open64);
  MODE return decideAt(OPEN, AT_FDCWD, path) == FAIL ? -1 : real(path, flags, mode);
}
int openat(int folder, const char* path, int flags, ...) {
  REAL(openat);
  MODE return decideAt(OPEN, folder, path) == FAIL ? -1 : real(folder, path, flags, mode);
}
int openat64(int folder, const char* path, int flags, ...) {
  REAL(openat64);
  MODE return decideAt(OPEN, folder, path) == FAIL ? -1 : real(folder, path, flags, mode);
}

// How many bytes are moved; -1 fails.
static ssize_t share(enum action decision, size_t size) {
  if (decision == FAIL) return -1;
  if (decision == ONE && size > 1) return 1;
  if ((decision == SHORT || decision == TORN) && size > 1) return (ssize_t)(size / 2);
  return (ssize_t)size;
}

ssize_t read(int file, void* to, size_t size) {
  REAL(read);
  const ssize_t some = share(decideOpen(READ, file), size);
  return some < 0 ? -1 : real(file, to, (size_t)some);
}
ssize_t pread(int file, void* to, size_t size, off_t at) {
  REAL(pread);
  const ssize_t some = share(decideOpen(READ, file), size);
  return some < 0 ? -1 : real(file, to, (size_t)some, at);
}
ssize_t pread64(int file, void* to, size_t size, off64_t at) {
  REAL(pread64);
  const ssize_t some = share(decideOpen(READ, file), size);
  return some < 0 ? -1 : real(file, to, (size_t)some, at);
}
ssize_t write(int file, const void* from, size_t size) {
  REAL(write);
  const enum action decision = decideOpen(WRITE, file);
  if (decision == LIE) return (ssize_t)size;
  const ssize_t some = share(decision, size);
  const ssize_t done = some < 0 ? -1 : real(file, from, (size_t)some);
  if (decision == TORN) syscall(SYS_kill, getpid(), SIGKILL);
  return done;
}
ssize_t pwrite(int file, const void* from, size_t size, off_t at) {
  REAL(pwrite);
  const enum action decision = decideOpen(WRITE, file);
  if (decision == LIE) return (ssize_t)size;
  const ssize_t some = share(decision, size);
  return some < 0 ? -1 : real(file, from, (size_t)some, at);
}
ssize_t pwrite64(int file, const void* from, size_t size, off64_t at) {
  REAL(pwrite64);
  const enum action decision = decideOpen(WRITE, file);
  if (decision == LIE) return (ssize_t)size;
  const ssize_t some = share(decision, size);
  return some < 0 ? -1 : real(file, from, (size_t)some, at);
}
ssize_t writev(int file, const struct iovec* parts, int count) {
  REAL(writev);
  return decideOpen(WRITE, file) == FAIL ? -1 : real(file, parts, count);
}
ssize_t copy_file_range(int from, off64_t* fromAt, int to, off64_t* toAt, size_t size, unsigned flags) {
  REAL(copy_file_range);
  const ssize_t some = share(decideOpen(WRITE, to), size);
  return some < 0 ? -1 : real(from, fromAt, to, toAt, (size_t)some, flags);
}

// A failed close has closed all the same.
int close(int file) {
  REAL(close);
  const enum action decision = decideOpen(CLOSE, file);
  const int error = errno;
  const int answer = real(file);
  if (decision != FAIL) return answer;
  errno = error;
  return -1;
}

int stat(const char* path, struct stat* to) {
  REAL(stat);
  ANSWER(decideAt(STAT, AT_FDCWD, path), real(path, to))
}
int lstat(const char* path, struct stat* to) {
  REAL(lstat);
  ANSWER(decideAt(STAT, AT_FDCWD, path), real(path, to))
}
int fstat(int file, struct stat* to) {
  REAL(fstat);
  ANSWER(decideOpen(STAT, file), real(file, to))
}
int fstatat(int folder, const char* path, struct stat* to, int flags) {
  REAL(fstatat);
  ANSWER(decideAt(STAT, folder, path), real(folder, path, to, flags))
}
int stat64(const char* path, struct stat64* to) {
  REAL(stat64);
  ANSWER(decideAt(STAT, AT_FDCWD, path), real(path, to))
}
int lstat64(const char* path, struct stat64* to) {
  REAL(lstat64);
  ANSWER(decideAt(STAT, AT_FDCWD, path), real(path, to))
}
int fstat64(int file, struct stat64* to) {
  REAL(fstat64);
  ANSWER(decideOpen(STAT, file), real(file, to))
}
int fstatat64(int folder, const char* path, struct stat64* to, int flags) {
  REAL(fstatat64);
  ANSWER(decideAt(STAT, folder, path), real(folder, path, to, flags))
}
int statx(int folder, const char* path, int flags, unsigned mask, struct statx* to) {
  REAL(statx);
  ANSWER(decideAt(STAT, folder, path), real(folder, path, flags, mask, to))
}

int rename(const char* from, const char* to) {
  REAL(rename);
  ANSWER(decideAt(RENAME, AT_FDCWD, to), real(from, to))
}
int renameat(int folder, const char* from, int other, const char* to) {
  REAL(renameat);
  ANSWER(decideAt(RENAME, other, to), real(folder, from, other, to))
}
int renameat2(int folder, const char* from, int other, const char* to, unsigned flags) {
  REAL(renameat2);
  ANSWER(decideAt(RENAME, other, to), real(folder, from, other, to, flags))
}
int unlink(const char* path) {
  REAL(unlink);
  ANSWER(decideAt(UNLINK, AT_FDCWD, path), real(path))
}
int remove(const char* path) {
  REAL(remove);
  ANSWER(decideAt(UNLINK, AT_FDCWD, path), real(path))
}
int rmdir(const char* path) {
  REAL(rmdir);
  ANSWER(decideAt(UNLINK, AT_FDCWD, path), real(path))
}
int unlinkat(int folder, const char* path, int flags) {
  REAL(unlinkat);
  ANSWER(decideAt(UNLINK, folder, path), real(folder, path, flags))
}
int mkdir(const char* path, mode_t mode) {
  REAL(mkdir);
  ANSWER(decideAt(MKDIR, AT_FDCWD, path), real(path, mode))
}
int mkdirat(int folder, const char* path, mode_t mode) {
  REAL(mkdirat);
  ANSWER(decideAt(MKDIR, folder, path), real(folder, path, mode))
}
int fsync(int file) {
  REAL(fsync);
  struct stat about;
  const int isFolder =
      syscall(SYS_newfstatat, file, "", &about, AT_EMPTY_PATH) == 0 && S_ISDIR(about.st_mode);
  ANSWER(decideOpen(isFolder ? SYNCFOLDER : SYNC, file), real(file))
}
int fdatasync(int file) {
  REAL(fdatasync);
  ANSWER(decideOpen(SYNC, file), real(file))
}
int syncfs(int file) {
  REAL(syncfs);
  ANSWER(decideOpen(SYNC, file), real(file))
}
int chmod(const char* path, mode_t mode) {
  REAL(chmod);
  ANSWER(decideAt(CHMOD, AT_FDCWD, path), real(path, mode))
}
int fchmod(int file, mode_t mode) {
  REAL(fchmod);
  ANSWER(decideOpen(CHMOD, file), real(file, mode))
}
int fchmodat(int folder, const char* path, mode_t mode, int flags) {
  REAL(fchmodat);
  ANSWER(decideAt(CHMOD, folder, path), real(folder, path, mode, flags))
}
int link(const char* from, const char* to) {
  REAL(link);
  ANSWER(decideAt(LINK, AT_FDCWD, to), real(from, to))
}
int linkat(int folder, const char* from, int other, const char* to, int flags) {
  REAL(linkat);
  ANSWER(decideAt(LINK, other, to), real(folder, from, other, to, flags))
}
int ftruncate(int file, off_t size) {
  REAL(ftruncate);
  ANSWER(decideOpen(TRUNCATE, file), real(file, size))
}
int ftruncate64(int file, off64_t size) {
  REAL(ftruncate64);
  ANSWER(decideOpen(TRUNCATE, file), real(file, size))
}

DIR* opendir(const char* path) {
  REAL(opendir);
  return decideAt(LIST, AT_FDCWD, path) == FAIL ? NULL : real(path);
}
DIR* fdopendir(int folder) {
  REAL(fdopendir);
  return decideOpen(LIST, folder) == FAIL ? NULL : real(folder);
}
static __thread struct dirent again;
static __thread DIR* againOf;
struct dirent* readdir(DIR* folder) {
  REAL(readdir);
  if (againOf == folder) {
    againOf = NULL;
    return &again;
  }
  switch (decideOpen(LIST, dirfd(folder))) {
    case FAIL:
    case SHORT:
      return NULL;
    case OMIT:
      real(folder);
      return real(folder);
    case REPEAT: {
      struct dirent* entry = real(folder);
      if (entry) {
        memcpy(&again, entry, entry->d_reclen < sizeof again ? entry->d_reclen : sizeof again);
        againOf = folder;
      }
      return entry;
    }
    default:
      return real(folder);
  }
}
struct dirent64* readdir64(DIR* folder) {
  return (struct dirent64*)readdir(folder);
}

void* __libc_malloc(size_t size);
void* malloc(size_t size) {
  if (state && wanted[MALLOC] && decide(MALLOC, NULL) == FAIL) {
    errno = ENOMEM;
    return NULL;
  }
  return __libc_malloc(size);
}

int clock_gettime(clockid_t clock, struct timespec* to) {
  const int answer = (int)syscall(SYS_clock_gettime, clock, to);
  if (answer == 0 && state && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE))
    to->tv_sec += state->clock;
  return answer;
}
time_t time(time_t* to) {
  struct timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  if (to) *to = now.tv_sec;
  return now.tv_sec;
}
int gettimeofday(struct timeval* restrict to, void* restrict zone) {
  (void)zone;
  struct timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  to->tv_sec = now.tv_sec;
  to->tv_usec = now.tv_nsec / 1000;
  return 0;
}
