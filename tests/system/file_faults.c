/* Preloaded library that makes system calls on files fail or block:
 *
 *   REFUSED_MODES=ERRNO  fchmod() and fchown() fail with this error number
 *   BLOCKED_SYNC=TEXT    fsync() never returns for files whose path contains this text */

#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

static int IsRefused(void) {
  const char *error = getenv("REFUSED_MODES");
  if (error == NULL) return 0;
  errno = atoi(error);
  return 1;
}

int fchmod(int file, mode_t mode) {
  if (IsRefused()) return -1;
  return ((int (*)(int, mode_t))dlsym(RTLD_NEXT, "fchmod"))(file, mode);
}

int fchown(int file, uid_t owner, gid_t group) {
  if (IsRefused()) return -1;
  return ((int (*)(int, uid_t, gid_t))dlsym(RTLD_NEXT, "fchown"))(file, owner, group);
}

int fsync(int file) {
  const char *blocked = getenv("BLOCKED_SYNC");
  char link[64];
  char path[4096] = "";
  snprintf(link, sizeof link, "/proc/self/fd/%d", file);
  if (blocked != NULL && readlink(link, path, sizeof path - 1) > 0) {
    while (strstr(path, blocked) != NULL) pause();
  }
  return ((int (*)(int))dlsym(RTLD_NEXT, "fsync"))(file);
}
