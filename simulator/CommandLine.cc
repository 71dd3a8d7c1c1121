#include "simulator/CommandLine.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <system_error>
#include <utility>

#include "simulator/DecimalNumber.h"
#include "simulator/Fault.h"
#include "simulator/InputError.h"
#include "simulator/RecordCsv.h"
#include "simulator/RecordGenerator.h"

namespace quillet::simulator {
namespace {

constexpr std::size_t kUsualRecords = 130;
constexpr std::uint64_t kMostRecords = 10'000'000;

/// What the arguments say before any of it is carried out: the records depend on the model, which
/// may be named behind them.
struct Wishes {
  CommandLine result;
  std::optional<std::uint64_t> believable;
  std::uint64_t extreme = 0;
  std::uint64_t random_state = 1;
  std::string csv_file;
  std::string faults_file;
};

std::uint64_t ReadNumber(const std::string& name, const std::string& text, std::uint64_t most) {
  std::uint64_t value = 0;
  const char* last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), last, value);
  if (error != std::errc{} || end != last || value > most) {
    throw UsageError(name + " takes a whole number up to " + std::to_string(most) + ", not \"" +
                     text + "\"");
  }
  return value;
}

void SetModel(Wishes& wishes, const std::string& text) {
  if (text != "old" && text != "300")
    throw UsageError("--model is old or 300, not \"" + text + "\"");
  wishes.result.options.device.model = text == "old" ? Model::kOlder : Model::kSeries300;
}

void SetSerial(Wishes& wishes, const std::string& text) {
  wishes.result.options.device.serial = text;
}

void SetFirmware(Wishes& wishes, const std::string& text) {
  wishes.result.options.device.firmware = text;
}

void SetAsset(Wishes& wishes, const std::string& text) {
  wishes.result.options.device.asset = text;
}

void SetTerminator(Wishes& wishes, const std::string& text) {
  if (text != "@" && text != "!") throw UsageError("--terminator is @ or !, not \"" + text + "\"");
  wishes.result.options.device.terminator = text.front();
}

void SetRecords(Wishes& wishes, const std::string& text) {
  wishes.believable = ReadNumber("--records", text, kMostRecords);
}

void SetExtreme(Wishes& wishes, const std::string& text) {
  wishes.extreme = ReadNumber("--extreme", text, kMostRecords);
}

void SetCsv(Wishes& wishes, const std::string& text) {
  wishes.csv_file = text;
}

void SetRandom(Wishes& wishes, const std::string& text) {
  wishes.random_state = ReadNumber("--random", text, UINT64_MAX);
}

void SetSpeed(Wishes& wishes, const std::string& text) {
  constexpr std::uint64_t kFastest = 1'000'000'000;
  std::uint64_t& speed = wishes.result.options.speed;
  speed = text == "unlimited" ? 0 : ReadNumber("--speed", text, kFastest);
  if (speed == 0 && text != "unlimited") throw UsageError("--speed is at least 1, or unlimited");
}

void SetLatency(Wishes& wishes, const std::string& text) {
  const auto milliseconds = ReadDecimalNumber(text);
  if (!milliseconds || *milliseconds > 1e9) {
    throw UsageError("--latency takes a number of milliseconds, not \"" + text + "\"");
  }
  wishes.result.options.latency = std::chrono::nanoseconds{std::llround(*milliseconds * 1e6)};
}

void SetLink(Wishes& wishes, const std::string& text) {
  wishes.result.options.link_path = text;
}

void SetDevice(Wishes& wishes, const std::string& text) {
  wishes.result.options.device_node = text;
}

void SetFaults(Wishes& wishes, const std::string& text) {
  wishes.faults_file = text;
}

void SetTranscript(Wishes& wishes, const std::string& text) {
  wishes.result.options.transcript_file = text;
}

struct Argument {
  std::string_view name;
  void (*set)(Wishes&, const std::string&);
};

constexpr std::array kArguments = std::to_array<Argument>({
    {"--model", SetModel},
    {"--serial", SetSerial},
    {"--firmware", SetFirmware},
    {"--asset", SetAsset},
    {"--terminator", SetTerminator},
    {"--records", SetRecords},
    {"--extreme", SetExtreme},
    {"--csv", SetCsv},
    {"--random", SetRandom},
    {"--speed", SetSpeed},
    {"--latency", SetLatency},
    {"--link", SetLink},
    {"--device", SetDevice},
    {"--faults", SetFaults},
    {"--transcript", SetTranscript},
});

std::string ReadFile(const std::string& path) {
  // A folder would open, and only its reading fail.
  if (std::filesystem::is_directory(path)) {
    throw std::system_error(EISDIR, std::generic_category(), path);
  }
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::system_error(errno, std::generic_category(), path);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Reads a file with `parse`, and puts its name in front of what is wrong with it.
template <typename Parse>
auto ReadFileWith(const std::string& path, Parse parse) {
  const std::string text = ReadFile(path);
  try {
    return parse(text);
  } catch (const InputError& error) {
    throw std::runtime_error(path + ", " + error.what());
  }
}

void ReadArgument(const std::string& name, const std::optional<std::string>& value,
                  Wishes& wishes) {
  if (name == "--cooked") {
    if (value) throw UsageError("--cooked takes no value");
    wishes.result.options.terminal_mode = TerminalMode::kCooked;
    return;
  }
  const auto* argument = std::find_if(kArguments.begin(), kArguments.end(),
                                      [&](const Argument& each) { return each.name == name; });
  if (argument == kArguments.end()) throw UsageError("unknown argument \"" + name + "\"");
  if (!value) throw UsageError(name + " needs a value");
  argument->set(wishes, *value);
}

bool IsKnownWithValue(const std::string& name) {
  return std::any_of(kArguments.begin(), kArguments.end(),
                     [&](const Argument& each) { return each.name == name; });
}

Wishes ReadArguments(const std::vector<std::string>& arguments) {
  Wishes wishes;
  for (std::size_t at = 0; at < arguments.size(); ++at) {
    const std::string& argument = arguments[at];
    if (argument == "--help" || argument == "-h") {
      wishes.result.help = true;
      return wishes;
    }
    const std::size_t equals = argument.find('=');
    const std::string name = argument.substr(0, equals);
    std::optional<std::string> value;
    if (equals != std::string::npos) {
      value = argument.substr(equals + 1);
    } else if (IsKnownWithValue(name) && at + 1 < arguments.size()) {
      at += 1;
      value = arguments[at];
    }
    ReadArgument(name, value, wishes);
  }
  return wishes;
}

std::vector<ScanRecord> MakeRecords(const Wishes& wishes) {
  const Model model = wishes.result.options.device.model;
  std::vector<ScanRecord> records;
  const auto add = [&](std::vector<ScanRecord> more) {
    std::move(more.begin(), more.end(), std::back_inserter(records));
  };
  if (!wishes.csv_file.empty()) {
    add(ReadFileWith(wishes.csv_file,
                     [&](const std::string& text) { return ParseRecords(text, model); }));
  }
  const bool other_source = !wishes.csv_file.empty() || wishes.extreme > 0;
  const std::size_t believable = wishes.believable.value_or(other_source ? 0 : kUsualRecords);
  add(StockTaking(believable, model, wishes.random_state));
  add(ExtremeRecords(wishes.extreme, model, wishes.random_state));
  return records;
}

}  // namespace

CommandLine ReadCommandLine(const std::vector<std::string>& arguments) {
  Wishes wishes = ReadArguments(arguments);
  if (wishes.result.help) return wishes.result;
  Options& options = wishes.result.options;
  if (!options.device_node.empty() && !options.link_path.empty()) {
    throw UsageError("--device and --link exclude each other: the device has its path");
  }
  options.device.records = MakeRecords(wishes);
  if (!wishes.faults_file.empty()) {
    options.faults =
        ReadFileWith(wishes.faults_file, [](const std::string& text) { return ParseFaults(text); });
  }
  options.transcript_limit = 0;  // nobody asks for it here; the file has it
  return wishes.result;
}

}  // namespace quillet::simulator
