// tavo-simulator: a simulated scanner as a program. See HelpText().

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "simulator/CommandLine.h"
#include "simulator/Console.h"
#include "simulator/Simulator.h"

namespace {

using namespace quillet::simulator;

/// The pipe by which a signal reaches the loop; a signal handler may do no more than write.
int g_signal_pipe[2] = {-1, -1};

void OnSignal(int) {
  const int saved = errno;
  const char byte = 0;
  [[maybe_unused]] const ssize_t ignored = write(g_signal_pipe[1], &byte, 1);
  errno = saved;
}

bool CatchSignals() {
  if (pipe(g_signal_pipe) != 0) return false;
  for (const int end : g_signal_pipe) {
    if (fcntl(end, F_SETFD, FD_CLOEXEC) != 0) return false;
  }
  struct sigaction action = {};
  action.sa_handler = OnSignal;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    if (sigaction(signal, &action, nullptr) != 0) return false;
  }
  // A reader of our output that has gone is no reason to leave the line in disorder.
  action.sa_handler = SIG_IGN;
  return sigaction(SIGPIPE, &action, nullptr) == 0;
}

void Print(const std::string& text) {
  if (text.empty()) return;
  std::printf("%s\n", text.c_str());
  std::fflush(stdout);
}

/// Runs the whole lines that have come in; false when one of them says quit.
bool RunLines(std::string& input, Simulator& simulator, Model model) {
  for (std::size_t end = input.find('\n'); end != std::string::npos; end = input.find('\n')) {
    const std::string line = input.substr(0, end);
    input.erase(0, end + 1);
    const ConsoleReply reply = RunConsoleLine(line, simulator, model);
    Print(reply.text);
    if (reply.quit) return false;
  }
  return true;
}

/// Until a signal comes, somebody says quit, or an interactive input ends.
void Serve(Simulator& simulator, Model model) {
  const bool interactive = isatty(STDIN_FILENO) != 0;
  std::string input;
  pollfd entries[2] = {{g_signal_pipe[0], POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
  while (true) {
    if (poll(entries, 2, -1) < 0 && errno != EINTR) return;
    if (entries[0].revents != 0) return;
    if (entries[1].revents == 0) continue;
    char buffer[4096];
    const ssize_t count = read(STDIN_FILENO, buffer, sizeof buffer);
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (count <= 0) {
      if (interactive) return;
      entries[1].fd = -1;  // poll(2) leaves it out from now on
      continue;
    }
    input.append(buffer, static_cast<std::size_t>(count));
    if (!RunLines(input, simulator, model)) return;
  }
}

int Run(const CommandLine& command_line) {
  if (!CatchSignals()) {
    std::perror("tavo-simulator");
    return 1;
  }
  Simulator simulator(command_line.options);
  simulator.Start();
  Print("ready " + simulator.path());
  Serve(simulator, command_line.options.device.model);
  simulator.Stop();
  for (const std::string& complaint : simulator.complaints()) {
    std::fprintf(stderr, "tavo-simulator: %s\n", complaint.c_str());
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const CommandLine command_line =
        ReadCommandLine(std::vector<std::string>(argv + 1, argv + argc));
    if (command_line.help) {
      std::fputs(HelpText().c_str(), stdout);
      return 0;
    }
    return Run(command_line);
  } catch (const UsageError& error) {
    std::fprintf(stderr, "tavo-simulator: %s (see --help)\n", error.what());
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "tavo-simulator: %s\n", error.what());
    return 1;
  }
}
