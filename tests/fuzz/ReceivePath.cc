// Fuzzes the receive path with arbitrary bytes from the scanner, with and without a pending
// command.
//
// Input: the settings, then steps. In the first byte of a step, bits 0-1 are the type and bits 2-7
// are the argument N:
//   0  the program sends command N of kCommands
//   1  the next N bytes arrive
//   2  the next N * 256 bytes arrive
//   3  the terminator of a plain answer arrives

#include <array>
#include <memory>

#include "tests/fuzz/FuzzedSession.h"

namespace quillet::fuzz {

constexpr std::string_view kCommands = "012ACEMNPVWbpqw";

void Run(Input& input) {
  const auto session = std::make_unique<FuzzedSession>();
  TakeSettings(input, session->lumet);
  while (!input.IsEmpty()) {
    const std::uint8_t first = input.Byte();
    const std::size_t argument = first / 4;
    switch (first % 4) {
      case 0:
        session->Send(kCommands[argument % kCommands.size()]);
        break;
      case 1:
        session->Feed(input.Bytes(argument));
        break;
      case 2:
        session->Feed(input.Bytes(argument * 256));
        break;
      default:
        session->Feed(std::array{std::uint8_t{'@'}});
    }
  }
}

}  // namespace quillet::fuzz
