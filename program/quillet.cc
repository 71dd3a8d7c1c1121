#include "output/LumetFile.h"
#include "platform/posix/ProcessExit.h"
#include "program/Program.h"

int main(int, char** argv) {
  using namespace quillet;
  platform::posix::EnsureStandardDescriptors();
  // Static, so that the memory that is never given back can be seen to be in use.
  static auto* const program = new Program(argv[0], kDataFolder);
  program->Run(SerialRegistryOfSystem());
}
