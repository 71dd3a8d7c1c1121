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

/// The arguments before the records are created: these depend on the model, which may follow them.
struct Wishes {
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
  void (*set)(Wishes&, const std::string&);
};

std::uint64_t NumberUpTo(std::uint64_t most, const char* name, const std::string& text) {
  const auto value = ReadNumber(text);
  if (!value || *value > most) {
    throw UsageError(std::string(name) + " takes a whole number up to " + std::to_string(most) +
                     ", not \"" + text + "\"");
  }
  return *value;
}

void SetModel(Wishes& wishes, const std::string& text) {
  if (text != "old" && text != "300")
    throw UsageError("--model is old or 300, not \"" + text + "\"");
  wishes.options.device.model = text == "old" ? Model::kOlder : Model::kSeries300;
}

void SetTerminator(Wishes& wishes, const std::string& text) {
  if (text != "@" && text != "!") throw UsageError("--terminator is @ or !, not \"" + text + "\"");
  wishes.options.device.terminator = text.front();
}

void SetSpeed(Wishes& wishes, const std::string& text) {
  const bool unlimited = text == "unlimited";
  wishes.options.speed = unlimited ? 0 : NumberUpTo(kFastest, "--speed", text);
  if (wishes.options.speed == 0 && !unlimited) {
    throw UsageError("--speed is at least 1, or unlimited");
  }
}

void SetLatency(Wishes& wishes, const std::string& text) {
  const auto latency = ReadDuration(text, std::chrono::milliseconds(1));
  if (!latency) throw UsageError("--latency takes a number of milliseconds, not \"" + text + "\"");
  wishes.options.latency = *latency;
}

using Text = const std::string&;

constexpr std::array kArguments = std::to_array<Argument>({
    {"--model", SetModel},
    {"--serial", [](Wishes& w, Text text) { w.options.device.serial = text; }},
    {"--firmware", [](Wishes& w, Text text) { w.options.device.firmware = text; }},
    {"--asset", [](Wishes& w, Text text) { w.options.device.asset = text; }},
    {"--terminator", SetTerminator},
    {"--records",
     [](Wishes& w, Text text) { w.stockTaking = NumberUpTo(kMostRecords, "--records", text); }},
    {"--extreme",
     [](Wishes& w, Text text) { w.extreme = NumberUpTo(kMostRecords, "--extreme", text); }},
    {"--csv", [](Wishes& w, Text text) { w.csvFile = text; }},
    {"--random",
     [](Wishes& w, Text text) { w.randomState = NumberUpTo(UINT64_MAX, "--random", text); }},
    {"--speed", SetSpeed},
    {"--latency", SetLatency},
    {"--link", [](Wishes& w, Text text) { w.options.linkPath = text; }},
    {"--device", [](Wishes& w, Text text) { w.options.deviceNode = text; }},
    {"--faults", [](Wishes& w, Text text) { w.faultsFile = text; }},
    {"--transcript", [](Wishes& w, Text text) { w.options.transcriptFile = text; }},
});

/// Reads a file with `parse`, which may throw InputError.
template <typename Parse>
auto ReadFileWith(const std::string& path, Parse parse) {
  // A folder can be opened, only reading it fails.
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

Wishes ReadArguments(const std::vector<std::string>& arguments) {
  Wishes wishes;
  for (std::size_t at = 0; at < arguments.size(); ++at) {
    const std::size_t equals = arguments[at].find('=');
    const std::string name = arguments[at].substr(0, equals);
    const bool hasValue = equals != std::string::npos;
    if (arguments[at] == "--help" || arguments[at] == "-h") {
      wishes.help = true;
      return wishes;
    }
    if (name == "--cooked") {
      if (hasValue) throw UsageError("--cooked takes no value");
      wishes.options.terminalMode = TerminalMode::kCooked;
      continue;
    }
    const auto* argument = FindByName(kArguments, name);
    if (argument == nullptr) throw UsageError("unknown argument \"" + name + "\"");
    if (!hasValue && at + 1 == arguments.size()) throw UsageError(name + " needs a value");
    argument->set(wishes, hasValue ? arguments[at].substr(equals + 1) : arguments[++at]);
  }
  return wishes;
}

std::vector<ScanRecord> CreateRecords(const Wishes& wishes) {
  const Model model = wishes.options.device.model;
  std::vector<ScanRecord> records;
  const auto add = [&](std::vector<ScanRecord> more) {
    std::move(more.begin(), more.end(), std::back_inserter(records));
  };
  if (!wishes.csvFile.empty()) {
    add(ReadFileWith(wishes.csvFile,
                     [&](const std::string& text) { return ParseRecords(text, model); }));
  }
  const bool otherSource = !wishes.csvFile.empty() || wishes.extreme > 0;
  const std::size_t stockTaking = wishes.stockTaking.value_or(otherSource ? 0 : kDefaultRecords);
  add(StockTaking(stockTaking, model, wishes.randomState));
  add(ExtremeRecords(wishes.extreme, model, wishes.randomState));
  return records;
}

}  // namespace

CommandLine ReadCommandLine(const std::vector<std::string>& arguments) {
  const Wishes wishes = ReadArguments(arguments);
  if (wishes.help) return {true, {}};
  Options options = wishes.options;
  if (!options.deviceNode.empty() && !options.linkPath.empty()) {
    throw UsageError("--device and --link exclude each other: the device has its path");
  }
  options.device.records = CreateRecords(wishes);
  if (!wishes.faultsFile.empty()) {
    options.faults =
        ReadFileWith(wishes.faultsFile, [](const std::string& text) { return ParseFaults(text); });
  }
  options.keepTranscript = false;  // the file is enough
  return {false, std::move(options)};
}

}  // namespace quillet::simulator
