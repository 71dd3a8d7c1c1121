/* Preloaded library that logs system calls on the archive, the output file and their folders, and
 * makes some of them fail.
 *
 * FAIL_CALLS contains the faults, separated by semicolons: CALL FILE FIRST LAST ERROR. Calls number
 * FIRST to LAST (from 1) of CALL on FILE fail with the error number ERROR. If ERROR is -1, write()
 * writes only the first half of the bytes. If ERROR is 0, write() writes no bytes.
 *
 * FAIL_LOG is the path of the log. Each call is logged as "CALL FILE NUMBER RESULT PATH", where
 * FILE is a result of FileOf(). The line "begin" is logged before each fsync(), and "erase" for
 * each byte E that is sent over the serial line. */

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

enum { kDescriptors = 1024, kKinds = 256, kHalf = -1 };

static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static struct Open {
  const char* file; /* result of FileOf(); NULL if calls on the descriptor are passed through */
  char path[PATH_MAX];
} opened[kDescriptors];
static struct Kind {
  char call[16];
  const char* file;
  int count;
} kinds[kKinds];

static int EndsWith(const char* text, size_t length, const char* ending) {
  const size_t size = strlen(ending);
  return length >= size && strncmp(text + length - size, ending, size) == 0;
}

static const char* FileOf(const char* path) {
  static const char* const kEnds[][2] = {
      {".records", "records"}, {".open", "mark"},          {"/out.txt", "output"},
      {"out.txt", "output"},   {"/quillet/runs", "runs"},  {"/state/quillet", "quillet"},
      {"/state", "state"},     {"/.local", "local"},       {"/QuilletData", "data"}};
  size_t length = strlen(path);
  if (strstr(path, ".open.quillet-") != NULL) return "mark";
  if (strstr(path, ".out.txt.quillet-") != NULL) return "output";
  if (strstr(path, "/quillet/runs/") != NULL && EndsWith(path, length, ".txt")) return "lines";
  if (strcmp(path, "/") == 0) return "root";
  while (length > 1 && path[length - 1] == '/') --length;
  if (length == 4 && strncmp(path, "/tmp", 4) == 0) return "tmp";
  for (size_t i = 0; i < sizeof kEnds / sizeof *kEnds; ++i)
    if (EndsWith(path, length, kEnds[i][0])) return kEnds[i][1];
  return NULL;
}

static void Log(const char* call, const char* file, int number, long result, const char* path) {
  static int log = -1;
  char line[PATH_MAX + 100];
  if (log < 0) {
    const char* name = getenv("FAIL_LOG");
    if (name == NULL) return;
    log = (int)syscall(SYS_openat, AT_FDCWD, name, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  }
  const int size = snprintf(line, sizeof line, "%s %s %d %ld %s\n", call, file, number, result, path);
  syscall(SYS_write, log, line, (size_t)size);
}

/* Counts a call. Returns its fault: an error number, kHalf, 0 to write no bytes, or INT_MAX if the
 * call must not fail. */
static int Fault(const char* call, const char* file, int* number) {
  struct Kind* kind = kinds;
  pthread_mutex_lock(&lock);
  while (kind->file != NULL && (strcmp(kind->file, file) != 0 || strcmp(kind->call, call) != 0))
    ++kind;
  kind->file = file;
  snprintf(kind->call, sizeof kind->call, "%s", call);
  *number = ++kind->count;
  pthread_mutex_unlock(&lock);
  for (const char* rule = getenv("FAIL_CALLS"); rule != NULL; rule = strchr(rule, ';')) {
    char rule_call[16];
    char rule_file[16];
    int first, last, error;
    rule += *rule == ';';
    if (sscanf(rule, "%15s %15s %d %d %d", rule_call, rule_file, &first, &last, &error) == 5 &&
        strcmp(call, rule_call) == 0 && strcmp(file, rule_file) == 0 && *number >= first &&
        *number <= last)
      return error;
  }
  return INT_MAX;
}

static struct Open* OpenOf(int descriptor) {
  struct Open* entry = descriptor >= 0 && descriptor < kDescriptors ? &opened[descriptor] : NULL;
  return entry != NULL && entry->file != NULL ? entry : NULL;
}

/* Looks up the next definition of the function: in another preloaded library or in libc. */
#define NEXT(name)               \
  static __typeof__(&name) next; \
  if (next == NULL) *(void**)&next = dlsym(RTLD_NEXT, #name)

/* Evaluates `expression` unless the call must fail, and logs the call. Defines `result`. */
#define CALL(type, name, file, path, expression)                  \
  int number;                                                     \
  const int fault = Fault(name, file, &number);                   \
  const type result = fault == INT_MAX ? (expression) : (type)-1; \
  if (fault != INT_MAX) errno = fault;                            \
  const int error = errno;                                        \
  Log(name, file, number, result < 0 ? -error : (long)result, path); \
  errno = error

static void Remember(int descriptor, const char* file, const char* path) {
  if (descriptor < 0 || descriptor >= kDescriptors) return;
  struct Open* entry = &opened[descriptor];
  entry->file = NULL;
  if (file == NULL) return;
  snprintf(entry->path, sizeof entry->path, "%s", path);
  entry->file = file;
}

/* Returns `path`, or the path of the folder if `path` is "." in that folder. */
static const char* WholePath(int folder, const char* path, char place[PATH_MAX]) {
  if (folder == AT_FDCWD || strcmp(path, ".") != 0) return path;
  char link[64];
  snprintf(link, sizeof link, "/proc/self/fd/%d", folder);
  const ssize_t length = readlink(link, place, PATH_MAX - 1);
  place[length < 0 ? 0 : length] = '\0';
  return place;
}

/* O_PATH opens a folder only to reach its entries. Such calls are not counted. */
#define OPEN(name, folder, parameters, ...)                                              \
  int name parameters {                                                                  \
    NEXT(name);                                                                          \
    va_list arguments;                                                                   \
    va_start(arguments, flags);                                                          \
    const mode_t mode = flags & (O_CREAT | __O_TMPFILE) ? va_arg(arguments, mode_t) : 0; \
    va_end(arguments);                                                                   \
    char place[PATH_MAX];                                                                \
    const char* const whole = WholePath(folder, path, place);                            \
    const char* const file = flags & O_PATH ? NULL : FileOf(whole);                      \
    if (file == NULL) {                                                                  \
      const int descriptor = next(__VA_ARGS__, flags, mode);                             \
      Remember(descriptor, NULL, path);                                                  \
      return descriptor;                                                                 \
    }                                                                                    \
    CALL(int, flags & O_CREAT ? "create" : "open", file, whole,                          \
         next(__VA_ARGS__, flags, mode));                                                \
    Remember(result, file, whole);                                                       \
    return result;                                                                       \
  }
OPEN(open, AT_FDCWD, (const char* path, int flags, ...), path)
OPEN(open64, AT_FDCWD, (const char* path, int flags, ...), path)
OPEN(openat, at, (int at, const char* path, int flags, ...), at, path)
OPEN(openat64, at, (int at, const char* path, int flags, ...), at, path)

/* Programs built with _FORTIFY_SOURCE call these functions if they pass no mode. */
int __open_2(const char* path, int flags) {
  return open(path, flags);
}
int __openat_2(int folder, const char* path, int flags) {
  return openat(folder, path, flags);
}

#define ON_PATH(name, kind, parameters, ...)                \
  int name parameters {                               \
    NEXT(name);                                       \
    const char* const file = FileOf(path);            \
    if (file == NULL) return next(__VA_ARGS__);       \
    CALL(int, kind, file, path, next(__VA_ARGS__));   \
    return result;                                    \
  }
ON_PATH(mkdir, "mkdir", (const char* path, mode_t mode), path, mode)
ON_PATH(unlink, "unlink", (const char* path), path)
ON_PATH(unlinkat, "unlink", (int folder, const char* path, int flags), folder, path, flags)
ON_PATH(rename, "rename", (const char* other, const char* path), other, path)
ON_PATH(renameat, "rename", (int from, const char* other, int folder, const char* path), from, other,
     folder, path)

#define ON_DESCRIPTOR(name, parameters, ...)                       \
  int name parameters {                                            \
    NEXT(name);                                                    \
    const struct Open* entry = OpenOf(descriptor);                 \
    if (entry == NULL) return next(__VA_ARGS__);                   \
    CALL(int, #name, entry->file, entry->path, next(__VA_ARGS__)); \
    return result;                                                 \
  }
ON_DESCRIPTOR(flock, (int descriptor, int operation), descriptor, operation)
ON_DESCRIPTOR(fchmod, (int descriptor, mode_t mode), descriptor, mode)

int fsync(int descriptor) {
  NEXT(fsync);
  const struct Open* entry = OpenOf(descriptor);
  if (entry == NULL) return next(descriptor);
  Log("begin", entry->file, 0, 0, entry->path);
  CALL(int, "fsync", entry->file, entry->path, next(descriptor));
  return result;
}

/* On Linux, close() closes the descriptor even if it fails. */
int close(int descriptor) {
  NEXT(close);
  struct Open* entry = OpenOf(descriptor);
  if (entry == NULL) return next(descriptor);
  const char* const file = entry->file;
  entry->file = NULL;
  const int closed = next(descriptor);
  CALL(int, "close", file, entry->path, closed);
  return result;
}

ssize_t write(int descriptor, const void* bytes, size_t size) {
  NEXT(write);
  const struct Open* entry = OpenOf(descriptor);
  if (entry == NULL) {
    if (size == 1 && *(const char*)bytes == 'E' && isatty(descriptor))
      Log("erase", "line", 1, 0, "-");
    return next(descriptor, bytes, size);
  }
  int number;
  const int fault = Fault("write", entry->file, &number);
  if (fault == kHalf) size = (size + 1) / 2;
  ssize_t result = fault > 0 && fault != INT_MAX ? -1 : 0;
  if (fault == INT_MAX || fault == kHalf) result = next(descriptor, bytes, size);
  const int error = result < 0 && fault != INT_MAX ? fault : errno;
  Log("write", entry->file, number, result < 0 ? -error : result, entry->path);
  errno = error;
  return result;
}
