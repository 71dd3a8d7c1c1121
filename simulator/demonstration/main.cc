// quillet-demo: the application as it is, with one simulated scanner in place of the attached ones.

#include <QPixmap>
#include <QPlainTextEdit>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

#include "output/LumetFile.h"
#include "output/SettingsImage.h"
#include "platform/posix/ProcessExit.h"
#include "program/Program.h"
#include "simulator/Simulator.h"
#include "simulator/demonstration/Arguments.h"
#include "simulator/demonstration/ExpectedFile.h"
#include "simulator/demonstration/SimulatedPort.h"

namespace {

namespace fs = std::filesystem;
using namespace quillet;
using simulator::Arguments;
using simulator::Simulator;

constexpr int kPollMilliseconds = 100;
constexpr int kShownLines = 5;

// The settings of a first run, with what the arguments ask for. Somebody who looks around keeps the
// settings that he has chosen, unless an argument says otherwise.
void PrepareSettings(const Arguments& arguments, const std::string& dataFolder) {
  const std::string path = dataFolder + "/QuilletRegistry.txt";
  SettingsImage image;
  image.fill('0');
  image.back() = '\0';
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

// Waits for the end of the run, checks the file, and leaves the process.
class Unattended {
 public:
  Unattended(Program& program, Simulator& scanner, const Arguments& arguments)
      : program_(program), scanner_(scanner), arguments_(arguments) {
    QObject::connect(&timer_, &QTimer::timeout, [this] { Look(); });
    timer_.start(kPollMilliseconds);
  }

 private:
  QPlainTextEdit* View() { return program_.window().widget().findChild<QPlainTextEdit*>(); }

  void Look() {
    const QString text = View()->toPlainText();
    if (text.contains("Synchronization finished") || text.contains("Failed to connect")) {
      timer_.stop();
      // The last lines are painted before the picture is taken.
      QTimer::singleShot(kPollMilliseconds, [this] { Finish(); });
    }
  }

  void Finish() {
    const std::string picture = arguments_.folder + "/window.png";
    const bool pictureSaved =
        program_.window().widget().grab().save(QString::fromStdString(picture));
    const std::string text = View()->toPlainText().toStdString();
    const std::string file = SyncedFile(text);
    const bool arrived = scanner_.records().empty()
                             ? text.find("No data to synchronize") != std::string::npos
                             : !file.empty() && Contents(file) == Expected();
    const bool exact = arrived && scanner_.complaints().empty();

    std::printf("%s\n", text.c_str());
    for (const std::string& complaint : scanner_.complaints()) {
      std::printf("The scanner did not understand: %s\n", complaint.c_str());
    }
    std::printf("File:       %s\nScreenshot: %s\n", file.empty() ? "(none)" : file.c_str(),
                pictureSaved ? picture.c_str() : "(could not be saved)");
    if (!file.empty()) PrintStart(file);
    std::printf("%s\n", exact ? "Every record arrived exactly."
                              : "What arrived is not what the scanner holds.");
    program_.Leave(exact && pictureSaved ? 0 : 1);
  }

  static std::string SyncedFile(const std::string& text) {
    const std::string announcement = "Synchronized to ";
    const std::size_t found = text.find(announcement);
    if (found == std::string::npos) return {};
    const std::size_t start = found + announcement.size();
    return text.substr(start, text.find('\n', start) - start);
  }

  static std::string Contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

  std::string Expected() const {
    const auto& device = arguments_.scanner.options.device;
    return ExpectedFile(scanner_.records(), device.model, device.serial);
  }

  static void PrintStart(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string line;
    std::printf("It begins:\n");
    for (int i = 0; i < kShownLines && std::getline(file, line); ++i) {
      line.erase(std::remove(line.begin(), line.end(), '\r'), line.end());
      std::printf("  %s\n", line.c_str());
    }
  }

  Program& program_;
  Simulator& scanner_;
  const Arguments& arguments_;
  QTimer timer_;
};

}  // namespace

int main(int argc, char** argv) {
  platform::posix::EnsureStandardDescriptors();
  try {
    static const Arguments arguments =
        simulator::ReadArguments(std::vector<std::string>(argv + 1, argv + argc));
    if (arguments.help) {
      std::printf("%s", simulator::DemonstrationHelp().c_str());
      return 0;
    }
    const std::string dataFolder = arguments.folder + "/QuilletData";
    PrepareSettings(arguments, dataFolder);
    static auto* const scanner = new Simulator(arguments.scanner.options);
    scanner->Start();
    std::printf("Simulated scanner: %s, %zu records\nData folder:       %s\n",
                scanner->path().c_str(), scanner->records().size(), dataFolder.c_str());
    std::fflush(stdout);

    static auto* const program = new Program(argv[0], dataFolder);
    static auto* const port = new simulator::SimulatedPort(scanner->path());
    static std::optional<Unattended> unattended;
    if (arguments.unattended) unattended.emplace(*program, *scanner, arguments);
    program->Run(*port);
  } catch (const simulator::UsageError& error) {
    std::fprintf(stderr, "quillet-demo: %s\nTry --help.\n", error.what());
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quillet-demo: %s\n", error.what());
    return 1;
  }
}
