#pragma once

#include <span>
#include <string>
#include <string_view>

#include "base/SystemLog.h"
#include "device/ByteField.h"
#include "platform/Clock.h"
#include "platform/FileStore.h"

namespace quillet {

/// The default data folder.
inline constexpr char kDataFolder[] = "/Users/Shared/QuilletData";

/// The part of the configured output path that each run replaces with a new file name.
inline constexpr char kPlaceholder[] = "/sn_timestamp.txt";

/// Result of LumetFile::ReadRegistry.
struct RegistryRead {
  bool wasRead = false;  ///< false: the buffer is unchanged
  /// The users who could have written the settings.
  platform::Custody custody = platform::Custody::kForeign;
  std::string owner = {};  ///< if kForeign, the other user's name; empty if unknown
  bool ownFile = false;    ///< true if the file belongs to the current user or root
  int error = 0;           ///< error that prevented reading (errno(3)), or 0
  explicit operator bool() const { return wasRead; }  ///< true if the file was read
};

/// Reads and writes the settings file and the output files. Has no mutable state, so the main
/// thread and the read thread may use it at the same time.
class LumetFile {
 public:
  /// @param log         must outlive this object, like `clock` and `files`
  /// @param clock       provides the time for file names
  /// @param files       reads and writes files
  /// @param dataFolder  absolute path of the folder for the settings file and new output files
  LumetFile(SystemLog& log, platform::Clock& clock, platform::FileStore& files,
            std::string dataFolder = kDataFolder);

  const std::string& dataFolder() const { return dataFolder_; }  ///< absolute path
  /// Absolute path of the settings file.
  std::string RegistryPath() const { return dataFolder_ + "/QuilletRegistry.txt"; }
  /// Name of the other user who owns the settings file, or "" if there is none.
  std::string SettingsOwner() { return files_.Owner(RegistryPath()); }

  void CreateBarcodeDirectory();  ///< creates the data folder and its parents; logs failures

  /// Replaces a text file and logs the result. The settings file is replaced only if it is a
  /// regular file. Text is appended only to a file that can be read.
  /// @param path    absolute path of the file
  /// @param data    the text in UTF-8
  /// @param spare   unused
  /// @param append  true: converts the existing text to UTF-8 and appends `data` to it
  /// @return see FileStore::Replace, ReplaceChecked and Update
  platform::Replaced WriteDataToFile(const std::string& path, std::string_view data, bool spare,
                                     bool append);

  /// Returns true if `path` refers to the settings file, directly or through a link. If a run wrote
  /// there, the records would replace the settings, and the next Save would replace the records.
  bool IsSettingsFile(const std::string& path);

  /// Returns true if a file, a folder or a link exists at `path`.
  bool Exists(const std::string& path) { return files_.Exists(path); }
  /// Returns true if each run replaces an existing file at the output path `path`.
  bool IsReplaced(const std::string& path);

  /// Deletes the temporary files of killed processes in the data folder and in the folder of the
  /// output path `path`. Returns the number of deleted files.
  std::size_t RemoveUnfinished(const std::string& path);

  /// Returns a path that another user cannot predict: inserts "_" and the last six digits of the
  /// current time in microseconds before the ".txt" of `path`. Adds ".txt" if it is missing.
  std::string AlternativePath(const std::string& path);

  /// Reads the settings file into a buffer and appends a NUL.
  /// @param dest      receives the text, truncated to its size
  /// @param registry  must be true; the function cannot read other files
  /// @return false if the file cannot be read or `registry` is false; `dest` is then unchanged.
  bool ReadDataFromFile(std::span<char> dest, bool registry) {
    return Read(dest, registry).wasRead;
  }
  /// Reads the settings file as ReadDataFromFile does.
  RegistryRead ReadRegistry(std::span<char> dest) { return Read(dest, true); }

  /// Returns a file name: displayed part of the serial number, "_", local date and time, ".txt".
  std::string GetSyncFileName(const SerialNumberField& serial);

  /// Returns the path of a run's output file; see ResolveSyncFileName.
  /// @param path    the output path in the settings
  /// @param serial  serial number of the scanner, for the name of a new file
  std::string OutputPath(const std::string& path, const SerialNumberField& serial);

  /// Creates a file. If its name is in use, adds "_2", "_3" and so on before the extension.
  /// @param path      absolute path of the file; set to the path that was tried last
  /// @param contents  the text in UTF-8
  /// @return see FileStore::CreateNew; kExists if all names up to "_9999" are in use
  platform::FileStore::Created CreateNumbered(std::string& path, std::string_view contents);

  /// Replaces the settings file with the text in `src` up to the first NUL.
  /// @return see FileStore::ReplaceChecked
  platform::Replaced SaveRegistry(std::span<const char> src);

 private:
  RegistryRead Read(std::span<char> dest, bool registry);

  SystemLog& log_;
  platform::Clock& clock_;
  platform::FileStore& files_;
  const std::string dataFolder_;
};

/// Returns the reason for a failed write, worded to fit in the middle of a sentence.
/// @param error  error number (errno(3))
std::string_view ReasonText(int error);

/// Returns `text` with slashes, NULs and the bytes of invalid UTF-8 replaced by '_'. A corrupted
/// serial number may contain them. All other characters are kept, including control characters.
std::string FileNamePart(std::string text);

/// Returns the path of a run's output file: `path` with each placeholder, including its slash,
/// replaced by the result of `name`. Replacing the slash is intentional: the file is created next
/// to the folder that `path` names, and its name begins with that folder's name. `name` is called
/// at most once.
template <class Name>
std::string ResolveSyncFileName(std::string path, Name&& name) {
  const std::string_view placeholder = kPlaceholder;
  std::size_t found = path.find(placeholder);
  if (found == std::string::npos) return path;
  const std::string replacement = name();
  while (found != std::string::npos) {
    path.replace(found, placeholder.size(), replacement);
    found = path.find(placeholder, found + replacement.size());
  }
  return path;
}

}  // namespace quillet
