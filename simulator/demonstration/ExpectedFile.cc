#include "simulator/demonstration/ExpectedFile.h"

#include <cstdio>

#include "simulator/Symbologies.h"

namespace quillet::simulator {
namespace {

// What the program writes for the codes of an older scanner; of the 300 series it writes the names
// that the simulator knows too.
std::string_view WrittenName(Model model, std::uint8_t code) {
  if (model == Model::kSeries300) return SymbologyName(model, code);
  switch (code) {
    case 0:
      return "EAN 13";
    case 1:
      return "EAN 8";
    case 2:
      return "UPCA";
    case 3:
      return "UPCE";
    case 8:
      return "CodaBar";
    default:
      return SymbologyName(model, code);
  }
}

std::string Shown(const CalendarTime& time) {
  char text[64];
  std::snprintf(text, sizeof text, "[%04d/%02d/%02d:%02d:%02d:%02d]", int{time.year},
                int{time.month}, int{time.day}, int{time.hour}, int{time.minute}, int{time.second});
  return text;
}

}  // namespace

std::string ExpectedFile(const std::vector<ScanRecord>& records, Model model,
                         const std::string& serial) {
  std::string file;
  for (const ScanRecord& record : records) {
    file += WrittenName(model, record.symbology & 0x3F);
    file += "," + std::string(record.data.begin(), record.data.end()) + "," + Shown(record.time);
    file += "," + serial.substr(4) + "\r\n";
  }
  return file;
}

}  // namespace quillet::simulator
