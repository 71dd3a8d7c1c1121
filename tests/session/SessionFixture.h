#pragma once

#include <memory>
#include <string>
#include <vector>

#include "simulator/RecordGenerator.h"
#include "simulator/Simulator.h"
#include "tests/support/AppFixture.h"
#include "tests/support/SystemLine.h"

namespace quillet::test {

using simulator::Model;
using simulator::ScanRecord;
using simulator::Simulator;

/// The program with a simulated scanner on a pseudo-terminal, in real time.
class SessionFixture : public AppFixture {
 protected:
  SessionFixture() : AppFixture(1, {.line = &SystemLine()}) {}
  ~SessionFixture() override {
    if (!scanner) return;
    EXPECT_TRUE(scanner->Report().complaints.empty()) << scanner->Report().complaints.front();
  }

  void Attach(simulator::Options options) {
    scanner = std::make_unique<Simulator>(std::move(options));
    scanner->Start();
    registry.Attach("usbmodem1", scanner->Path());
  }

  /// Starts the program.
  /// @return true if the scanner is connected
  bool Connect() {
    Launch();
    return controller.bIsConnected;
  }

  bool SynchronizeAndWait() {
    ClearView();
    synchronize.Press();
    return WaitForView("Synchronization finished. Tavo can be plugged off now|");
  }

  bool WaitForView(const std::string& text) {
    return WaitFor([&] { return View().find(text) != std::string::npos; });
  }

  std::unique_ptr<Simulator> scanner;
};

}  // namespace quillet::test
