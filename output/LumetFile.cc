#include "output/LumetFile.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>

#include "base/Log.h"
#include "output/TextEncoding.h"

namespace quillet {
namespace {

constexpr char kRegistryName[] = "QuilletRegistry.txt";

// Far more than the settings file ever holds; what stands in its place may be anything.
constexpr std::size_t kRegistryReadLimit = 1 << 20;

// A serial number that the line has garbled must not lead into another folder, nor put control
// characters into a file's name.
std::string FileNamePart(std::string text) {
  std::replace_if(
      text.begin(), text.end(),
      [](char c) { return c == '/' || static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, '_');
  return text;
}

// "yyyyMMdd_HHmmss"
std::string TimeStamp(const platform::CalendarTime& time) {
  char text[64];
  const int length = std::snprintf(text, sizeof text, "%04d%02d%02d_%02d%02d%02d", time.year,
                                   time.month, time.day, time.hour, time.minute, time.second);
  return std::string(text, static_cast<std::size_t>(length));
}

}  // namespace

LumetFile::LumetFile(SystemLog& log, platform::Clock& clock, platform::FileStore& files,
                     std::string dataFolder)
    : log_(log), clock_(clock), files_(files), dataFolder_(std::move(dataFolder)) {}

void LumetFile::CreateBarcodeDirectory() {
  Log(log_, "-[LumetFile CreateBarcodeDirectory]");
  if (!files_.CreateFolder(dataFolder_)) {
    Log(log_, "Error to create directory ", ForeignText(dataFolder_));
  }
}

void LumetFile::WriteDataToFile(const std::string& path, std::string_view data, bool /*spare*/,
                                bool append) {
  Log(log_, "-[LumetFile WriteDataToFile::::]", "[", ForeignText(path), "]", ForeignText(data));
  std::string text;
  if (append) {
    const auto existing = files_.Read(path, std::numeric_limits<std::size_t>::max());
    if (existing) text = DecodeTextFile(*existing);
  }
  text.append(data);
  Log(log_, files_.Replace(path, text) ? "Success" : "Fail to write");
}

bool LumetFile::ReadDataFromFile(std::span<char> dest, bool registry) {
  Log(log_, "-[LumetFile ReadDataFromFile::]");
  if (!registry) return false;
  const auto bytes = files_.Read(RegistryPath(), kRegistryReadLimit);
  if (!bytes) return false;
  // Without a mark the bytes stay as they are: positions count bytes, and each name in the file is
  // in whatever encoding its owner's file system uses.
  const std::string text = HasByteOrderMark(*bytes) ? DecodeTextFile(*bytes) : *bytes;
  const std::size_t count = std::min(text.size(), dest.size() - 1);
  std::memcpy(dest.data(), text.data(), count);
  dest[count] = '\0';
  return true;
}

std::string LumetFile::GetSyncFileName(const SerialNumberField& serial) {
  return FileNamePart(serial.TextFrom(kHiddenSerialCharacters)) + "_" +
         TimeStamp(clock_.LocalTime()) + ".txt";
}

bool LumetFile::ReadRegistry(std::span<char> dest) {
  return ReadDataFromFile(dest, true);
}

void LumetFile::SaveRegistry(std::span<const char> src) {
  const auto end = std::find(src.begin(), src.end(), '\0');
  WriteDataToFile(RegistryPath(),
                  std::string_view(src.data(), static_cast<std::size_t>(end - src.begin())), true,
                  false);
}

std::string LumetFile::RegistryPath() const {
  return dataFolder_ + "/" + kRegistryName;
}

}  // namespace quillet
