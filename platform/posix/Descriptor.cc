#include "platform/posix/Descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace quillet::platform::posix {

namespace {

int AboveStandard(int number) {
  if (number < 0 || number > STDERR_FILENO) return number;
  const int higher = fcntl(number, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int error = errno;
  close(number);
  errno = error;
  return higher;
}

}  // namespace

Descriptor::Descriptor(int number) : number_(AboveStandard(number)) {}

Descriptor::~Descriptor() {
  Close();
}

bool Descriptor::Close() {
  if (number_ < 0) return true;
  // Not repeated after EINTR: the number is free then already on Linux, and may be another
  // thread's file by now (close(2)).
  return close(std::exchange(number_, -1)) == 0 || errno == EINTR;
}

}  // namespace quillet::platform::posix
