#include "platform/posix/TerminationSignals.h"

#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <utility>

namespace quillet::platform::posix {
namespace {

// Longest time from the first signal to the end of the process. The program must end within two
// seconds, so 0.5 s remains as a margin for a busy system.
constexpr itimerval kLongestEnd{.it_interval = {}, .it_value = {.tv_sec = 1, .tv_usec = 500'000}};

std::atomic<int> signalPipe = -1;
std::atomic<bool> timerStarted = false;
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free,
              "used by a signal handler");

// POSIX does not list setitimer() as safe in signal handlers, but it is a plain system call. The
// timer works even if the main thread hangs. Later signals do not restart it.
void HandleSignal(int) {
  const int before = errno;
  const char byte = 0;
  static_cast<void>(!write(signalPipe, &byte, 1));
  if (!timerStarted.exchange(true)) setitimer(ITIMER_REAL, &kLongestEnd, nullptr);
  errno = before;
}

void HandleTimeOut(int) {
  _exit(EXIT_FAILURE);
}

void Handle(int signal, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigaction(signal, &action, nullptr);
}

}  // namespace

TerminationSignals::TerminationSignals(DescriptorWatcher& watcher, std::function<void()> end) {
  Pipe wakeUp = MakePipe("signals");
  reader_ = std::move(wakeUp.reader);
  writer_ = std::move(wakeUp.writer);
  watch_ = watcher.Watch(reader_.Get(), [this, end = std::move(end)] {
    std::array<char, 16> bytes{};
    if (read(reader_.Get(), bytes.data(), bytes.size()) > 0) end();
  });
  signalPipe = writer_.Get();
  Handle(SIGALRM, HandleTimeOut);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_IGN) Handle(signal, HandleSignal);
  }
}

}  // namespace quillet::platform::posix
