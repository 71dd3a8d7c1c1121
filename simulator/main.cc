// tavo-simulator: a simulated scanner. See HelpText().

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "simulator/CommandLine.h"
#include "simulator/Input.h"
#include "simulator/Simulator.h"

namespace {

using namespace quillet::simulator;

/// The signal handler writes a byte to this pipe, which wakes Serve().
int gSignalPipe[2] = {-1, -1};

void OnSignal(int) {
  const int saved = errno;
  const char byte = 0;
  [[maybe_unused]] const ssize_t ignored = write(gSignalPipe[1], &byte, 1);
  errno = saved;
}

void CatchSignals() {
  if (pipe(gSignalPipe) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  for (const int end : gSignalPipe) fcntl(end, F_SETFD, FD_CLOEXEC);
  struct sigaction action = {};
  action.sa_handler = OnSignal;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
  // Ignores SIGPIPE, so that the simulator removes the link even if the program that reads its
  // output has already exited.
  action.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &action, nullptr);
}

void Print(const std::string& text) {
  std::printf("%s\n", text.c_str());
  std::fflush(stdout);
}

/// Removes and returns the first word. Also removes the space after it.
std::string TakeWord(std::string_view& text) {
  const std::size_t end = std::min(text.find(' '), text.size());
  std::string word(text.substr(0, end));
  text.remove_prefix(std::min(end + 1, text.size()));
  return word;
}

std::string ListOf(const char* name, const std::vector<std::string>& lines) {
  std::string text = std::string(name) + " " + std::to_string(lines.size());
  for (const std::string& line : lines) text += "\n  " + line;
  return text;
}

/// A request from standard input: the line without its first word, and the answer to print.
struct Request {
  Simulator& simulator;
  Model model;
  std::string_view text;
  std::string answer = "ok";
};

void Scan(Request& request) {
  const std::uint8_t symbology = ParseSymbologyByte(request.model, TakeWord(request.text));
  const Bytes data = Unescape(request.text);
  request.simulator.Scan(symbology, std::string(data.begin(), data.end()));
}

void Plug(Request& request) {
  request.simulator.Plug();
  request.answer = "ready " + request.simulator.Path();
}

struct ConsoleCommand {
  std::string_view name;
  void (*run)(Request&);
};

constexpr std::array kConsoleCommands = std::to_array<ConsoleCommand>({
    {"scan", Scan},
    {"unplug", [](Request& r) { r.simulator.Unplug(); }},
    {"plug", Plug},
    {"records",
     [](Request& r) { r.answer = "records " + std::to_string(r.simulator.Records().size()); }},
    {"commands",
     [](Request& r) { r.answer = ListOf("commands", r.simulator.Report().commandsSeen); }},
    {"complaints",
     [](Request& r) { r.answer = ListOf("complaints", r.simulator.Report().complaints); }},
    {"fault", [](Request& r) { r.simulator.AddFault(r.text); }},
    {"help", [](Request& r) { r.answer = kConsoleHelp; }},
});

/// Executes a line of standard input and prints the answer.
void RunLine(const std::string& name, Request request) {
  const auto* command = FindByName(kConsoleCommands, name);
  try {
    if (command == nullptr)
      throw std::runtime_error("unknown command \"" + name + "\". Try \"help\".");
    command->run(request);
    Print(request.answer);
  } catch (const std::exception& error) {
    Print(std::string("error: ") + error.what());
  }
}

/// Executes and removes the complete lines of the input. Returns false after "quit".
bool RunLines(std::string& input, Simulator& simulator, Model model) {
  for (std::size_t end = input.find('\n'); end != std::string::npos; end = input.find('\n')) {
    const std::string whole = input.substr(0, end);
    input.erase(0, end + 1);
    std::string_view line = whole;
    if (line.ends_with('\r')) line.remove_suffix(1);
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    const std::string name = TakeWord(line);
    if (name == "quit") return false;
    if (!name.empty()) RunLine(name, {simulator, model, line});
  }
  return true;
}

/// Runs until a signal arrives or "quit" is read. If standard input is a terminal, end-of-file also
/// stops the simulator.
void Serve(Simulator& simulator, Model model) {
  const bool interactive = isatty(STDIN_FILENO) != 0;
  std::string input;
  pollfd entries[2] = {{gSignalPipe[0], POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
  while (true) {
    if (poll(entries, 2, -1) < 0 && errno != EINTR) return;
    if (entries[0].revents != 0) return;
    char buffer[4096];
    if (entries[1].revents == 0) continue;
    const ssize_t count = read(STDIN_FILENO, buffer, sizeof buffer);
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (count <= 0) {
      if (interactive) return;
      entries[1].fd = -1;  // ignored by poll(2)
      continue;
    }
    input.append(buffer, static_cast<std::size_t>(count));
    if (!RunLines(input, simulator, model)) return;
  }
}

void Run(const CommandLine& commandLine) {
  CatchSignals();
  Simulator simulator(commandLine.options);
  simulator.Start();
  Print("ready " + simulator.Path());
  Serve(simulator, commandLine.options.device.model);
  simulator.Stop();
  const DeviceReport report = simulator.Report();
  for (const std::string& complaint : report.complaints) {
    std::fprintf(stderr, "tavo-simulator: %s\n", complaint.c_str());
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const CommandLine commandLine =
        ReadCommandLine(std::vector<std::string>(argv + 1, argv + argc));
    if (commandLine.help) {
      std::fputs(HelpText().c_str(), stdout);
    } else {
      Run(commandLine);
    }
  } catch (const UsageError& error) {
    std::fprintf(stderr, "tavo-simulator: %s (see --help)\n", error.what());
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "tavo-simulator: %s\n", error.what());
    return 1;
  }
}
