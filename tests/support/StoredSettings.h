#pragma once

#include <filesystem>
#include <string>

#include "device/Settings.h"
#include "output/LumetFile.h"
#include "output/SettingsImage.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet::test {

/// Settings that a test chooses.
struct Choice {
  int destination = 0;
  std::string path = {};  ///< path of the file or application; empty: default file
  bool syncclock = false, clearmemory = false, burstsync = true, autosync = false;
  bool appenddata = false, nonenglish = false;
};

/// Writes `choice` to a settings file. The line format is a record's data followed by CR LF.
/// @param folder  the program's data folder, which must not exist
inline void WriteSettingsFile(const Choice& choice, const std::string& folder) {
  Settings chosen;
  chosen.destination = choice.destination;
  chosen.bSyncClock = choice.syncclock;
  chosen.bClearMemory = choice.clearmemory;
  chosen.bBurstSync = choice.burstsync;
  chosen.bAutoSync = choice.autosync;
  chosen.bAppendData = choice.appenddata;
  chosen.bNonEnglish = choice.nonenglish;
  SettingsImage image;
  image.fill('0');
  WriteChoices(chosen, image);
  for (const auto position : {kApplicationNamePosition, kFileNamePosition}) {
    WriteName(image, position, choice.path.empty() ? folder + kPlaceholder : choice.path);
  }
  std::filesystem::create_directory(folder);
  PutFile(folder + "/QuilletRegistry.txt", {image.data(), image.size()});
}

}  // namespace quillet::test
