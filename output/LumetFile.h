#pragma once

#include <span>
#include <string>
#include <string_view>

#include "base/SystemLog.h"
#include "device/ByteField.h"
#include "platform/Clock.h"
#include "platform/FileStore.h"

namespace quillet {

/// Where every user of the computer finds the data.
inline constexpr char kDataFolder[] = "/Users/Shared/QuilletData";

/// In the configured path of the output file this stands for a name made anew for each run.
inline constexpr char kPlaceholder[] = "/sn_timestamp.txt";

/// Everything that touches the disk. It keeps nothing between calls, so a call of the main thread,
/// to save the settings, may run beside one of the read thread at the end of a run.
class LumetFile {
 public:
  /// @param log         outlives this object, as do `clock` and `files`
  /// @param clock       tells the time for names
  /// @param files       does what is done on the disk
  /// @param dataFolder  absolute path of the folder for the settings file and, as a rule, the
  ///                    output files
  LumetFile(SystemLog& log, platform::Clock& clock, platform::FileStore& files,
            std::string dataFolder = kDataFolder);

  /// The folder's absolute path.
  const std::string& dataFolder() const { return dataFolder_; }

  /// Creates the data folder with the folders above it; a failure is only logged.
  void CreateBarcodeDirectory();

  /// Writes a text file as a whole, in UTF-8. The outcome is only logged.
  /// @param path    absolute path of the file
  /// @param data    UTF-8 text
  /// @param spare   never consulted
  /// @param append  keep the text that the file already holds in front of `data`
  void WriteDataToFile(const std::string& path, std::string_view data, bool spare, bool append);

  /// Reads the settings file into a buffer as UTF-8 with a NUL behind it.
  /// @param dest      receives as much as fits
  /// @param registry  must be true: no other file is read through here
  /// @return false, with `dest` untouched, when there was nothing to read.
  bool ReadDataFromFile(std::span<char> dest, bool registry);

  /// The name for an output file written now: the shown part of the serial number, "_", the local
  /// date and time, ".txt".
  std::string GetSyncFileName(const SerialNumberField& serial);

  /// Reads the settings file; as ReadDataFromFile.
  bool ReadRegistry(std::span<char> dest);

  /// Replaces the settings file by the buffer's text up to its first NUL.
  void SaveRegistry(std::span<const char> src);

 private:
  std::string RegistryPath() const;

  SystemLog& log_;
  platform::Clock& clock_;
  platform::FileStore& files_;
  const std::string dataFolder_;
};

/// The path that a run writes: every placeholder in the configured path gives way to the result of
/// `name`, which is asked only if there is one. The placeholder's slash goes with it, on purpose:
/// the file then stands beside the folder, its name beginning with the folder's.
template <class Name>
std::string ResolveSyncFileName(const std::string& configured, Name&& name) {
  constexpr std::string_view placeholder = kPlaceholder;
  std::size_t found = configured.find(placeholder);
  if (found == std::string::npos) return configured;
  const std::string replacement = name();
  std::string path;
  std::size_t copied = 0;
  for (; found != std::string::npos; found = configured.find(placeholder, copied)) {
    path.append(configured, copied, found - copied).append(replacement);
    copied = found + placeholder.size();
  }
  return path.append(configured, copied);
}

}  // namespace quillet
