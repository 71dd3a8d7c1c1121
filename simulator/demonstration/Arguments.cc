#include "simulator/demonstration/Arguments.h"

#include <cstdlib>
#include <filesystem>

namespace quillet::simulator {
namespace {

constexpr int kRecords = 130;

std::string DefaultFolder() {
  const char* home = std::getenv("HOME");
  return std::string(home != nullptr && *home != '\0' ? home : "/tmp") + "/Quillet demonstration";
}

}  // namespace

Arguments ReadArguments(const std::vector<std::string>& arguments) {
  Arguments read;
  read.folder = DefaultFolder();
  // A later --records, --csv or --extreme adds to or replaces this, as the simulator has it.
  std::vector<std::string> scanner;
  bool ownRecords = false;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (argument == "--help" || argument == "-h") {
      read.help = true;
    } else if (argument == "--unattended") {
      read.unattended = true;
    } else if (argument == "--no-burst") {
      read.burst = false;
    } else if (argument == "--auto-sync") {
      read.autoSync = true;
    } else if (argument == "--folder") {
      if (++i == arguments.size()) throw UsageError("--folder takes a folder");
      read.folder = std::filesystem::absolute(arguments[i]).lexically_normal().string();
    } else {
      for (const char* source : {"--records", "--extreme", "--csv"}) {
        ownRecords = ownRecords || argument.starts_with(source);
      }
      scanner.push_back(argument);
    }
  }
  if (!ownRecords) {
    scanner.push_back("--records");
    scanner.push_back(std::to_string(kRecords));
  }
  if (!read.help) read.scanner = ReadCommandLine(scanner);
  return read;
}

std::string DemonstrationHelp() {
  return "quillet-demo: Quillet with one simulated scanner attached\n"
         "\n"
         "  --no-burst     fetch the records one by one, not in one transfer\n"
         "  --auto-sync    synchronize as soon as the scanner is connected\n"
         "  --folder DIR   make the data folder in DIR (\"" +
         DefaultFolder() +
         "\")\n"
         "  --unattended   synchronize without anybody, check that every record arrived, save a\n"
         "                 picture of the window and end; 0 only if all is right\n"
         "\n"
         "Everything else is about the scanner, which holds 130 records when nothing is said:\n"
         "\n" +
         HelpText();
}

}  // namespace quillet::simulator
