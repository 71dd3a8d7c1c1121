#include "output/LumetFile.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <utility>

#include "base/Log.h"
#include "base/Utf8.h"
#include "output/TextEncoding.h"

namespace quillet {

using platform::FileStore;

namespace {

// Far larger than any valid settings file. Limits memory use if the path names another kind of
// file.
constexpr std::size_t kRegistryReadLimit = 1 << 20;

constexpr int kLargestNumber = 9'999;

// Returns `path` with a number before the extension.
std::string NumberedPath(const std::string& path, int number) {
  const std::size_t slash = path.rfind('/');
  std::size_t dot = path.rfind('.');
  if (dot == path.npos || (slash != path.npos && dot < slash + 2)) dot = path.size();
  return path.substr(0, dot) + "_" + std::to_string(number) + path.substr(dot);
}

}  // namespace

std::string_view ReasonText(int error) {
  switch (error) {
    case ENOSPC:
    case EDQUOT:
      return "the disk is full";
    case EROFS:
      return "the disk is read-only";
    case ENOENT:
    case ENOTDIR:
      return "the folder does not exist";
    case EACCES:
    case EPERM:
      return "permission denied";
    case EISDIR:
      return "the path is a folder";
    case ELOOP:
      return "the path contains a symbolic link";
    case platform::kNotRegular:
      return "the path is not a regular file";
    case ENAMETOOLONG:
      return "the file name is too long";
    default:
      return "the disk reported an error";
  }
}

std::string FileNamePart(std::string text) {
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t length = Utf8SequenceLength(std::string_view(text).substr(i));
    char& c = text[i];
    if (length == 0 || c == '/' || c == '\0') c = '_';
    i += std::max<std::size_t>(length, 1);
  }
  return text;
}

LumetFile::LumetFile(SystemLog& log, platform::Clock& clock, platform::FileStore& files,
                     std::string dataFolder)
    : log_(log), clock_(clock), files_(files), dataFolder_(std::move(dataFolder)) {}

void LumetFile::CreateBarcodeDirectory() {
  Log(log_, "-[LumetFile CreateBarcodeDirectory]");
  if (!files_.CreateFolder(dataFolder_)) {
    Log(log_, "Error to create directory ", ForeignText(dataFolder_));
  }
}

platform::Replaced LumetFile::WriteDataToFile(const std::string& path, std::string_view data,
                                              bool /*spare*/, bool append) {
  Log(log_, "-[LumetFile WriteDataToFile::::]", "[", ForeignText(path), "]", ForeignText(data));
  platform::Replaced written;
  if (append) {
    written =
        files_.Update(path, [&](std::string_view old) { return DecodeTextFile(old).append(data); });
  } else if (path == RegistryPath()) {
    written = files_.ReplaceChecked(path, data);
  } else {
    written = files_.Replace(path, data);
  }
  Log(log_, written ? "Success" : "Fail to write");
  return written;
}

bool LumetFile::IsSettingsFile(const std::string& path) {
  return files_.IsSameFile(path, RegistryPath());
}

bool LumetFile::IsReplaced(const std::string& path) {
  return path.find(kPlaceholder) == std::string::npos && files_.Read(path, 0).has_value();
}

std::size_t LumetFile::RemoveUnfinished(const std::string& path) {
  std::size_t removed = files_.RemoveUnfinished(dataFolder_);
  const std::string output = ResolveSyncFileName(path, [] { return std::string("name"); });
  const std::size_t slash = output.rfind('/');
  if (slash != std::string::npos) removed += files_.RemoveUnfinished(output.substr(0, slash + 1));
  return removed;
}

RegistryRead LumetFile::Read(std::span<char> dest, bool registry) {
  Log(log_, "-[LumetFile ReadDataFromFile::]");
  if (!registry) return {};
  platform::Checked file = files_.ReadChecked(RegistryPath(), kRegistryReadLimit);
  RegistryRead result{.custody = file.custody,
                      .owner = std::move(file.owner),
                      .ownFile = file.ownFile,
                      .error = file.error};
  if (!file.contents) return result;
  // Without a byte-order mark, the bytes are kept unchanged: the fields have fixed byte positions,
  // and stored paths may be in any encoding.
  const std::string text =
      HasByteOrderMark(*file.contents) ? DecodeTextFile(*file.contents) : *file.contents;
  const std::size_t count = std::min(text.size(), dest.size() - 1);
  std::memcpy(dest.data(), text.data(), count);
  dest[count] = '\0';
  result.wasRead = true;
  return result;
}

std::string LumetFile::GetSyncFileName(const SerialNumberField& serial) {
  return FileNamePart(serial.TextFrom(kHiddenSerialCharacters)) + "_" +
         TimeStamp(clock_.LocalTime()) + ".txt";
}

std::string LumetFile::OutputPath(const std::string& path, const SerialNumberField& serial) {
  return ResolveSyncFileName(path, [&] { return GetSyncFileName(serial); });
}

FileStore::Created LumetFile::CreateNumbered(std::string& path, std::string_view contents) {
  const std::string first = path;
  auto created = files_.CreateNew(path, contents);
  for (int number = 2; created == FileStore::Created::kExists && number <= kLargestNumber;
       ++number) {
    path = NumberedPath(first, number);
    created = files_.CreateNew(path, contents);
  }
  return created;
}

std::string LumetFile::AlternativePath(const std::string& path) {
  constexpr std::string_view kEnding = ".txt";
  const auto microseconds = std::chrono::floor<std::chrono::microseconds>(clock_.Now()).count();
  char digits[16];
  std::snprintf(digits, sizeof digits, "_%06d", static_cast<int>(microseconds % 1'000'000));
  const std::string name =
      path.ends_with(kEnding) ? path.substr(0, path.size() - kEnding.size()) : path;
  return name + digits + std::string(kEnding);
}

platform::Replaced LumetFile::SaveRegistry(std::span<const char> src) {
  const auto end = std::find(src.begin(), src.end(), '\0');
  return WriteDataToFile(RegistryPath(), {src.begin(), end}, true, false);
}

}  // namespace quillet
