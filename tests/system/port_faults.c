/* Preloaded library.
 *
 *   REAL_PORTS=1   all terminals are called /dev/ttyACM0, like a real port
 *   PORT_GROUP=N   /dev/ttyACM0 belongs to group N, which may use it
 *   NO_THREADS=1   std::thread cannot start a thread */

#define _GNU_SOURCE
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

/* umockdev refuses the two calls that make a terminal exclusive. */
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

int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*work)(void *),
                   void *argument) {
  Dl_info caller;
  if (getenv("NO_THREADS") != NULL && dladdr(__builtin_return_address(0), &caller) != 0 &&
      strstr(caller.dli_fname, "libstdc++") != NULL) {
    return EAGAIN;
  }
  return ((int (*)(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *))dlsym(
      RTLD_NEXT, "pthread_create"))(thread, attributes, work, argument);
}
