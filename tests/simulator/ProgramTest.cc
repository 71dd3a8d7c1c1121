// The program tavo-simulator, as its users see it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/simulator/HostPort.h"
#include "tests/support/TemporaryFolder.h"

extern char** environ;

namespace quillet::simulator {
namespace {

namespace fs = std::filesystem;

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

/// The running program, with pipes to all of its standard streams.
class Program {
 public:
  explicit Program(std::vector<std::string> arguments) {
    int in[2];
    int out[2];
    int err[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0)
      return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
    arguments.insert(arguments.begin(), TAVO_SIMULATOR_PROGRAM);
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out[1]);
    close(err[1]);
    in_ = in[1];
    out_ = out[0];
    err_ = err[0];
  }

  ~Program() {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    CloseInput();
    close(out_);
    close(err_);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  void Type(const std::string& line) {
    const std::string text = line + "\n";
    EXPECT_EQ(write(in_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }

  void CloseInput() {
    if (in_ >= 0) close(std::exchange(in_, -1));
  }

  void Signal(int signal) const { kill(pid_, signal); }

  /// The next line of standard output, without its end; "" at the end.
  std::string Line() {
    std::string line;
    char letter = 0;
    while (read(out_, &letter, 1) == 1 && letter != '\n') line += letter;
    return line;
  }

  /// Types, and reads one line.
  std::string Say(const std::string& line) {
    Type(line);
    return Line();
  }

  /// The path of the line "ready PATH".
  std::string ReadyPath() {
    const std::string line = Line();
    EXPECT_THAT(line, StartsWith("ready "));
    return line.substr(6);
  }

  /// Waits for the end; the exit code, or -1 when a signal killed it.
  int ExitCode() {
    int status = 0;
    waitpid(std::exchange(pid_, 0), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  /// The rest of a stream.
  std::string Output() const { return ReadAll(out_); }
  std::string Errors() const { return ReadAll(err_); }

 private:
  static std::string ReadAll(int descriptor) {
    std::string text;
    char buffer[4096];
    for (ssize_t size; (size = read(descriptor, buffer, sizeof buffer)) > 0;) {
      text.append(buffer, static_cast<std::size_t>(size));
    }
    return text;
  }

  pid_t pid_ = 0;
  int in_ = -1;
  int out_ = -1;
  int err_ = -1;
};

std::vector<std::string> Quick(std::vector<std::string> more = {}) {
  more.insert(more.begin(), {"--speed", "unlimited", "--latency", "0"});
  return more;
}

TEST(TavoSimulatorProgram, SaysWhereItIsReadyAndAnswersThere) {
  Program program(Quick({"--serial", "1234567890", "--records", "3"}));
  HostPort port(program.ReadyPath());
  EXPECT_EQ(port.Ask("M", 11), ToBytes("1234567890@"));
  EXPECT_EQ(port.Ask("N", 5), (Bytes{0, 0, 0, 3, '@'}));
  program.Type("quit");
  EXPECT_EQ(program.ExitCode(), 0);
}

TEST(TavoSimulatorProgram, TakesModelFirmwareAssetAndTerminator) {
  Program program(Quick({"--model=300", "--asset", "X1", "--terminator", "!"}));
  HostPort port(program.ReadyPath());
  EXPECT_EQ(port.Ask("V", 11), ToBytes("1.00.42010!"));
  EXPECT_EQ(port.Ask("GZSG", 3), ToBytes("X1!"));
  EXPECT_EQ(port.Ask("N", 5), (Bytes{0, 0, 0, 130, '!'}));
  Program other(Quick({"--firmware", "3.02.30000"}));
  HostPort other_port(other.ReadyPath());
  EXPECT_EQ(other_port.Ask("V", 11), ToBytes("3.02.30000@"));
}

TEST(TavoSimulatorProgram, RecordsComeFromATableAndFromTheEdges) {
  const test::TemporaryFolder folder;
  const std::string table = folder.Put("table.csv", "Code 128,A,2012-05-03 16:04:09\n");
  Program program(Quick({"--extreme", "2", "--csv", table}));
  HostPort port(program.ReadyPath());
  EXPECT_EQ(port.Ask("N", 5), (Bytes{0, 0, 0, 3, '@'}));
  EXPECT_EQ(port.Ask("p0#", 11),
            (Bytes{0x03, 0x00, 0x00, 0x0A, 0x06, 0x06, 'A', 0x31, 0x47, 0x41, 0x09}));
}

TEST(TavoSimulatorProgram, TheLinkIsThereWhileItRuns) {
  const test::TemporaryFolder folder;
  const std::string link = folder / "scanner";
  Program program(Quick({"--link", link}));
  EXPECT_EQ(program.ReadyPath(), link);
  HostPort port(link);
  EXPECT_EQ(port.Ask("W", 1), ToBytes("@"));
  EXPECT_EQ(program.Say("unplug"), "ok");
  EXPECT_FALSE(fs::is_symlink(link));
  EXPECT_EQ(program.Say("plug"), "ready " + link);
  EXPECT_TRUE(fs::is_symlink(link));
  program.Signal(SIGTERM);
  EXPECT_EQ(program.ExitCode(), 0);
  EXPECT_FALSE(fs::is_symlink(link));
}

TEST(TavoSimulatorProgram, EndsInGoodOrderOnAnInterrupt) {
  Program program(Quick());
  HostPort port(program.ReadyPath());
  EXPECT_EQ(port.Ask("W", 1), ToBytes("@"));
  program.Signal(SIGINT);
  EXPECT_EQ(program.ExitCode(), 0);
  EXPECT_EQ(port.Receive(1), Bytes{});
  EXPECT_TRUE(port.hung_up());
  EXPECT_THAT(program.Errors(), IsEmpty());
}

TEST(TavoSimulatorProgram, TheEndOfAnInputThatIsNoTerminalIsNotItsEnd) {
  Program program(Quick());
  HostPort port(program.ReadyPath());
  program.CloseInput();
  EXPECT_EQ(port.Ask("W", 1), ToBytes("@"));
  EXPECT_EQ(port.Ask("M", 11).size(), 11U);
  program.Signal(SIGTERM);
  EXPECT_EQ(program.ExitCode(), 0);
}

TEST(TavoSimulatorProgram, LinesOnItsInputAreCarriedOut) {
  Program program(Quick({"--records", "0"}));
  HostPort port(program.ReadyPath());
  EXPECT_EQ(port.Ask("W", 1), ToBytes("@"));
  EXPECT_EQ(program.Say("scan Code128 A\\x00B"), "ok");
  const Bytes frame = port.Receive(14);
  ASSERT_EQ(frame.size(), 14U);
  EXPECT_EQ(Bytes(frame.begin() + 5, frame.begin() + 9), (Bytes{6, 'A', 0, 'B'}));
  EXPECT_EQ(program.Say("records"), "records 1");
  EXPECT_EQ(program.Say("commands"), "commands 1");
  EXPECT_EQ(program.Line(), "  W");
  EXPECT_EQ(program.Say("fault on M silence"), "ok");
  EXPECT_EQ(program.Say("complaints"), "complaints 0");
}

TEST(TavoSimulatorProgram, LinesThatMakeNoSenseAreAnsweredAndChangeNothing) {
  Program program(Quick());
  program.ReadyPath();
  EXPECT_THAT(program.Say("dance"), HasSubstr("error: nothing is called \"dance\""));
  EXPECT_THAT(program.Say("scan nonsense 1"), HasSubstr("error: \"nonsense\" is no symbology"));
  EXPECT_THAT(program.Say("scan 1 " + std::string(251, 'x')), HasSubstr("error: a record of this"));
  EXPECT_THAT(program.Say("fault on Q silence"), HasSubstr("error: \"Q\" is not a command"));
  EXPECT_EQ(program.Say("records"), "records 130");
}

TEST(TavoSimulatorProgram, FaultsAndTranscriptAreFiles) {
  const test::TemporaryFolder folder;
  const std::string faults = folder.Put("faults", "on M 1 answer \"abc@\"\n");
  const std::string transcript = folder / "transcript";
  Program program(Quick({"--faults", faults, "--transcript", transcript}));
  HostPort port(program.ReadyPath());
  EXPECT_EQ(port.Ask("M", 4), ToBytes("abc@"));
  program.Type("quit");
  EXPECT_EQ(program.ExitCode(), 0);
  const std::string text = test::FileContents(transcript).value_or("");
  EXPECT_THAT(text, HasSubstr(" < 4d  M\n"));
  EXPECT_THAT(text, HasSubstr(" > 61 62 63 40  abc@\n"));
}

TEST(TavoSimulatorProgram, WhatWasNoCommandIsListedAtTheEnd) {
  Program program(Quick());
  HostPort port(program.ReadyPath());
  EXPECT_EQ(port.Ask("zW", 1), ToBytes("@"));
  program.Type("quit");
  EXPECT_EQ(program.ExitCode(), 0);
  EXPECT_EQ(program.Errors(), "tavo-simulator: byte 1 received: byte 0x7a 'z' begins no command\n");
}

TEST(TavoSimulatorProgram, HelpExplainsEveryArgument) {
  Program program({"--help"});
  const std::string help = program.Output();
  EXPECT_EQ(program.ExitCode(), 0);
  for (const char* argument :
       {"--model",      "--serial",  "--firmware", "--asset",  "--terminator",
        "--records",    "--extreme", "--csv",      "--random", "--speed",
        "--latency",    "--link",    "--device",   "--cooked", "--faults",
        "--transcript", "--help",    "after-sent", "unplug",   "quit"}) {
    EXPECT_THAT(help, HasSubstr(argument));
  }
}

TEST(TavoSimulatorProgram, ArgumentsThatMakeNoSenseEndItWithTwo) {
  const std::vector<std::vector<std::string>> wrong = {
      {"--model", "400"},  {"--model"},
      {"--frobnicate"},    {"loose"},
      {"--speed", "0"},    {"--speed", "fast"},
      {"--latency", "x"},  {"--records", "-1"},
      {"--records", "1x"}, {"--terminator", "#"},
      {"--cooked=yes"},    {"--link", "/tmp/a", "--device", "/dev/null"}};
  for (const auto& arguments : wrong) {
    Program program(arguments);
    EXPECT_EQ(program.ExitCode(), 2) << arguments.front();
    EXPECT_THAT(program.Errors(),
                testing::AllOf(StartsWith("tavo-simulator: "), EndsWith("(see --help)\n")));
  }
}

TEST(TavoSimulatorProgram, WhatCannotBeDoneEndsItWithOneAndSaysWhy) {
  const test::TemporaryFolder folder;
  const std::string table = folder.Put("table.csv", "0,1\n");
  const std::string faults = folder.Put("faults", "\non Q silence\n");
  const std::vector<std::pair<std::vector<std::string>, std::string>> failing = {
      {{"--csv", "/no/such/file"}, "/no/such/file: No such file"},
      {{"--csv", "/tmp"}, "/tmp: Is a directory"},
      {{"--csv", table}, "table.csv, line 1: expected symbology, data and time"},
      {{"--faults", faults}, "faults, line 2: \"Q\" is not a command"},
      {{"--transcript", "/no/such/folder/file"}, "/no/such/folder/file: No such file"},
      {{"--link", "/no/such/folder/link"}, "/no/such/folder/link"},
      {{"--device", "/no/such/device"}, "/no/such/device: No such file"}};
  for (const auto& [arguments, reason] : failing) {
    Program program(arguments);
    EXPECT_EQ(program.ExitCode(), 1) << arguments.front();
    EXPECT_THAT(program.Errors(), HasSubstr(reason));
  }
}

}  // namespace
}  // namespace quillet::simulator
