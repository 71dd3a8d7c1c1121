// Everything that a scanner can send while the program waits for any command or none.
//
// After the settings, an input is a row of steps. The two low bits of a step's first byte are its
// kind, the others its argument:
//   0  a command is sent; the argument is its place in kCommands
//   1  as many bytes arrive as the argument says; they follow
//   2  the same in units of 256 bytes
//   3  the end of a plain answer arrives

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
