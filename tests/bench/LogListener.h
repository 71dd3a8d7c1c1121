#pragma once

#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string_view>

#include "base/SystemLog.h"

namespace quillet::bench {

/// A child process that acts as a log daemon and drops all messages. Create it before starting any
/// thread, because the constructor forks.
class LogListener {
 public:
  LogListener() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0) std::abort();
    if (fork() == 0) {
      close(ends[0]);
      char datagram[16384];
      while (recv(ends[1], datagram, sizeof datagram, 0) > 0) {
      }
      _exit(0);
    }
    close(ends[1]);
    socket_ = ends[0];
  }

  /// Sends a message with the header that syslog(3) adds.
  void Send(std::string_view message) const {
    char datagram[8192];
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char when[32];
    std::strftime(when, sizeof when, "%b %e %H:%M:%S", &local);
    const int length =
        std::snprintf(datagram, sizeof datagram, "<14>%s quillet[%d]: %.*s", when,
                      static_cast<int>(getpid()), static_cast<int>(message.size()), message.data());
    if (length > 0) send(socket_, datagram, static_cast<std::size_t>(length), MSG_NOSIGNAL);
  }

 private:
  int socket_ = -1;
};

}  // namespace quillet::bench
