#include "simulator/demonstration/Unattended.h"

#include <QPixmap>
#include <QPlainTextEdit>
#include <QTimer>
#include <cstdio>
#include <fstream>
#include <iterator>

#include "simulator/Symbologies.h"

namespace quillet::simulator {
namespace {

constexpr int kPollMilliseconds = 100;
constexpr int kShownLines = 5;

/// Returns the symbology name that Quillet writes. For some codes of the older scanners, Quillet's
/// name differs from the simulator's.
std::string_view WrittenName(Model model, std::uint8_t code) {
  constexpr std::pair<std::uint8_t, std::string_view> kOthers[] = {
      {0, "EAN 13"}, {1, "EAN 8"}, {2, "UPCA"}, {3, "UPCE"}, {8, "CodaBar"}};
  for (const auto& [other, name] : kOthers) {
    if (model == Model::kOlder && other == code) return name;
  }
  return SymbologyName(model, code);
}

/// Returns the expected output with the default settings: symbology, data, time and serial number,
/// separated by commas.
std::string ExpectedFile(const std::vector<ScanRecord>& records, const DeviceSettings& device) {
  std::string file;
  for (const ScanRecord& record : records) {
    const CalendarTime& time = record.time;
    char moment[96];
    std::snprintf(moment, sizeof moment, ",[%04d/%02d/%02d:%02d:%02d:%02d],", time.year, time.month,
                  time.day, time.hour, time.minute, time.second);
    file += WrittenName(device.model, record.symbology & 0x3F);
    file += ',' + std::string(record.data.begin(), record.data.end()) + moment;
    file += device.serial.substr(4) + "\r\n";
  }
  return file;
}

std::string SyncedFile(const std::string& text) {
  const std::string announcement = "Synchronized to ";
  const std::size_t found = text.find(announcement);
  if (found == std::string::npos) return {};
  const std::size_t start = found + announcement.size();
  return text.substr(start, text.find('\n', start) - start);
}

void PrintStart(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string line;
  std::printf("First lines of the file:\n");
  for (int i = 0; i < kShownLines && std::getline(file, line); ++i) {
    std::erase(line, '\r');
    std::printf("  %s\n", line.c_str());
  }
}

/// Prints the results.
/// @return true if the records, the scanner's input and the screenshot are correct
bool Check(QWidget& window, const Simulator& scanner, const DeviceSettings& device,
           const std::string& folder) {
  const std::string picture = folder + "/window.png";
  const bool pictureSaved = window.grab().save(QString::fromStdString(picture));
  const std::string text = window.findChild<QPlainTextEdit*>()->toPlainText().toStdString();
  const std::string path = SyncedFile(text);
  std::ifstream file(path, std::ios::binary);
  const std::string contents{std::istreambuf_iterator<char>(file), {}};
  const auto records = scanner.Records();
  const auto complaints = scanner.Report().complaints;
  const bool arrived = records.empty() ? text.find("No data to synchronize") != std::string::npos
                                       : contents == ExpectedFile(records, device);
  const bool exact = arrived && complaints.empty();

  std::printf("%s\n", text.c_str());
  for (const std::string& complaint : complaints) {
    std::printf("The simulated scanner received invalid input: %s\n", complaint.c_str());
  }
  std::printf("File:       %s\nScreenshot: %s\n", path.empty() ? "(none)" : path.c_str(),
              pictureSaved ? picture.c_str() : "(could not be saved)");
  if (!path.empty()) PrintStart(path);
  if (exact) std::printf("Every record arrived exactly.\n");
  if (!arrived) std::printf("The records in the file differ from those in the scanner.\n");
  return exact && pictureSaved;
}

}  // namespace

void CheckWhenFinished(Program& program, const Simulator& scanner, const DeviceSettings& device,
                       const std::string& folder) {
  QWidget& window = program.window().widget();
  auto* const timer = new QTimer(&window);
  QObject::connect(timer, &QTimer::timeout, [&, timer] {
    const QString text = window.findChild<QPlainTextEdit*>()->toPlainText();
    if (!text.contains("Synchronization finished") && !text.contains("Failed to connect")) return;
    timer->stop();
    // Waits until the last lines have been painted.
    QTimer::singleShot(kPollMilliseconds,
                       [&] { program.Leave(Check(window, scanner, device, folder) ? 0 : 1); });
  });
  timer->start(kPollMilliseconds);
}

}  // namespace quillet::simulator
