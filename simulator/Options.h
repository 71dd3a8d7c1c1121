#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "simulator/Endpoint.h"
#include "simulator/Fault.h"
#include "simulator/TavoDevice.h"
#include "simulator/Transcript.h"

namespace quillet::simulator {

/// Everything that can be chosen about a simulated scanner. Each default is what a real one does.
struct Options {
  /// The scanner: model, identity, stored records, clock.
  DeviceSettings device;

  /// Bit/s on the line, ten per byte; 0: the line takes no time.
  std::uint64_t speed = 115200;
  /// From the last byte of a command to the first of its answer.
  std::chrono::nanoseconds latency = std::chrono::milliseconds(2);
  /// Answers are sent in pieces of so many bytes with the pause between them; 0: in one piece.
  std::size_t chunk_size = 0;
  std::chrono::nanoseconds chunk_pause{0};

  /// What goes wrong; see ParseFaults().
  std::vector<Fault> faults;

  /// A symbolic link that leads to the line while it is plugged in; "": none.
  std::string link_path;
  /// An existing terminal device to serve in place of a new pseudo-terminal; "": none.
  std::string device_node;
  /// How the computer's end of a new pseudo-terminal is set.
  TerminalMode terminal_mode = TerminalMode::kRaw;

  /// How many bytes of the transcript are kept in memory, and the file that gets all of it ("":
  /// none).
  std::size_t transcript_limit = Transcript::kUnlimited;
  std::string transcript_file;

  /// A scanner that answers without any delay over a line that takes no time, for tests that are
  /// not about time.
  static Options Instant(Model model = Model::kOlder) {
    Options options;
    options.device.model = model;
    options.speed = 0;
    options.latency = std::chrono::nanoseconds{0};
    return options;
  }
};

}  // namespace quillet::simulator
