#include "platform/posix/SingleInstance.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <utility>

#include "base/Retry.h"

namespace quillet::platform::posix {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLongestWait = 1s;
constexpr milliseconds kPause = 10ms;
constexpr int kBacklog = 16;
constexpr std::size_t kLongestRequest = 4096;
constexpr char kHandled = '\n';
#ifdef MSG_NOSIGNAL
constexpr int kNoSignal = MSG_NOSIGNAL;
#else
constexpr int kNoSignal = 0;  // macOS: see SO_NOSIGPIPE below
#endif

bool IsPrivateFolder(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
         status.st_uid == geteuid() && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

/// Returns a folder that only this user can write to, or an empty string.
std::string PrivateFolder() {
  const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime != nullptr && runtime[0] == '/' && IsPrivateFolder(runtime)) return runtime;
  const std::string folder = "/tmp/quillet-" + std::to_string(geteuid());
  mkdir(folder.c_str(), S_IRWXU);
  return IsPrivateFolder(folder) ? folder : std::string();
}

std::string PathFor(std::string_view display, std::string_view ending) {
  std::string folder = display.empty() ? std::string() : PrivateFolder();
  if (folder.empty()) return folder;
  std::string name = "/quillet-" + std::string(display) + std::string(ending);
  std::replace(name.begin() + 1, name.end(), '/', '_');
  return folder + name;
}

/// Fills in a socket address. Fails with ENAMETOOLONG if the path does not fit.
bool FillAddress(const std::string& path, sockaddr_un& address) {
  address.sun_family = AF_UNIX;
  errno = ENAMETOOLONG;
  if (path.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return true;
}

void Prepare(const UniqueFd& socket, bool blocking) {
  fcntl(socket.Get(), F_SETFD, FD_CLOEXEC);
  const int flags = fcntl(socket.Get(), F_GETFL);
  fcntl(socket.Get(), F_SETFL, blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK);
#ifdef SO_NOSIGPIPE
  const int on = 1;
  setsockopt(socket.Get(), SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
#endif
}

UniqueFd NewSocket() {
  UniqueFd made(socket(AF_UNIX, SOCK_STREAM, 0));
  if (made.IsOpen()) Prepare(made, false);
  return made;
}

}  // namespace

SingleInstance::SingleInstance(std::string_view display)
    : lockPath_(PathFor(display, ".lock")), socketPath_(PathFor(display, ".socket")) {}

bool SingleInstance::Begin(std::string_view request) {
  if (lockPath_.empty()) return true;
  const auto end = steady_clock::now() + kLongestWait;
  for (;;) {
    if (Lock()) {
      OpenSocket();
      return true;
    }
    const auto left = std::chrono::ceil<milliseconds>(end - steady_clock::now());
    if (left <= 0ms) return true;
    if (Pass(request, static_cast<int>(left.count())) == Delivery::kReceived) return false;
    // The other instance is starting or exiting.
    std::this_thread::sleep_for(kPause);
  }
}

// Tries to take the lock. Also returns true if the file system does not support locks.
bool SingleInstance::Lock() {
  lock_ = UniqueFd(RetryOnSignal([&] {
    return open(lockPath_.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
  }));
  return flock(lock_.Get(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

// Opens the socket for requests. If this fails, a second process waits for the socket for up to
// kLongestWait and then runs too.
void SingleInstance::OpenSocket() {
  sockaddr_un address{};
  if (!lock_.IsOpen() || !FillAddress(socketPath_, address)) return;
  UniqueFd made = NewSocket();
  unlink(socketPath_.c_str());  // removes the socket of a process that was killed
  if (bind(made.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
      listen(made.Get(), kBacklog) == 0) {
    listener_ = std::move(made);
  }
}

SingleInstance::Delivery SingleInstance::Pass(std::string_view request, int milliseconds) const {
  sockaddr_un address{};
  const UniqueFd peer = NewSocket();
  if (!FillAddress(socketPath_, address)) return Delivery::kNoInstance;
  if (connect(peer.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    // EAGAIN: the backlog is full of requests (connect(2)).
    return errno == EAGAIN ? Delivery::kReceived : Delivery::kNoInstance;
  }
  send(peer.Get(), request.data(), std::min(request.size(), kLongestRequest), kNoSignal);
  shutdown(peer.Get(), SHUT_WR);
  pollfd answer{peer.Get(), POLLIN, 0};
  if (RetryOnSignal([&] { return poll(&answer, 1, milliseconds); }) == 0) {
    return Delivery::kReceived;  // the instance is busy
  }
  char byte = 0;
  const bool handled = read(peer.Get(), &byte, 1) == 1;
  return handled ? Delivery::kReceived : Delivery::kNoInstance;
}

void SingleInstance::Listen(DescriptorWatcher& watcher,
                            std::function<void(const std::string&)> handle) {
  if (!listener_.IsOpen()) return;
  watch_ = watcher.Watch(listener_.Get(), [this, handle = std::move(handle)] { Receive(handle); });
}

void SingleInstance::Receive(const std::function<void(const std::string&)>& handle) {
  const UniqueFd peer(accept(listener_.Get(), nullptr, nullptr));
  if (!peer.IsOpen()) {
    if (errno == EAGAIN || errno == EINTR || errno == ECONNABORTED) return;
    // accept() can fail because too many descriptors are open, for example. The request then stays
    // in the backlog, and the watch would report it repeatedly.
    watch_.reset();
    listener_.Close();
    return;
  }
  Prepare(peer, true);
  const timeval limit{.tv_sec = 0, .tv_usec = 100'000};
  setsockopt(peer.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  std::array<char, kLongestRequest> bytes{};
  const ssize_t count = RetryOnSignal([&] { return read(peer.Get(), bytes.data(), bytes.size()); });
  handle(std::string(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))));
  send(peer.Get(), &kHandled, 1, kNoSignal);
}

void SingleInstance::End() {
  watch_.reset();
  if (listener_.IsOpen()) unlink(socketPath_.c_str());
  listener_.Close();
  lock_.Close();
}

}  // namespace quillet::platform::posix
