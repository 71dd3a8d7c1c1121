/* Preloaded library for systems without namespaces. Redirects the program's fixed paths to a
 * separate folder for each test: prepends PRIVATE_PATHS_ROOT to each path that begins with one of
 * the prefixes below, except paths in the folders in PRIVATE_PATHS_VISIBLE (separated by colons).
 * The library replaces all libc functions with path arguments that the tested programs call. */
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <spawn.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/un.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>
#include <utime.h>

static const char* const kFolders[] = {"/Users", "/tmp", "/run"};
static const char* const kFiles[] = {"/dev/log", "/dev/ttyACM", "/dev/ttyUSB"};

static int IsBelow(const char* path, const char* folder, size_t length) {
  return strncmp(path, folder, length) == 0 && (path[length] == '/' || path[length] == '\0');
}

static int IsVisible(const char* path) {
  const char* folder = getenv("PRIVATE_PATHS_VISIBLE");
  while (folder != NULL && *folder != '\0') {
    const size_t length = strcspn(folder, ":");
    if (IsBelow(path, folder, length)) return 1;
    folder += length + (folder[length] == ':');
  }
  return 0;
}

static int IsPrivate(const char* path) {
  for (size_t i = 0; i < sizeof kFolders / sizeof *kFolders; ++i)
    if (IsBelow(path, kFolders[i], strlen(kFolders[i]))) return !IsVisible(path);
  for (size_t i = 0; i < sizeof kFiles / sizeof *kFiles; ++i)
    if (strncmp(path, kFiles[i], strlen(kFiles[i])) == 0) return 1;
  return 0;
}

/* Returns the redirected path, in `buffer` (PATH_MAX bytes), or `path` if it is not redirected. */
static const char* Map(const char* path, char* buffer) {
  const char* root = getenv("PRIVATE_PATHS_ROOT");
  if (path == NULL || root == NULL || IsBelow(path, root, strlen(root)) || !IsPrivate(path))
    return path;
  return snprintf(buffer, PATH_MAX, "%s%s", root, path) < PATH_MAX ? buffer : path;
}

/* Removes PRIVATE_PATHS_ROOT from the start of a path. Returns the new length. */
static size_t Unmap(char* path, size_t length) {
  const char* root = getenv("PRIVATE_PATHS_ROOT");
  const size_t prefix = root == NULL ? 0 : strlen(root);
  if (prefix == 0 || length <= prefix || strncmp(path, root, prefix) != 0 || path[prefix] != '/')
    return length;
  memmove(path, path + prefix, length - prefix);
  return length - prefix;
}

/* Like Map, for a path relative to an open folder. Redirects it only if the folder is "/". */
static const char* MapAt(int folder, const char* path, char* buffer) {
  char absolute[PATH_MAX];
  struct stat root, opened;
  if (path == NULL || path[0] == '/' || stat("/", &root) != 0 || fstat(folder, &opened) != 0 ||
      root.st_dev != opened.st_dev || root.st_ino != opened.st_ino ||
      snprintf(absolute, sizeof absolute, "/%s", path) >= PATH_MAX)
    return Map(path, buffer);
  const char* mapped = Map(absolute, buffer);
  return mapped == absolute ? path : mapped;
}

#define NEXT(name)                     \
  static __typeof__(&name) next;       \
  if (next == NULL) *(void**)&next = dlsym(RTLD_NEXT, #name)

/* Defines a replacement for a libc function with one path (WRAP) or two paths (WRAP2). The last
 * macro arguments are passed to the original function, with the paths as M(path) and N(other). */
#define WRAP(type, name, parameters, ...) \
  type name parameters {                  \
    NEXT(name);                           \
    char buffer[PATH_MAX];                  \
    return next(__VA_ARGS__);             \
  }
#define WRAP2(type, name, parameters, ...) \
  type name parameters {                   \
    NEXT(name);                            \
    char buffer[PATH_MAX];                   \
    char otherBuffer[PATH_MAX];             \
    return next(__VA_ARGS__);              \
  }
#define M(path) Map(path, buffer)
#define N(path) Map(path, otherBuffer)
#define AT(folder, path) folder, MapAt(folder, path, buffer)

#define WRAP_OPEN(name, parameters, ...)                                \
  int name parameters {                                                 \
    NEXT(name);                                                         \
    char buffer[PATH_MAX];                                                \
    va_list arguments;                                                  \
    va_start(arguments, flags);                                         \
    const mode_t mode = flags & (O_CREAT | __O_TMPFILE) ? va_arg(arguments, mode_t) : 0; \
    va_end(arguments);                                                  \
    return next(__VA_ARGS__, flags, mode);                              \
  }
WRAP_OPEN(open, (const char* path, int flags, ...), M(path))
WRAP_OPEN(open64, (const char* path, int flags, ...), M(path))
WRAP_OPEN(openat, (int folder, const char* path, int flags, ...), AT(folder, path))
WRAP_OPEN(openat64, (int folder, const char* path, int flags, ...), AT(folder, path))
int __open_2(const char* path, int flags);
int __open64_2(const char* path, int flags);
WRAP(int, __open_2, (const char* path, int flags), M(path), flags)
WRAP(int, __open64_2, (const char* path, int flags), M(path), flags)
int __openat_2(int folder, const char* path, int flags);
WRAP(int, __openat_2, (int folder, const char* path, int flags), AT(folder, path), flags)
WRAP(int, creat64, (const char* path, mode_t mode), M(path), mode)
WRAP(FILE*, fopen, (const char* path, const char* mode), M(path), mode)
WRAP(FILE*, fopen64, (const char* path, const char* mode), M(path), mode)
WRAP(DIR*, opendir, (const char* path), M(path))

WRAP(int, stat, (const char* path, struct stat* status), M(path), status)
WRAP(int, lstat, (const char* path, struct stat* status), M(path), status)
WRAP(int, stat64, (const char* path, struct stat64* status), M(path), status)
WRAP(int, lstat64, (const char* path, struct stat64* status), M(path), status)
WRAP(int, fstatat, (int folder, const char* path, struct stat* status, int flags), folder, M(path),
     status, flags)
WRAP(int, fstatat64, (int folder, const char* path, struct stat64* status, int flags), folder,
     M(path), status, flags)
WRAP(int, statx, (int folder, const char* path, int flags, unsigned mask, struct statx* status),
     folder, M(path), flags, mask, status)
WRAP(int, statfs64, (const char* path, struct statfs64* status), M(path), status)
WRAP(int, statvfs64, (const char* path, struct statvfs64* status), M(path), status)
WRAP(int, access, (const char* path, int mode), M(path), mode)
WRAP(int, faccessat, (int folder, const char* path, int mode, int flags), folder, M(path), mode,
     flags)

WRAP(int, mkdir, (const char* path, mode_t mode), M(path), mode)
WRAP(int, mkdirat, (int folder, const char* path, mode_t mode), folder, M(path), mode)
WRAP(int, rmdir, (const char* path), M(path))
WRAP(int, remove, (const char* path), M(path))
WRAP(int, unlink, (const char* path), M(path))
WRAP(int, unlinkat, (int folder, const char* path, int flags), folder, M(path), flags)
WRAP2(int, rename, (const char* path, const char* other), M(path), N(other))
WRAP2(int, renameat, (int folder, const char* path, int second, const char* other), folder, M(path),
      second, N(other))
WRAP2(int, renameat2,
      (int folder, const char* path, int second, const char* other, unsigned flags), folder,
      M(path), second, N(other), flags)
WRAP2(int, link, (const char* path, const char* other), M(path), N(other))
WRAP2(int, symlink, (const char* path, const char* other), M(path), N(other))
WRAP2(int, symlinkat, (const char* path, int folder, const char* other), M(path), folder, N(other))
WRAP(int, chmod, (const char* path, mode_t mode), M(path), mode)
WRAP(int, fchmodat, (int folder, const char* path, mode_t mode, int flags), folder, M(path), mode,
     flags)
WRAP(int, chown, (const char* path, uid_t user, gid_t group), M(path), user, group)
WRAP(int, truncate, (const char* path, off_t size), M(path), size)
WRAP(int, truncate64, (const char* path, off64_t size), M(path), size)
WRAP(int, utimensat,
     (int folder, const char* path, const struct timespec times[2], int flags), folder, M(path),
     times, flags)
WRAP(int, chdir, (const char* path), M(path))
WRAP(int, inotify_add_watch, (int queue, const char* path, uint32_t mask), queue, M(path), mask)

WRAP(int, execve, (const char* path, char* const arguments[], char* const environment[]), M(path),
     arguments, environment)
WRAP(int, execv, (const char* path, char* const arguments[]), M(path), arguments)
WRAP(int, execvp, (const char* path, char* const arguments[]), M(path), arguments)
WRAP(int, posix_spawn,
     (pid_t * process, const char* path, const posix_spawn_file_actions_t* actions,
      const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[]),
     process, M(path), actions, attributes, arguments, environment)

ssize_t readlink(const char* path, char* text, size_t size) {
  NEXT(readlink);
  char buffer[PATH_MAX];
  const ssize_t length = next(M(path), text, size);
  return length > 0 ? (ssize_t)Unmap(text, (size_t)length) : length;
}

char* realpath(const char* path, char* result) {
  NEXT(realpath);
  char buffer[PATH_MAX];
  char* found = next(M(path), result);
  if (found != NULL) found[Unmap(found, strlen(found))] = '\0';
  return found;
}

/* Writes the redirected address of a Unix socket to `result`. Returns its length, or 0 if the
 * address is not redirected. */
static socklen_t MapAddress(const struct sockaddr* address, socklen_t length,
                            struct sockaddr_un* result) {
  const struct sockaddr_un* local = (const struct sockaddr_un*)address;
  char path[sizeof local->sun_path + 1] = "";
  char buffer[PATH_MAX];
  if (address->sa_family != AF_UNIX || length > sizeof *local) return 0;
  memcpy(path, local->sun_path, length - offsetof(struct sockaddr_un, sun_path));
  if (path[0] == '\0' || M(path) == path || strlen(buffer) >= sizeof result->sun_path) return 0;
  result->sun_family = AF_UNIX;
  strcpy(result->sun_path, buffer);
  return (socklen_t)sizeof *result;
}

#define WRAP_ADDRESS(name)                                                 \
  int name(int socket, const struct sockaddr* address, socklen_t length) { \
    NEXT(name);                                                            \
    struct sockaddr_un mapped;                                             \
    const socklen_t size = MapAddress(address, length, &mapped);           \
    if (size == 0) return next(socket, address, length);                   \
    return next(socket, (const struct sockaddr*)&mapped, size);            \
  }
WRAP_ADDRESS(bind)
WRAP_ADDRESS(connect)

/* libc's syslog() does not call the functions above. This replacement sends the same datagrams:
 * priority with the facility "user", local time, program name, process ID, message. */
void vsyslog(int priority, const char* format, va_list arguments) {
  static int log_socket = -1;
  if (log_socket == -1) log_socket = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const struct sockaddr_un address = {AF_UNIX, "/dev/log"};
  const time_t now = time(NULL);
  struct tm local;
  char day[32];
  char* message = NULL;
  char* line = NULL;
  strftime(day, sizeof day, "%h %e %T", localtime_r(&now, &local));
  if (vasprintf(&message, format, arguments) != -1 &&
      asprintf(&line, "<%d>%s quillet[%d]: %s", priority | LOG_USER, day, (int)getpid(),
               message) != -1 &&
      connect(log_socket, (const struct sockaddr*)&address, sizeof address) == 0)
    send(log_socket, line, strlen(line), MSG_NOSIGNAL);
  free(line);
  free(message);
}

void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vsyslog(priority, format, arguments);
  va_end(arguments);
}

/* Called by programs built with _FORTIFY_SOURCE. */
void __syslog_chk(int priority, int flag, const char* format, ...) {
  (void)flag;
  va_list arguments;
  va_start(arguments, format);
  vsyslog(priority, format, arguments);
  va_end(arguments);
}
