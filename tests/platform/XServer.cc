#include "tests/platform/XServer.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>

namespace quillet::test {
namespace {

// The display number depends on the process ID. If the server chose a free number itself, it could
// reuse the number of a server that has just ended. Clients of the old server would then connect to
// the new server.
constexpr int kFirstDisplay = 1000;
constexpr int kDisplays = 50000;

}  // namespace

XServer::XServer(const std::vector<std::string>& options) {
  const std::string display = ":" + std::to_string(kFirstDisplay + getpid() % kDisplays);
  std::array<int, 2> ready{};
  if (pipe(ready.data()) != 0) std::abort();
  std::vector<std::string> command = {"Xvfb",      display, "-displayfd", std::to_string(ready[1]),
                                      "-nolisten", "tcp",   "-noreset"};
  command.insert(command.end(), options.begin(), options.end());
  process_.emplace([&] { return Execute(command); });
  close(ready[1]);
  // The server writes a line when it is ready to accept connections.
  char character = 0;
  while (character != '\n' && read(ready[0], &character, 1) == 1) continue;
  close(ready[0]);
  EXPECT_EQ(character, '\n') << "Xvfb did not start";
  setenv("DISPLAY", display.c_str(), 1);
}

}  // namespace quillet::test
