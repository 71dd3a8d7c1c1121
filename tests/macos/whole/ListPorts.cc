// Prints a line for each serial device of the system: name, tab, path.

#include <array>
#include <cstdio>
#include <string>

#include "program/Desktop.h"

int main() {
  std::array<std::string, 32> names;
  std::array<std::string, 32> paths;
  const auto count =
      static_cast<std::size_t>(quillet::SerialRegistryOfSystem().ReadSerialStreams(names, paths));
  for (std::size_t i = 0; i < count; ++i) {
    std::printf("%s\t%s\n", names[i].c_str(), paths[i].c_str());
  }
}
