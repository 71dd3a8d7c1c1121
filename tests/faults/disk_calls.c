/* Preloaded library that records a program's calls that change files, and the erase commands ("E")
 * that it sends to a scanner.
 *
 *   DISK_CALLS_TRACE  existing file to which each call is appended; disk_model.py reads it
 *   DISK_CALLS_MARK   block device to which a sector is written just before each erase command
 *   DISK_CALLS_SKIP   fsync() does nothing for paths that match this pattern (fnmatch(3), with
 *                     FNM_EXTMATCH) */
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <limits.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#define NEXT(name)                     \
  static __typeof__(&name) next;       \
  if (next == NULL) *(void**)&next = dlsym(RTLD_NEXT, #name)

static ssize_t Write(int file, const void* bytes, size_t size) {
  NEXT(write);
  return next(file, bytes, size);
}

static void PathOf(int file, char path[PATH_MAX]) {
  char link[64];
  snprintf(link, sizeof link, "/proc/self/fd/%d", file);
  const ssize_t length = readlink(link, path, PATH_MAX - 1);
  path[length < 0 ? 0 : length] = '\0';
}

/* Stores the absolute path of `name` in `path`. Does not follow a link in the last component. */
static void PathIn(int folder, const char* name, char path[PATH_MAX]) {
  char parent[PATH_MAX] = "";
  const char* slash = strrchr(name, '/');
  if (slash != NULL) {
    char given[PATH_MAX];
    snprintf(given, sizeof given, "%.*s", slash == name ? 1 : (int)(slash - name), name);
    if (realpath(given, parent) == NULL) parent[0] = '\0';
    name = slash + 1;
  } else if (folder != AT_FDCWD) {
    PathOf(folder, parent);
  }
  if (snprintf(path, PATH_MAX, "%s/%s", parent, name) >= PATH_MAX) path[0] = '\0';
}

/* Appends a line to the trace in a single call, so lines of different threads do not mix. */
__attribute__((format(printf, 1, 2))) static void Trace(const char* format, ...) {
  static atomic_int trace = -1;
  const char* path = getenv("DISK_CALLS_TRACE");
  if (path == NULL) return;
  const int error = errno;
  if (trace == -1) trace = open(path, O_WRONLY | O_APPEND | O_CLOEXEC);
  char* line = NULL;
  va_list arguments;
  va_start(arguments, format);
  const int length = vasprintf(&line, format, arguments);
  va_end(arguments);
  if (length < 0 || Write(trace, line, (size_t)length) != length) abort();
  free(line);
  errno = error;
}

#define WRAP_OPEN(name, parameters, ...)                                                 \
  int name parameters {                                                                  \
    NEXT(name);                                                                          \
    va_list arguments;                                                                   \
    va_start(arguments, flags);                                                          \
    const mode_t mode = flags & (O_CREAT | __O_TMPFILE) ? va_arg(arguments, mode_t) : 0; \
    va_end(arguments);                                                                   \
    const int file = next(__VA_ARGS__, flags, mode);                                     \
    if (file >= 0 && (flags & O_CREAT)) {                                                \
      char opened[PATH_MAX];                                                             \
      PathOf(file, opened);                                                              \
      Trace("create\t%s\n", opened);                                                     \
    }                                                                                    \
    return file;                                                                         \
  }
WRAP_OPEN(open, (const char* path, int flags, ...), path)
WRAP_OPEN(open64, (const char* path, int flags, ...), path)
WRAP_OPEN(openat, (int folder, const char* path, int flags, ...), folder, path)
WRAP_OPEN(openat64, (int folder, const char* path, int flags, ...), folder, path)

int mkdir(const char* name, mode_t mode) {
  NEXT(mkdir);
  const int result = next(name, mode);
  char path[PATH_MAX];
  if (result == 0 && realpath(name, path) != NULL) Trace("folder\t%s\n", path);
  return result;
}

int unlinkat(int folder, const char* name, int flags) {
  NEXT(unlinkat);
  char path[PATH_MAX];
  PathIn(folder, name, path);
  const int result = next(folder, name, flags);
  if (result == 0) Trace("remove\t%s\n", path);
  return result;
}

int unlink(const char* name) {
  return unlinkat(AT_FDCWD, name, 0);
}

int renameat(int folder, const char* name, int second, const char* other) {
  NEXT(renameat);
  char path[PATH_MAX];
  char target[PATH_MAX];
  PathIn(folder, name, path);
  PathIn(second, other, target);
  const int result = next(folder, name, second, other);
  if (result == 0) Trace("rename\t%s\t%s\n", path, target);
  return result;
}

int rename(const char* name, const char* other) {
  return renameat(AT_FDCWD, name, AT_FDCWD, other);
}

/* Returns whether a write() sends the erase command. The program sends commands byte by byte.
 * Writes of the simulated scanner go to /dev/ptmx and do not count. */
static int IsErase(int file, const void* bytes, size_t size) {
  char path[PATH_MAX];
  if (size != 1 || *(const char*)bytes != 'E' || !isatty(file)) return 0;
  PathOf(file, path);
  return strcmp(path, "/dev/ptmx") != 0 && strcmp(path, "/dev/pts/ptmx") != 0;
}

static void Mark(void) {
  static int device = -1;
  static unsigned count;
  static _Alignas(4096) char sector[4096];
  const char* path = getenv("DISK_CALLS_MARK");
  if (path == NULL) return;
  if (device == -1) device = open(path, O_WRONLY | O_DIRECT | O_CLOEXEC);
  snprintf(sector, sizeof sector, "erase %d %u\n", (int)getpid(), ++count);
  if (pwrite(device, sector, sizeof sector, 0) != (ssize_t)sizeof sector) abort();
}

ssize_t write(int file, const void* bytes, size_t size) {
  if (IsErase(file, bytes, size)) {
    Mark();
    Trace("erase\n");
  }
  const ssize_t written = Write(file, bytes, size);
  struct stat status;
  if (written <= 0 || getenv("DISK_CALLS_TRACE") == NULL || fstat(file, &status) != 0 ||
      !S_ISREG(status.st_mode)) {
    return written;
  }
  char path[PATH_MAX];
  PathOf(file, path);
  char* digits = malloc(2 * (size_t)written + 1);
  if (digits == NULL) abort();
  for (ssize_t i = 0; i < written; ++i)
    sprintf(digits + 2 * i, "%02x", ((const unsigned char*)bytes)[i]);
  Trace("write\t%s\t%s\n", path, digits);
  free(digits);
  return written;
}

int fsync(int file) {
  NEXT(fsync);
  char path[PATH_MAX];
  PathOf(file, path);
  const char* skipped = getenv("DISK_CALLS_SKIP");
  if (skipped != NULL && fnmatch(skipped, path, FNM_EXTMATCH) == 0) return 0;
  Trace("begin\t%d\t%s\n", (int)gettid(), path);
  const int result = next(file);
  if (result == 0) Trace("end\t%d\t%s\n", (int)gettid(), path);
  return result;
}
