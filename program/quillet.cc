#include <cstdio>
#include <cstdlib>
#include <string>
#include <system_error>

#include "output/LumetFile.h"
#include "platform/posix/ProcessExit.h"
#include "platform/posix/SingleInstance.h"
#include "program/Desktop.h"
#include "program/Program.h"

namespace {

// Returns the path of the file with the confirmed settings, next to the archive.
std::string ConfirmedSettingsOfUser() {
  const std::string archive = quillet::ArchiveFolderOfUser();
  return archive.empty() ? archive : archive.substr(0, archive.rfind('/')) + "/confirmed-settings";
}

}  // namespace

int main(int, char** argv) try {
  using namespace quillet;
  platform::posix::EnsureStandardDescriptors();
  // Both objects are static, so that LeakSanitizer sees them as reachable.
  static auto* const instance = new platform::posix::SingleInstance(DisplayOfSession());
  if (!instance->Begin(ActivationToken())) return EXIT_SUCCESS;
  static auto* const program = new Program(argv, {.data = kDataFolder,
                                                  .archive = ArchiveFolderOfUser(),
                                                  .guide = UserGuide(),
                                                  .confirmed = ConfirmedSettingsOfUser()});
  program->Run(SerialRegistryOfSystem(), instance);
} catch (const std::system_error& error) {
  std::fprintf(stderr, "quillet: %s\n", error.what());
  return EXIT_FAILURE;
}
