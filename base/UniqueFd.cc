#include "base/UniqueFd.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace quillet {
namespace {

int AboveStandard(int descriptor) {
  if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
  const int higher = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int error = errno;
  close(descriptor);
  errno = error;
  return higher;
}

}  // namespace

UniqueFd::UniqueFd(int descriptor) : descriptor_(AboveStandard(descriptor)) {}

bool UniqueFd::Close() {
  if (descriptor_ < 0) return true;
  // Not retried after EINTR: Linux has already closed the descriptor, and another thread may have
  // reused its number (close(2)).
  return close(std::exchange(descriptor_, -1)) == 0 || errno == EINTR;
}

}  // namespace quillet
