// quillet-demo: Quillet with a simulated scanner instead of a real one.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "output/LumetFile.h"
#include "output/SettingsImage.h"
#include "platform/SerialRegistry.h"
#include "platform/posix/ProcessExit.h"
#include "program/Program.h"
#include "simulator/CommandLine.h"
#include "simulator/Simulator.h"
#include "simulator/demonstration/Unattended.h"

namespace {

namespace fs = std::filesystem;
using namespace quillet;
using simulator::Simulator;
using simulator::UsageError;

struct Arguments {
  bool help = false;
  bool unattended = false;  // synchronize, check the file, save a screenshot and exit
  bool burst = true;        // download all records in one transfer
  bool autoSync = false;    // synchronize as soon as the scanner is connected
  std::string folder;       // absolute path of the parent of the data folder
  simulator::CommandLine scanner;
};

std::string DefaultFolder() {
  const char* home = std::getenv("HOME");
  return std::string(home != nullptr && *home != '\0' ? home : "/tmp") + "/Quillet demonstration";
}

Arguments ReadArguments(const std::vector<std::string>& arguments) {
  Arguments read;
  read.folder = DefaultFolder();
  std::vector<std::string> scanner;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (argument == "--help" || argument == "-h") {
      read.help = true;
    } else if (argument == "--unattended") {
      read.unattended = true;
    } else if (argument == "--no-burst") {
      read.burst = false;
    } else if (argument == "--auto-sync") {
      read.autoSync = true;
    } else if (argument == "--folder") {
      if (++i == arguments.size()) throw UsageError("--folder requires a value");
      read.folder = fs::absolute(arguments[i]).lexically_normal().string();
    } else {
      scanner.push_back(argument);
    }
  }
  if (!read.help) read.scanner = simulator::ReadCommandLine(scanner);
  return read;
}

void PrintHelp() {
  std::printf(R"(quillet-demo: Quillet with one simulated scanner

  --no-burst     fetch the records one by one instead of in one transfer
  --auto-sync    synchronize as soon as the scanner is connected
  --folder DIR   create the data folder in DIR ("%s")
  --unattended   synchronize without a user, check the records, save a screenshot of
                 the window and end; the exit status is 0 only if every record arrived

All other arguments are passed to the simulated scanner:

%s)",
              DefaultFolder().c_str(), simulator::HelpText().c_str());
}

// Writes the settings file. Starts from the existing settings, or from the defaults if none exist
// or --unattended is given. Then applies the arguments.
void PrepareSettings(const Arguments& arguments, const std::string& dataFolder) {
  const std::string path = dataFolder + "/QuilletRegistry.txt";
  SettingsImage image{};
  std::ifstream existing(path, std::ios::binary);
  const bool kept = !arguments.unattended && existing &&
                    existing.read(image.data(), image.size() - 1) &&
                    ReadName(image, kFileNamePosition).starts_with(dataFolder);
  existing.close();
  Settings settings;
  if (kept) {
    if (arguments.burst && !arguments.autoSync) return;
    ReadChoices(image, settings);
  } else {
    settings.bAttachType = settings.bAttachSerial = settings.bAttachTimestamp = 1;
    settings.datadelimiter = 3;
    settings.destination = 0;
    image.fill('0');
    image.back() = '\0';
    WriteName(image, kApplicationNamePosition, settings.appname.Get());
    WriteName(image, kFileNamePosition, dataFolder + kPlaceholder);
  }
  settings.bBurstSync = arguments.burst;
  settings.bAutoSync = arguments.autoSync || arguments.unattended;
  WriteChoices(settings, image);
  fs::create_directories(dataFolder);
  std::ofstream(path, std::ios::binary).write(image.data(), image.size() - 1);
}

// A registry whose only serial port is that of the simulated scanner.
class SimulatedPort final : public platform::SerialRegistry {
 public:
  explicit SimulatedPort(std::string path) : path_(std::move(path)) {}

  std::int32_t ReadSerialStreams(std::span<std::string> names,
                                 std::span<std::string> paths) override {
    if (names.empty() || paths.empty()) return 0;
    names[0] = "usbmodem1101";
    paths[0] = path_;
    return 1;
  }

  NotifyPort CreateNotifyPort() override { return 0; }
  Handle AddMatchingNotification(NotifyPort, Event, Callback, void*) override { return 0; }
  Handle Next(Handle) override { return 0; }
  void Release(Handle) override {}
  void DestroyNotifyPort(NotifyPort) override {}

 private:
  const std::string path_;
};

}  // namespace

int main(int argc, char** argv) {
  platform::posix::EnsureStandardDescriptors();
  try {
    static const Arguments arguments =
        ReadArguments(std::vector<std::string>(argv + 1, argv + argc));
    if (arguments.help) {
      PrintHelp();
      return 0;
    }
    const std::string dataFolder = arguments.folder + "/QuilletData";
    PrepareSettings(arguments, dataFolder);
    const simulator::Options& options = arguments.scanner.options;
    static auto* const scanner = new Simulator(options);
    scanner->Start();
    std::printf("Simulated scanner: %s, %zu records\nData folder:       %s\n",
                scanner->Path().c_str(), scanner->Records().size(), dataFolder.c_str());
    std::fflush(stdout);

    static auto* const program =
        new Program(argv, {.data = dataFolder, .archive = arguments.folder + "/Archive"});
    static auto* const port = new SimulatedPort(scanner->Path());
    if (arguments.unattended) {
      CheckWhenFinished(*program, *scanner, options.device, arguments.folder);
    }
    program->Run(*port);
  } catch (const UsageError& error) {
    std::fprintf(stderr, "quillet-demo: %s (see --help)\n", error.what());
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quillet-demo: %s\n", error.what());
    return 1;
  }
}
