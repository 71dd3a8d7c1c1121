#include "output/LumetFile.h"
#include "platform/posix/ProcessExit.h"
#include "program/Desktop.h"
#include "program/Program.h"

int main(int, char** argv) {
  using namespace quillet;
  platform::posix::EnsureStandardDescriptors();
  // Static, so that LeakSanitizer sees it as reachable.
  static auto* const program =
      new Program(argv[0], {.data = kDataFolder, .archive = ArchiveFolderOfUser()});
  program->Run(SerialRegistryOfSystem());
}
