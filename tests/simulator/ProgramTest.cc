// Tests of the program tavo-simulator: options, standard input and output, exit codes.

#include <gmock/gmock.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <filesystem>
#include <utility>

#include "tests/simulator/HostPort.h"
#include "tests/support/TemporaryFolder.h"

extern char** environ;

namespace quillet::simulator {
namespace {

namespace fs = std::filesystem;

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

using Arguments = std::vector<std::string>;

/// A running tavo-simulator whose standard streams are pipes.
class Program {
 public:
  explicit Program(Arguments arguments) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    UniqueFd theirs[3];
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
      int ends[2];
      if (pipe2(ends, O_CLOEXEC) != 0) return;
      const bool in = stream == STDIN_FILENO;
      streams_[stream] = UniqueFd(ends[in ? 1 : 0]);
      theirs[stream] = UniqueFd(ends[in ? 0 : 1]);
      posix_spawn_file_actions_adddup2(&actions, theirs[stream].Get(), stream);
    }
    arguments.insert(arguments.begin(), TAVO_SIMULATOR_PROGRAM);
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
  }

  ~Program() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }

  void CloseInput() { streams_[STDIN_FILENO].Close(); }
  void Signal(int signal) const { kill(pid_, signal); }

  /// Reads a line of standard output, without the line end. Returns "" at the end of the stream.
  std::string Line() {
    std::string line;
    char letter = 0;
    while (read(streams_[STDOUT_FILENO].Get(), &letter, 1) == 1 && letter != '\n') line += letter;
    return line;
  }

  /// Writes a line to the simulator's standard input and returns the next line of its output.
  std::string Say(const std::string& line) {
    const std::string text = line + "\n";
    EXPECT_EQ(write(streams_[STDIN_FILENO].Get(), text.data(), text.size()),
              static_cast<ssize_t>(text.size()));
    return Line();
  }

  /// Reads the line "ready PATH" and returns the path.
  std::string ReadyPath() {
    const std::string line = Line();
    EXPECT_THAT(line, StartsWith("ready "));
    return line.substr(6);
  }

  /// Waits until the program ends. Returns its exit code, or -1 if a signal killed it.
  int ExitCode() {
    int status = 0;
    waitpid(std::exchange(pid_, 0), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  /// Reads an output stream to its end.
  std::string Rest(int stream) const {
    std::string text;
    char buffer[4096];
    for (ssize_t size; (size = read(streams_[stream].Get(), buffer, sizeof buffer)) > 0;) {
      text.append(buffer, static_cast<std::size_t>(size));
    }
    return text;
  }
  std::string Errors() const { return Rest(STDERR_FILENO); }

 private:
  pid_t pid_ = 0;
  UniqueFd streams_[3];
};

Arguments Quick(Arguments more = {}) {
  more.insert(more.begin(), {"--speed", "unlimited", "--latency", "0"});
  return more;
}

TEST(TavoSimulatorProgram, AnswersAccordingToItsOptions) {
  const test::TemporaryFolder folder;
  const std::string table = folder.Put("table.csv", "Code 128,A,2012-05-03 16:04:09\n");
  struct Row {
    Arguments arguments;
    const char* command;
    Bytes answer;
  };
  const Row kRows[] = {{{}, "N", {0, 0, 0, 130, '@'}},
                       {{"--records", "3"}, "N", {0, 0, 0, 3, '@'}},
                       {{"--extreme", "2", "--csv", table}, "N", {0, 0, 0, 3, '@'}},
                       {{"--csv", table}, "p0#", {3, 0, 0, 10, 6, 6, 'A', 0x31, 0x47, 0x41, 0x09}},
                       {{"--serial", "1234567890"}, "M", ToBytes("1234567890@")},
                       {{"--model=300"}, "V", ToBytes("1.00.42010@")},
                       {{"--firmware", "3.02.30000"}, "V", ToBytes("3.02.30000@")},
                       {{"--asset", "X1", "--terminator", "!"}, "GZSG", ToBytes("X1!")}};
  for (const Row& row : kRows) {
    Program program(Quick(row.arguments));
    HostPort port(program.ReadyPath());
    EXPECT_EQ(port.Ask(row.command, row.answer.size()), row.answer) << row.command;
    EXPECT_EQ(program.Say("quit"), "");
    EXPECT_EQ(program.ExitCode(), 0);
  }
}

TEST(TavoSimulatorProgram, LinkExistsOnlyWhilePluggedIn) {
  const test::TemporaryFolder folder;
  const std::string link = folder / "scanner";
  Program program(Quick({"--link", link}));
  EXPECT_EQ(program.ReadyPath(), link);
  EXPECT_EQ(HostPort(link).Ask("W", 1), ToBytes("@"));
  EXPECT_EQ(program.Say("unplug"), "ok");
  EXPECT_FALSE(fs::is_symlink(link));
  EXPECT_EQ(program.Say("plug"), "ready " + link);
  EXPECT_EQ(HostPort(link).Ask("W", 1), ToBytes("@"));
  program.Signal(SIGTERM);
  EXPECT_EQ(program.ExitCode(), 0);
  EXPECT_FALSE(fs::is_symlink(link));
}

TEST(TavoSimulatorProgram, SurvivesEndOfInputAndEndsOnSignal) {
  Program program(Quick());
  HostPort port(program.ReadyPath());
  program.CloseInput();
  EXPECT_EQ(port.Ask("W", 1), ToBytes("@"));
  EXPECT_EQ(port.Ask("M", 11).size(), 11U);
  program.Signal(SIGINT);
  EXPECT_EQ(program.ExitCode(), 0);
  EXPECT_EQ(port.Receive(1), Bytes{});
  EXPECT_TRUE(port.HungUp());
  EXPECT_EQ(program.Errors(), "");
}

TEST(TavoSimulatorProgram, ExecutesCommandsFromStandardInput) {
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
  EXPECT_THAT(program.Say("dance"), HasSubstr("error: unknown command \"dance\""));
  EXPECT_THAT(program.Say("scan nonsense 1"),
              HasSubstr("error: \"nonsense\" is neither a symbology"));
  EXPECT_THAT(program.Say("scan 1 " + std::string(251, 'x')),
              HasSubstr("error: the data has 251 bytes, but this"));
  EXPECT_THAT(program.Say("fault on Q silence"),
              HasSubstr("error: \"Q\" is not a scanner command"));
  EXPECT_EQ(program.Say("records"), "records 1");
  EXPECT_THAT(program.Say("help"), StartsWith("While it runs"));
}

TEST(TavoSimulatorProgram, ReadsFaultsAndWritesTranscript) {
  const test::TemporaryFolder folder;
  const std::string faults = folder.Put("faults", "on M 1 answer \"abc@\"\n");
  const std::string transcript = folder / "transcript";
  Program program(Quick({"--faults", faults, "--transcript", transcript}));
  HostPort port(program.ReadyPath());
  EXPECT_EQ(port.Ask("zM", 4), ToBytes("abc@"));
  program.Say("quit");
  EXPECT_EQ(program.ExitCode(), 0);
  EXPECT_EQ(program.Errors(),
            "tavo-simulator: byte 1 received: byte 0x7a 'z' is not the start of a command\n");
  const std::string text = test::FileContents(transcript).value_or("");
  EXPECT_THAT(text, HasSubstr(" < 7a 4d  zM\n"));
  EXPECT_THAT(text, HasSubstr(" > 61 62 63 40  abc@\n"));
}

TEST(TavoSimulatorProgram, HelpExplainsEveryOption) {
  Program program({"--help"});
  const std::string help = program.Rest(STDOUT_FILENO);
  EXPECT_EQ(program.ExitCode(), 0);
  for (const char* argument :
       {"--model",      "--serial",  "--firmware", "--asset",  "--terminator",
        "--records",    "--extreme", "--csv",      "--random", "--speed",
        "--latency",    "--link",    "--device",   "--cooked", "--faults",
        "--transcript", "--help",    "after-sent", "unplug",   "quit"}) {
    EXPECT_THAT(help, HasSubstr(argument));
  }
}

TEST(TavoSimulatorProgram, ExitsWithStatus2OnInvalidArguments) {
  const std::vector<Arguments> wrong = {
      {"--model", "400"},  {"--model"},
      {"--frobnicate"},    {"loose"},
      {"--speed", "0"},    {"--speed", "fast"},
      {"--latency", "x"},  {"--records", "-1"},
      {"--records", "1x"}, {"--terminator", "#"},
      {"--cooked=yes"},    {"--link", "/tmp/a", "--device", "/dev/null"}};
  for (const Arguments& arguments : wrong) {
    Program program(arguments);
    EXPECT_EQ(program.ExitCode(), 2) << arguments.front();
    EXPECT_THAT(program.Errors(),
                testing::AllOf(StartsWith("tavo-simulator: "), EndsWith("(see --help)\n")));
  }
}

TEST(TavoSimulatorProgram, ExitsWith1AndAnErrorMessageOnFailure) {
  const test::TemporaryFolder folder;
  const std::string table = folder.Put("table.csv", "0,1\n");
  const std::string faults = folder.Put("faults", "\non Q silence\n");
  const std::pair<Arguments, const char*> kFailing[] = {
      {{"--csv", "/no/such/file"}, "/no/such/file: No such file"},
      {{"--csv", "/tmp"}, "/tmp: Is a directory"},
      {{"--csv", table}, "table.csv, line 1: expected 3 fields"},
      {{"--faults", faults}, "faults, line 2: \"Q\" is not a scanner command"},
      {{"--transcript", "/no/such/folder/file"}, "/no/such/folder/file: No such file"},
      {{"--link", "/no/such/folder/link"}, "/no/such/folder/link"},
      {{"--device", "/no/such/device"}, "/no/such/device: No such file"}};
  for (const auto& [arguments, reason] : kFailing) {
    Program program(arguments);
    EXPECT_EQ(program.ExitCode(), 1) << arguments.front();
    EXPECT_THAT(program.Errors(), HasSubstr(reason));
  }
}

}  // namespace
}  // namespace quillet::simulator
