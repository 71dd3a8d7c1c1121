// Everything that a scanner can send while the program waits for whatever it may wait for. Behind
// the settings an input is a script: what is waited for, and bytes that arrive.

#include "tests/fuzz/FuzzedSession.h"
#include "tests/fuzz/Script.h"

namespace quillet::fuzz {
namespace {

void Run(Input& input) {
  FuzzedSession& session = FuzzedSession::AsNew();
  TakeSettings(input, session.lumet);
  while (!input.IsEmpty()) {
    const std::uint8_t first = input.Byte();
    const std::size_t argument = first / kSteps;
    switch (static_cast<Step>(first % kSteps)) {
      case Step::kAwait:
        session.Await(kCommands[argument % kCommands.size()]);
        break;
      case Step::kFeed:
        session.Feed(input.Bytes(argument));
        break;
      case Step::kFeedMuch:
        session.Feed(input.Bytes(argument * kMuch));
        break;
      case Step::kGiveUp:
        session.lumet.bCommandDone = 1;
        break;
    }
  }
}

}  // namespace
}  // namespace quillet::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quillet::fuzz::Input input(data, size);
  quillet::fuzz::Run(input);
  return 0;
}
