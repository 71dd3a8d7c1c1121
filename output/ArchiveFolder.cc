#include "output/ArchiveFolder.h"

#include <algorithm>
#include <map>
#include <set>

namespace quillet {
namespace {

using platform::FileStore;

constexpr std::string_view kOrderName = "order";
constexpr std::string_view kDayMark = "_live";
constexpr std::size_t kVolumeDigits = 2;
constexpr int kMaximumNumber = 1000;

// When the order file exceeds this size in bytes, it is rewritten without the entries of deleted
// files.
constexpr std::size_t kLongOrder = std::size_t{64} * 1024;

std::string NumberText(std::string_view separator, int number) {
  std::string digits = std::to_string(number);
  if (separator == ArchiveFolder::kVolumeMark && digits.size() < kVolumeDigits) {
    digits.insert(0, kVolumeDigits - digits.size(), '0');
  }
  return std::string(separator) + digits;
}

std::vector<std::string> Lines(std::string_view text) {
  std::vector<std::string> lines;
  for (std::size_t end = 0; (end = text.find('\n')) != text.npos; text.remove_prefix(end + 1)) {
    lines.emplace_back(text.substr(0, end));
  }
  return lines;
}

}  // namespace

struct ArchiveFolder::Run {
  std::string name;             // name of the run's first file
  std::set<std::string> names;  // names of all files of the run
  std::uint64_t bytes = 0;
};

bool ArchiveFolder::IsLive(std::string_view name) {
  return name.find(kDayMark) != name.npos;
}

std::string_view ArchiveFolder::GroupOf(std::string_view name) {
  if (IsLive(name)) return name.substr(0, name.find(kDayMark) + kDayMark.size());
  const std::size_t length = kVolumeMark.size() + kVolumeDigits;
  const std::size_t mark = name.size() < length ? 0 : name.size() - length;
  return name.substr(mark).starts_with(kVolumeMark) ? name.substr(0, mark) : name;
}

std::string ArchiveFolder::PathOf(std::string_view name, std::string_view ending) const {
  return path_ + "/" + std::string(name) + std::string(ending);
}

bool ArchiveFolder::Contains(std::string_view name) const {
  return files_.Exists(PathOf(name, kRecordsEnding)) || files_.Exists(PathOf(name, kLinesEnding));
}

std::string ArchiveFolder::UnusedName(const std::string& name, std::string_view separator) const {
  std::string unused = name;
  for (int number = 2; Contains(unused); ++number) {
    if (number == kMaximumNumber) return {};
    unused = name + NumberText(separator, number);
  }
  return unused;
}

void ArchiveFolder::Mark(const std::string& name) {
  files_.OpenGrowing(PathOf(name, kOpenEnding), true);
}

void ArchiveFolder::Unmark(const std::string& name) {
  files_.Remove(PathOf(name, kOpenEnding));
}

void ArchiveFolder::NoteCreation(const std::string& name) {
  const std::string path = PathOf(kOrderName, "");
  auto order = files_.OpenGrowing(path, false);
  if (!order) order = files_.OpenGrowing(path, true);
  if (order) order->Append(name + "\n");
}

std::vector<std::string> ArchiveFolder::TakeInterrupted() {
  std::vector<std::string> names;
  for (const FileStore::Entry& entry : files_.List(path_)) {
    if (!entry.name.ends_with(kOpenEnding)) continue;
    std::string name = entry.name.substr(0, entry.name.size() - kOpenEnding.size());
    if (!files_.OpenGrowing(PathOf(name, kRecordsEnding), false)) continue;
    Unmark(name);
    names.emplace_back(GroupOf(name));
  }
  return names;
}

bool ArchiveFolder::IsInUse(const std::string& name) const {
  const std::string records = PathOf(name, kRecordsEnding);
  return files_.Exists(records) && !files_.OpenGrowing(records, false);
}

void ArchiveFolder::Remove(const std::string& name) {
  for (const auto ending : {kLinesEnding, kRecordsEnding}) files_.Remove(PathOf(name, ending));
}

void ArchiveFolder::DropOld() {
  std::size_t runs = 0;
  std::uint64_t bytes = 0;
  const std::vector<Run> byAge = RunsByAge();
  for (auto run = byAge.rbegin(); run != byAge.rend(); ++run) {
    const bool isLive = IsLive(run->name);
    bytes += run->bytes;
    if (!isLive) ++runs;
    if ((isLive || runs <= kRuns) && bytes <= kArchiveSize) continue;
    if (std::ranges::any_of(run->names, [this](const auto& name) { return IsInUse(name); })) {
      continue;
    }
    for (const std::string& name : run->names) Remove(name);
  }
}

// Returns the runs, oldest first. The age of runs that are not in the order file is determined by
// their names.
std::vector<ArchiveFolder::Run> ArchiveFolder::RunsByAge() const {
  std::map<std::string, Run> found;
  for (const FileStore::Entry& entry : files_.List(path_)) {
    if (!entry.name.ends_with(kRecordsEnding) && !entry.name.ends_with(kLinesEnding)) continue;
    const std::string name = entry.name.substr(0, entry.name.rfind('.'));
    const std::string group(GroupOf(name));
    Run& run = found[group];
    run.name = group;
    run.names.insert(name);
    run.bytes += entry.bytes;
  }
  const std::string path = PathOf(kOrderName, "");
  const std::string noted = files_.Read(path, std::string::npos).value_or("");
  std::vector<Run> runs;
  std::string kept;
  for (const std::string& name : Lines(noted)) {
    const auto run = found.find(name);
    if (run == found.end()) continue;
    runs.push_back(std::move(run->second));
    found.erase(run);
    kept += name + "\n";
  }
  if (noted.size() > kLongOrder) files_.Replace(path, kept);
  for (auto& [name, run] : found) {
    const auto next = std::ranges::find_if(
        runs, [&group = name](const Run& other) { return other.name > group; });
    runs.insert(next, std::move(run));
  }
  return runs;
}

}  // namespace quillet
