#pragma once

#include <memory>
#include <string>
#include <vector>

#include "simulator/RecordGenerator.h"
#include "simulator/Simulator.h"
#include "tests/support/AppFixture.h"

namespace quillet::test {

using simulator::Model;
using simulator::ScanRecord;
using simulator::Simulator;

/// The program with a simulated scanner on a pseudo-terminal. Time is real: the pauses between
/// commands are the program's, the answers the scanner's.
class SessionFixture : public AppFixture {
 protected:
  SessionFixture() : AppFixture(1) {}
  ~SessionFixture() override;

  /// Attaches a scanner as the next port.
  Simulator& Attach(simulator::Options options);

  /// Starts the program; true when it is connected afterwards.
  bool Connect();

  /// Presses Synchronize and waits for the closing line.
  bool SynchronizeAndWait();

  /// Waits for a text in the view.
  bool WaitForView(const std::string& text);

  /// The settings under which a line is its data and a line end.
  void DataOnly();

  /// What then is delivered for these records.
  static std::vector<std::string> DataLines(const std::vector<ScanRecord>& records);

  /// The file that the last run has written.
  std::string SyncFile() const;

  std::vector<std::unique_ptr<Simulator>> scanners;
};

std::string Join(const std::vector<std::string>& lines);

}  // namespace quillet::test
