#include "output/ArchiveVolume.h"

#include "output/RecordsFile.h"

namespace quillet {

bool ArchiveVolume::Open(platform::FileStore& files, ArchiveFolder& folder, const std::string& name,
                         std::uint64_t size, const std::string& time) {
  const bool fresh = size == 0;
  *this = {};
  if (name.empty() || !folder.Create()) return false;
  const std::string recordsPath = folder.PathOf(name, ArchiveFolder::kRecordsEnding);
  const std::string linesPath = folder.PathOf(name, ArchiveFolder::kLinesEnding);
  auto records = files.OpenGrowing(recordsPath, fresh);
  auto lines = records ? files.OpenGrowing(linesPath, fresh) : nullptr;
  const std::string header = std::string(kArchiveHeader) + "\ntime " + time + "\n";
  if (!lines || !records->Append(header)) {
    if (records && fresh) files.Remove(recordsPath);
    if (lines && fresh) files.Remove(linesPath);
    return false;
  }
  files_ = {name, std::move(records), std::move(lines)};
  size_ = size + header.size();
  return true;
}

// Appending an empty string fails if an earlier operation on the file has failed.
bool ArchiveVolume::IsUsable() const {
  return IsOpen() && files_.records->Append("") && files_.lines->Append("");
}

bool ArchiveVolume::Append(std::string_view entry) {
  if (!IsOpen() || !files_.records->Append(entry)) return false;
  size_ += entry.size();
  return true;
}

bool ArchiveVolume::AppendUnit(const std::string& header, std::string_view entry,
                               std::int64_t unit) {
  if (header != header_) {
    if (!Append(header)) return false;
    header_ = header;
  }
  if (!Append(entry)) return false;
  if (firstUnit_ == 0) firstUnit_ = unit;
  return true;
}

bool ArchiveVolume::AppendLines(std::string_view lines) {
  if (!IsOpen() || !files_.lines->Append(lines)) return false;
  size_ += lines.size();
  return true;
}

}  // namespace quillet
