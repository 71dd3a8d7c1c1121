#include "base/UniqueFd.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

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

// Does not use pipe2(2), which macOS lacks.
Pipe MakePipe(const char* purpose) {
  std::array<int, 2> ends{};
  const auto fail = [purpose] { throw std::system_error(errno, std::generic_category(), purpose); };
  if (pipe(ends.data()) != 0) fail();
  Pipe made{UniqueFd(ends[0]), UniqueFd(ends[1])};
  for (const UniqueFd* end : {&made.reader, &made.writer}) {
    if (!end->IsOpen()) fail();
    fcntl(end->Get(), F_SETFD, FD_CLOEXEC);
    fcntl(end->Get(), F_SETFL, fcntl(end->Get(), F_GETFL) | O_NONBLOCK);
  }
  return made;
}

}  // namespace quillet
