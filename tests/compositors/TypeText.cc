// Types a file into the program that has focus: type_text FILE [--pace US] [--permission S]
//
// Uses Quillet's typing classes and prints their log. If an input method may change the text,
// prints the method's name. The last line begins with "posted", "untypable" or "refused". Keeps
// running until standard input is closed, because a compositor may drop the events of a program
// that has exited.

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "base/SystemLog.h"
#include "output/KeyTables.h"
#include "platform/linux/DesktopSession.h"
#include "platform/posix/PosixClock.h"
#include "platform/posix/PosixFileStore.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using platform::KeyEvent;
using platform::KeyFlag;

struct Options {
  std::chrono::microseconds pace{};      // pause after each character
  std::chrono::seconds permission = 0s;  // time to wait for the user's permission
};

class OutputLog final : public SystemLog {
 public:
  void Write(std::string_view line) override { std::cout << line << std::endl; }
};

bool Read(int count, char** arguments, Options& options) {
  if (count < 2) return false;
  for (int i = 2; i < count; i += 2) {
    const std::string_view name = arguments[i];
    if (i + 1 == count) return false;
    const int value = std::atoi(arguments[i + 1]);
    if (name == "--pace") {
      options.pace = std::chrono::microseconds(value);
    } else if (name == "--permission") {
      options.permission = std::chrono::seconds(value);
    } else {
      return false;
    }
  }
  return true;
}

void AddKey(std::vector<KeyEvent>& events, char character) {
  const KeyValue key = KeyForCharacter(static_cast<unsigned char>(character));
  if (key == kNoKey) return;
  const std::uint16_t virtualKey = key & kKeyCodeMask;
  const KeyFlag flag = key & kShiftBit ? KeyFlag::kShift : KeyFlag::kNone;
  events.push_back({virtualKey, true, flag, character});
  events.push_back({virtualKey, false, KeyFlag::kNone, character});
}

/// Posts each line in a single call, like Quillet, or each character separately if `pace` is not 0.
void Post(platform::KeyEvents& keys, platform::Clock& clock, std::chrono::microseconds pace,
          std::string_view text) {
  std::vector<KeyEvent> events;
  for (const char character : text) {
    AddKey(events, character);
    if (character != '\n' && pace == 0us) continue;
    keys.Post(events);
    if (!keys.Problem().empty()) return;
    events.clear();
    clock.Sleep(pace);
  }
  keys.Post(events);
}

/// Types `text`. Returns the line that reports the result.
std::string Type(platform::KeyEvents& events, platform::Clock& clock, const Options& options,
                 std::string_view text) {
  events.Prepare();
  for (const auto end = clock.Now() + options.permission;
       !events.Problem().empty() && clock.Now() < end;) {
    clock.Sleep(50ms);
  }
  if (const std::string untypable = events.Untypable(text); !untypable.empty()) {
    return "untypable: " + untypable;
  }
  if (const std::string method = events.InputMethod(); !method.empty()) {
    std::cout << "input method: " << method << std::endl;
  }
  const auto start = clock.Now();
  Post(events, clock, options.pace, text);
  const std::chrono::duration<double> taken = clock.Now() - start;
  if (const std::string problem = events.Problem(); !problem.empty()) {
    return "refused: " + problem;
  }
  return "posted " + std::to_string(text.size()) + " characters in " +
         std::to_string(taken.count()) + " s";
}

}  // namespace
}  // namespace quillet

int main(int count, char** arguments) {
  quillet::Options options;
  if (!quillet::Read(count, arguments, options)) {
    std::cerr << "usage: type_text FILE [--pace US] [--permission S]\n";
    return 1;
  }
  std::ifstream file(arguments[1], std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  quillet::OutputLog log;
  quillet::platform::posix::PosixClock clock;
  quillet::platform::posix::PosixFileStore files;
  const auto keys =
      quillet::platform::linux_desktop::MakeKeysOfSession(std::getenv, log, clock, files, nullptr);
  std::cout << quillet::Type(*keys.events, clock, options, text) << std::endl;
  std::cin.ignore(std::numeric_limits<std::streamsize>::max());
  return 0;
}
