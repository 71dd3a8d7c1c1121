// Usage: idle_loop [PATH]
//
// Baseline for the idle read thread: sleeps 200 µs and reads, in an endless loop. Without PATH
// every read fails, as in Quillet without a scanner.

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <thread>

int main(int argc, char** argv) {
  const int line = argc > 1 ? open(argv[1], O_RDONLY | O_NOCTTY | O_NONBLOCK) : -1;
  if (argc > 1 && line < 0) return 1;
  termios settings{};
  if (tcgetattr(line, &settings) == 0) {
    cfmakeraw(&settings);
    tcsetattr(line, TCSANOW, &settings);
  }
  static char buffer[10240];
  for (;;) {
    std::this_thread::sleep_for(std::chrono::microseconds(200));
    if (read(line, buffer, sizeof buffer) > 0) return 1;  // the device must not send data
  }
}
