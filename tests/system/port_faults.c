/* Preloaded library.
 *
 *   REAL_PORTS=1   all terminals are called /dev/ttyACM0, like a real port */

#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
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
