/* Preloaded library that adds an offset from a file to a program's time of day. Does not change the
 * monotonic clock. */

#include <dlfcn.h>
#include <fcntl.h>
#include <stdint.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#define OFFSET_PATH "/tmp/clock-offset" /* one int64_t: seconds */

static const volatile int64_t *offset;
static int (*real_clock_gettime)(clockid_t, struct timespec *);

/* Called by the first clock_gettime(), which may run before this library's constructors. */
static void Prepare(void) {
  real_clock_gettime = (int (*)(clockid_t, struct timespec *))dlsym(RTLD_NEXT, "clock_gettime");
  const int file = open(OFFSET_PATH, O_RDONLY | O_CLOEXEC);
  void *mapped = mmap(NULL, sizeof *offset, PROT_READ, MAP_SHARED, file, 0);
  if (mapped != MAP_FAILED) offset = mapped;
  close(file);
}

int clock_gettime(clockid_t clock, struct timespec *time) {
  if (real_clock_gettime == NULL) Prepare();
  const int result = real_clock_gettime(clock, time);
  const int is_day = clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE;
  if (result == 0 && is_day && offset != NULL) time->tv_sec += *offset;
  return result;
}

int gettimeofday(struct timeval *restrict now, void *restrict zone) {
  (void)zone;
  struct timespec time;
  const int result = clock_gettime(CLOCK_REALTIME, &time);
  now->tv_sec = time.tv_sec;
  now->tv_usec = time.tv_nsec / 1000;
  return result;
}

time_t time(time_t *where) {
  struct timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  if (where != NULL) *where = now.tv_sec;
  return now.tv_sec;
}
