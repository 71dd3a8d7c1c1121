// Fuzzes the reader of the settings file. Input: the contents of the file.

#include "output/LumetFile.h"
#include "output/SettingsImage.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/fuzz/MemoryFiles.h"
#include "tests/support/NoClock.h"

namespace quillet::fuzz {

void Run(Input& input) {
  const auto bytes = input.Rest();
  StrictLog log;
  test::NoClock clock;
  MemoryFiles disk;
  disk.CreateFolder(kDataFolder);
  disk.Replace(std::string(kDataFolder) + "/QuilletRegistry.txt",
               {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  LumetFile files(log, clock, disk);
  SettingsImage image{};
  Require(files.ReadRegistry(image).wasRead, "the settings file can be read");
  Settings settings;
  ReadChoices(image, settings);
  for (const std::size_t position : {kApplicationNamePosition, kFileNamePosition}) {
    const std::string name = ReadName(image, position);
    Require(name.size() <= kLongestName, "names are at most kLongestName bytes");
    SettingsImage written = image;
    WriteName(written, position, name);
    Require(ReadName(written, position) == name, "names are unchanged after writing");
  }
  WriteChoices(settings, image);
  Settings again;
  ReadChoices(image, again);
  Require(again.destination == settings.destination && again.dataorder == settings.dataorder &&
              again.sn_position == settings.sn_position &&
              again.datadelimiter == settings.datadelimiter &&
              again.recorddelimiter == settings.recorddelimiter,
          "numbers are unchanged after writing");
  files.SaveRegistry(image);
}

}  // namespace quillet::fuzz
