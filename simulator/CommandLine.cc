#include "simulator/CommandLine.h"

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <system_error>
#include <utility>

#include "simulator/Input.h"
#include "simulator/RecordGenerator.h"

namespace quillet::simulator {
namespace {

constexpr std::size_t kDefaultRecords = 130;
constexpr std::uint64_t kMostRecords = 10'000'000;
constexpr std::uint64_t kFastest = 1'000'000'000;

/// The parsed arguments. The records are created later, because they depend on the model.
struct Parsed {
  bool help = false;
  Options options;
  std::optional<std::uint64_t> stockTaking;
  std::uint64_t extreme = 0;
  std::uint64_t randomState = 1;
  std::string csvFile;
  std::string faultsFile;
};

struct Argument {
  std::string_view name;
  void (*set)(Parsed&, const std::string&);
};

std::uint64_t NumberUpTo(std::uint64_t most, const char* name, const std::string& text) {
  const auto value = ReadNumber(text);
  if (!value || *value > most) {
    throw UsageError(std::string(name) + " must be a whole number from 0 to " +
                     std::to_string(most) + ", not \"" + text + "\"");
  }
  return *value;
}

void SetModel(Parsed& parsed, const std::string& text) {
  if (text != "old" && text != "300")
    throw UsageError("--model must be old or 300, not \"" + text + "\"");
  parsed.options.device.model = text == "old" ? Model::kOlder : Model::kSeries300;
}

void SetTerminator(Parsed& parsed, const std::string& text) {
  if (text != "@" && text != "!")
    throw UsageError("--terminator must be @ or !, not \"" + text + "\"");
  parsed.options.device.terminator = text.front();
}

void SetSpeed(Parsed& parsed, const std::string& text) {
  const bool unlimited = text == "unlimited";
  parsed.options.speed = unlimited ? 0 : NumberUpTo(kFastest, "--speed", text);
  if (parsed.options.speed == 0 && !unlimited) {
    throw UsageError("--speed must be \"unlimited\" or at least 1");
  }
}

void SetLatency(Parsed& parsed, const std::string& text) {
  const auto latency = ReadDuration(text, std::chrono::milliseconds(1));
  if (!latency) {
    throw UsageError("--latency must be a number of milliseconds, not \"" + text + "\"");
  }
  parsed.options.latency = *latency;
}

using Text = const std::string&;

constexpr std::array kArguments = std::to_array<Argument>({
    {"--model", SetModel},
    {"--serial", [](Parsed& w, Text text) { w.options.device.serial = text; }},
    {"--firmware", [](Parsed& w, Text text) { w.options.device.firmware = text; }},
    {"--asset", [](Parsed& w, Text text) { w.options.device.asset = text; }},
    {"--terminator", SetTerminator},
    {"--records",
     [](Parsed& w, Text text) { w.stockTaking = NumberUpTo(kMostRecords, "--records", text); }},
    {"--extreme",
     [](Parsed& w, Text text) { w.extreme = NumberUpTo(kMostRecords, "--extreme", text); }},
    {"--csv", [](Parsed& w, Text text) { w.csvFile = text; }},
    {"--random",
     [](Parsed& w, Text text) { w.randomState = NumberUpTo(UINT64_MAX, "--random", text); }},
    {"--speed", SetSpeed},
    {"--latency", SetLatency},
    {"--link", [](Parsed& w, Text text) { w.options.linkPath = text; }},
    {"--device", [](Parsed& w, Text text) { w.options.deviceNode = text; }},
    {"--faults", [](Parsed& w, Text text) { w.faultsFile = text; }},
    {"--transcript", [](Parsed& w, Text text) { w.options.transcriptFile = text; }},
});

/// Reads and parses a file. If `parse` throws InputError, adds the file's path to the message.
template <typename Parse>
auto ReadFileWith(const std::string& path, Parse parse) {
  // A folder can be opened but not read.
  if (std::filesystem::is_directory(path)) {
    throw std::system_error(EISDIR, std::generic_category(), path);
  }
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::system_error(errno, std::generic_category(), path);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  try {
    return parse(text);
  } catch (const InputError& error) {
    throw std::runtime_error(path + ", " + error.what());
  }
}

Parsed ReadArguments(const std::vector<std::string>& arguments) {
  Parsed parsed;
  for (std::size_t at = 0; at < arguments.size(); ++at) {
    const std::size_t equals = arguments[at].find('=');
    const std::string name = arguments[at].substr(0, equals);
    const bool hasValue = equals != std::string::npos;
    if (arguments[at] == "--help" || arguments[at] == "-h") {
      parsed.help = true;
      return parsed;
    }
    if (name == "--cooked") {
      if (hasValue) throw UsageError("--cooked does not take a value");
      parsed.options.terminalMode = TerminalMode::kCooked;
      continue;
    }
    const auto* argument = FindByName(kArguments, name);
    if (argument == nullptr) throw UsageError("unknown argument \"" + name + "\"");
    if (!hasValue && at + 1 == arguments.size()) throw UsageError(name + " requires a value");
    argument->set(parsed, hasValue ? arguments[at].substr(equals + 1) : arguments[++at]);
  }
  return parsed;
}

std::vector<ScanRecord> CreateRecords(const Parsed& parsed) {
  const Model model = parsed.options.device.model;
  std::vector<ScanRecord> records;
  const auto add = [&](std::vector<ScanRecord> more) {
    std::move(more.begin(), more.end(), std::back_inserter(records));
  };
  if (!parsed.csvFile.empty()) {
    add(ReadFileWith(parsed.csvFile,
                     [&](const std::string& text) { return ParseRecords(text, model); }));
  }
  const bool otherSource = !parsed.csvFile.empty() || parsed.extreme > 0;
  const std::size_t stockTaking = parsed.stockTaking.value_or(otherSource ? 0 : kDefaultRecords);
  add(StockTaking(stockTaking, model, parsed.randomState));
  add(ExtremeRecords(parsed.extreme, model, parsed.randomState));
  return records;
}

}  // namespace

CommandLine ReadCommandLine(const std::vector<std::string>& arguments) {
  const Parsed parsed = ReadArguments(arguments);
  if (parsed.help) return {true, {}};
  Options options = parsed.options;
  if (!options.deviceNode.empty() && !options.linkPath.empty()) {
    throw UsageError("--device and --link cannot be combined");
  }
  options.device.records = CreateRecords(parsed);
  if (!parsed.faultsFile.empty()) {
    options.faults =
        ReadFileWith(parsed.faultsFile, [](const std::string& text) { return ParseFaults(text); });
  }
  options.keepTranscript = false;
  return {false, std::move(options)};
}

}  // namespace quillet::simulator
