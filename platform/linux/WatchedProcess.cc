#include "platform/linux/WatchedProcess.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

#include "base/Retry.h"

namespace quillet::platform::linux_desktop {
namespace {

// By its number: the C library of Debian 12 knows the call, that of older systems does not.
int OpenProcess(int pid) {
  return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
}

}  // namespace

WatchedProcess::WatchedProcess(int pid, Now now)
    : process_(OpenProcess(pid)), stop_(eventfd(0, EFD_CLOEXEC)) {
  if (IsKnown()) thread_ = std::thread([this, now = std::move(now)] { WaitForEnd(now); });
}

WatchedProcess::~WatchedProcess() {
  if (!thread_.joinable()) return;
  eventfd_write(stop_.Get(), 1);
  thread_.join();
}

std::optional<WatchedProcess::Time> WatchedProcess::End() const {
  pollfd look{process_.Get(), POLLIN, 0};
  if (poll(&look, 1, 0) <= 0) return std::nullopt;
  ended_.wait(false);  // the thread notes it at once
  return end_;
}

void WatchedProcess::WaitForEnd(const Now& now) {
  pollfd news[] = {{process_.Get(), POLLIN, 0}, {stop_.Get(), POLLIN, 0}};
  RetryOnSignal([&] { return poll(news, 2, -1); });
  if (news[0].revents == 0) return;
  end_ = now();
  ended_ = true;
  ended_.notify_all();
}

}  // namespace quillet::platform::linux_desktop
