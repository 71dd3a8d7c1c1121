/* Preloaded library that injects the faults that the environment selects:
 *
 *   REAL_PORTS=1   all terminals are called /dev/ttyACM0, like a real port
 *   PORT_GROUP=N   /dev/ttyACM0 belongs to group N, which may use it
 *   PORT_ERROR=N   opening /dev/ttyACM0 fails with this error number
 *   NO_THREADS=1   std::thread cannot start a thread
 *   NO_PIPES=1     the program cannot create a pipe */

#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

int ttyname_r(int terminal, char *name, size_t size) {
  static const char kName[] = "/dev/ttyACM0";
  const int error =
      ((int (*)(int, char *, size_t))dlsym(RTLD_NEXT, "ttyname_r"))(terminal, name, size);
  if (error == 0 && getenv("REAL_PORTS") != NULL) {
    if (size < sizeof kName) return ERANGE;
    memcpy(name, kName, sizeof kName);
  }
  return error;
}

int stat(const char *path, struct stat *status) {
  const int result = ((int (*)(const char *, struct stat *))dlsym(RTLD_NEXT, "stat"))(path, status);
  const char *group = getenv("PORT_GROUP");
  if (result == 0 && group != NULL && strcmp(path, "/dev/ttyACM0") == 0) {
    status->st_gid = (gid_t)atoi(group);
    status->st_mode |= S_IRGRP | S_IWGRP;
  }
  return result;
}

/* Sets errno and returns 1 if opening the file must fail. */
static int IsBlocked(const char *path) {
  const char *error = getenv("PORT_ERROR");
  if (error == NULL || strcmp(path, "/dev/ttyACM0") != 0) return 0;
  errno = atoi(error);
  return 1;
}

int open(const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = va_arg(arguments, mode_t);
  va_end(arguments);
  if (IsBlocked(path)) return -1;
  return ((int (*)(const char *, int, ...))dlsym(RTLD_NEXT, "open"))(path, flags, mode);
}

/* Replaces open() in programs built with _FORTIFY_SOURCE. */
int __open_2(const char *path, int flags) {
  if (IsBlocked(path)) return -1;
  return ((int (*)(const char *, int))dlsym(RTLD_NEXT, "__open_2"))(path, flags);
}

/* umockdev rejects TIOCEXCL and TIOCNXCL. This replacement passes them directly to the kernel. */
int ioctl(int file, unsigned long request, ...) {
  va_list arguments;
  va_start(arguments, request);
  void *argument = va_arg(arguments, void *);
  va_end(arguments);
  if (request == TIOCEXCL || request == TIOCNXCL) {
    return (int)syscall(SYS_ioctl, file, request, 0);
  }
  return ((int (*)(int, unsigned long, ...))dlsym(RTLD_NEXT, "ioctl"))(file, request, argument);
}

/* Returns whether the code at `address` belongs to this library or program. */
static int IsIn(void *address, const char *name) {
  Dl_info found;
  return dladdr(address, &found) != 0 && strstr(found.dli_fname, name) != NULL;
}

int pipe(int ends[2]) {
  if (getenv("NO_PIPES") != NULL && IsIn(__builtin_return_address(0), "/quillet")) {
    errno = EMFILE;
    return -1;
  }
  return ((int (*)(int *))dlsym(RTLD_NEXT, "pipe"))(ends);
}

int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*work)(void *),
                   void *argument) {
  if (getenv("NO_THREADS") != NULL && IsIn(__builtin_return_address(0), "libstdc++")) {
    return EAGAIN;
  }
  return ((int (*)(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *))dlsym(
      RTLD_NEXT, "pthread_create"))(thread, attributes, work, argument);
}
