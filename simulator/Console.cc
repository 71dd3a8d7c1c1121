#include "simulator/Console.h"

#include <algorithm>
#include <array>
#include <exception>
#include <vector>

#include "simulator/Symbologies.h"

namespace quillet::simulator {
namespace {

struct Context {
  Simulator& simulator;
  Model model;
};

/// The word in front of the text's first blank; the text becomes what follows.
std::string TakeWord(std::string_view& text) {
  const std::size_t end = std::min(text.find(' '), text.size());
  std::string word(text.substr(0, end));
  text.remove_prefix(std::min(end + 1, text.size()));
  return word;
}

std::string ListOf(std::string_view name, const std::vector<std::string>& lines) {
  std::string text = std::string(name) + " " + std::to_string(lines.size());
  for (const std::string& line : lines) text += "\n  " + line;
  return text;
}

std::string DoScan(Context context, std::string_view text) {
  const std::uint8_t symbology = ParseSymbologyByte(context.model, TakeWord(text));
  const Bytes data = Unescape(text);
  context.simulator.Scan(symbology, std::string(data.begin(), data.end()));
  return "ok";
}

std::string DoUnplug(Context context, std::string_view) {
  context.simulator.Unplug();
  return "ok";
}

std::string DoPlug(Context context, std::string_view) {
  context.simulator.Plug();
  return "ready " + context.simulator.path();
}

std::string DoRecords(Context context, std::string_view) {
  return "records " + std::to_string(context.simulator.records().size());
}

std::string DoCommands(Context context, std::string_view) {
  return ListOf("commands", context.simulator.commands_seen());
}

std::string DoComplaints(Context context, std::string_view) {
  return ListOf("complaints", context.simulator.complaints());
}

std::string DoFault(Context context, std::string_view text) {
  context.simulator.AddFault(text);
  return "ok";
}

std::string DoHelp(Context, std::string_view) {
  return std::string(ConsoleHelp());
}

struct Action {
  std::string_view name;
  std::string (*run)(Context, std::string_view);
};

constexpr std::array kActions = std::to_array<Action>({
    {"scan", DoScan},
    {"unplug", DoUnplug},
    {"plug", DoPlug},
    {"records", DoRecords},
    {"commands", DoCommands},
    {"complaints", DoComplaints},
    {"fault", DoFault},
    {"help", DoHelp},
});

}  // namespace

ConsoleReply RunConsoleLine(std::string_view line, Simulator& simulator, Model model) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
  if (line.empty()) return {};
  const std::string name = TakeWord(line);
  if (name == "quit") return {"", true};
  const auto* action = std::find_if(kActions.begin(), kActions.end(),
                                    [&](const Action& each) { return each.name == name; });
  if (action == kActions.end()) {
    return {"error: nothing is called \"" + name + "\"; try help", false};
  }
  try {
    return {action->run({simulator, model}, line), false};
  } catch (const std::exception& error) {
    return {std::string("error: ") + error.what(), false};
  }
}

std::string_view ConsoleHelp() {
  return R"(While it runs it reads lines from standard input, and answers each with one on standard output
("ok", or what was asked, or "error: ..."):
  scan SYMBOLOGY DATA      somebody scans a barcode: its frame is sent, and it is stored.
                           SYMBOLOGY as in a table (names without blanks), DATA to the end of
                           the line, with \xNN, \r, \n, \t, \\
  unplug                   the cable is pulled
  plug                     it is put in again; the answer is "ready PATH"
  records                  how many records are stored
  commands                 what the computer has sent so far, one command per line
  complaints               what it has sent that is no valid command
  fault RULE               arms one more rule of a fault script, counted from now
  quit                     ends the program
)";
}

}  // namespace quillet::simulator
