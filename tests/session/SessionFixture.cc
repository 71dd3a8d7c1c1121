#include "tests/session/SessionFixture.h"

#include "download/RecordText.h"

namespace quillet::test {

SessionFixture::~SessionFixture() {
  for (const auto& scanner : scanners) {
    EXPECT_TRUE(scanner->complaints().empty()) << scanner->complaints().front();
  }
}

Simulator& SessionFixture::Attach(simulator::Options options) {
  scanners.push_back(std::make_unique<Simulator>(std::move(options)));
  Simulator& scanner = *scanners.back();
  scanner.Start();
  registry.Attach("usbmodem" + std::to_string(scanners.size()), scanner.path());
  return scanner;
}

bool SessionFixture::Connect() {
  Launch();
  return controller.bIsConnected;
}

bool SessionFixture::SynchronizeAndWait() {
  ClearView();
  synchronize.Press();
  return WaitForView("Synchronization finished. Tavo can be plugged off now|");
}

bool SessionFixture::WaitForView(const std::string& text) {
  return WaitFor([&] { return View().find(text) != std::string::npos; });
}

void SessionFixture::DataOnly() {
  Lumet& lumet = *controller.lumet;
  lumet.bAttachType = 0;
  lumet.bAttachSerial = 0;
  lumet.bAttachTimestamp = 0;
  lumet.recorddelimiter = 4;
}

std::vector<std::string> SessionFixture::DataLines(const std::vector<ScanRecord>& records) {
  std::vector<std::string> lines;
  for (const ScanRecord& record : records) {
    std::string& line = lines.emplace_back();
    DecodeRecordText(std::string(record.data.begin(), record.data.end()), line);
    line += "\r\n";
  }
  return lines;
}

std::string SessionFixture::SyncFile() const {
  return FileContents(controller.syncfileName.Get()).value_or("(no file)");
}

std::string Join(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line;
  return text;
}

}  // namespace quillet::test
