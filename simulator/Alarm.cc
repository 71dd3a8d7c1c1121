#include "simulator/Alarm.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <system_error>

namespace quillet::simulator {
namespace {

void MakePrivate(int descriptor) {
  const int flags = fcntl(descriptor, F_GETFL);
  if (flags < 0 || fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) != 0 ||
      fcntl(descriptor, F_SETFD, FD_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "fcntl");
  }
}

/// poll(2) to the nanosecond where the system can, else to the millisecond.
void PollFor(pollfd* entries, nfds_t count, Duration duration) {
#if defined(__linux__)
  const auto seconds = std::chrono::floor<std::chrono::seconds>(duration);
  const timespec timeout{static_cast<time_t>(seconds.count()),
                         static_cast<long>((duration - seconds).count())};
  ::ppoll(entries, count, &timeout, nullptr);
#else
  const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(duration);
  ::poll(entries, count, static_cast<int>(milliseconds.count()));
#endif
}

}  // namespace

Alarm::Alarm() {
  int ends[2];
  if (::pipe(ends) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  listener_ = Descriptor(ends[0], "pipe");
  ringer_ = Descriptor(ends[1], "pipe");
  MakePrivate(listener_.get());
  MakePrivate(ringer_.get());
}

void Alarm::Ring() {
  const char ring = 0;
  // A full pipe is as good as a written one.
  [[maybe_unused]] const ssize_t ignored = ::write(ringer_.get(), &ring, 1);
}

void Alarm::Wait(int descriptor, short events, Time until) {
  // Longer than any wait between two events; a spurious turn does no harm.
  constexpr std::chrono::seconds kLongest{60};
  const Time now = Clock::now();
  const Duration duration = std::clamp<Duration>(
      until == Time::max() ? Duration{kLongest} : until - now, Duration::zero(), kLongest);
  pollfd entries[2] = {{listener_.get(), POLLIN, 0}, {descriptor, events, 0}};
  PollFor(entries, descriptor < 0 ? 1 : 2, duration);

  std::array<char, 64> rings;
  while (::read(listener_.get(), rings.data(), rings.size()) > 0) {
  }
}

}  // namespace quillet::simulator
