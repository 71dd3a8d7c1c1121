// Usage: first_paint PROGRAM [ARGUMENT...]
//
// Starts a program and waits until its window is painted. Prints the time from the start to the
// first paint in seconds, and the program's process ID. Then exits, but leaves PROGRAM running.
//
// The window counts as painted when 300 pixels in the middle row of the screen are white, the
// background colour of a text view. Before the program starts, the row must not be white.

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "tests/bench/Figure.h"

namespace {

using namespace std::chrono_literals;
using quillet::bench::Clock;

constexpr std::uint32_t kColour = 0xFFFFFF;
constexpr int kEnoughPixels = 300;

class Screen {
 public:
  bool IsPainted() {
    const xcb_get_image_cookie_t asked = xcb_get_image(
        connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, screen_.root, 0,
        static_cast<std::int16_t>(screen_.height_in_pixels / 2), screen_.width_in_pixels, 1, ~0U);
    xcb_get_image_reply_t* image = xcb_get_image_reply(connection_, asked, nullptr);
    if (image == nullptr) std::abort();
    const auto* pixels = reinterpret_cast<const std::uint32_t*>(xcb_get_image_data(image));
    int white = 0;
    for (int i = 0; i < screen_.width_in_pixels; ++i) white += (pixels[i] & kColour) == kColour;
    std::free(image);
    return white >= kEnoughPixels;
  }

 private:
  xcb_connection_t* const connection_ = xcb_connect(nullptr, nullptr);
  const xcb_screen_t& screen_ = *xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  Screen screen;
  if (screen.IsPainted()) {
    std::fputs("The screen already shows a white window. Close it and try again.\n", stderr);
    return 1;
  }
  const auto start = Clock::now();
  const pid_t child = fork();
  if (child == 0) {
    // The program must not keep the caller's pipe open after first_paint exits.
    dup2(STDERR_FILENO, STDOUT_FILENO);
    execv(argv[1], argv + 1);
    _exit(127);
  }
  while (!screen.IsPainted()) {
    if (waitpid(child, nullptr, WNOHANG) != 0) return 1;
    std::this_thread::sleep_for(500us);
  }
  std::printf("%.6f %d\n", quillet::bench::Seconds(Clock::now() - start), static_cast<int>(child));
  return 0;
}
