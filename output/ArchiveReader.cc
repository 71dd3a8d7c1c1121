#include "output/ArchiveReader.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <utility>

#include "base/Log.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using platform::FileStore;

constexpr std::string_view kLiveMark = "_live";

// Limits memory use. Far larger than any file in the archive.
constexpr std::size_t kLargestFile = 100'000'000;

// Maximum time from closing a file to opening the file that continues it.
constexpr auto kLongestGap = 60s;

// Returns the day of live scans: the name up to "_live". Returns an empty string for a run.
std::string_view LiveDay(std::string_view name) {
  const std::size_t mark = name.find(kLiveMark);
  return mark == name.npos ? "" : name.substr(0, mark);
}

// Converts "2026-11-16 14:07:09". Returns the epoch if the text has another form.
std::chrono::sys_seconds TimeOf(std::string_view text) {
  if (text.size() != 19) return {};
  const auto number = [text](std::size_t position, std::size_t length) {
    int value = 0;
    std::from_chars(text.data() + position, text.data() + position + length, value);
    return value;
  };
  const std::chrono::year_month_day day(std::chrono::year(number(0, 4)),
                                        std::chrono::month(static_cast<unsigned>(number(5, 2))),
                                        std::chrono::day(static_cast<unsigned>(number(8, 2))));
  return std::chrono::sys_days(day) + std::chrono::hours(number(11, 2)) +
         std::chrono::minutes(number(14, 2)) + std::chrono::seconds(number(17, 2));
}

bool Continues(const StoredRun& run, std::string_view name, const ArchivedRun& head) {
  const std::string_view day = LiveDay(name);
  if (run.live || !day.empty()) return LiveDay(run.names.front()) == day;
  if (run.head.continuedAt.empty() || run.head.serial != head.serial) return false;
  const auto gap = TimeOf(head.time) - TimeOf(run.head.continuedAt);
  return gap >= 0s && gap <= kLongestGap;
}

// Adds the metadata of the next file.
void Add(ArchivedRun& run, const ArchivedRun& next) {
  ArchivedRun sum = next;
  sum.time = run.time;
  sum.records += run.records;
  sum.erased = sum.erased || run.erased;
  if (sum.file.empty()) sum.file = run.file;
  run = std::move(sum);
}

}  // namespace

std::vector<StoredRun> ArchiveReader::List() {
  const std::vector<FileStore::Entry> entries = files_.List(folder_);
  const std::vector<File> before = std::exchange(known_, {});
  std::vector<StoredRun> runs;
  for (const FileStore::Entry& entry : entries) {
    if (!entry.name.ends_with(kRecordsEnding)) continue;
    const std::string name = entry.name.substr(0, entry.name.size() - kRecordsEnding.size());
    const auto known = std::ranges::lower_bound(before, name, {}, &File::name);
    const bool isKnown =
        known != before.end() && known->name == name && known->bytes == entry.bytes;
    known_.push_back(isKnown ? *known : ReadHead(name, entry.bytes));
    const File& file = known_.back();
    if (!file.head) continue;
    auto run = std::ranges::find_if(
        runs, [&](const StoredRun& earlier) { return Continues(earlier, name, *file.head); });
    if (run == runs.end()) {
      runs.push_back({.names = {}, .live = !LiveDay(name).empty(), .head = *file.head});
      run = runs.end() - 1;
    } else {
      Add(run->head, *file.head);
    }
    run->names.push_back(name);
    run->bytes += entry.bytes;
    run->inProgress = std::ranges::binary_search(entries, name + std::string(kOpenEnding), {},
                                                 &FileStore::Entry::name);
  }
  std::ranges::reverse(runs);
  return runs;
}

ArchiveReader::File ArchiveReader::ReadHead(const std::string& name, std::uint64_t bytes) const {
  const auto contents = files_.Read(PathOf(name, kRecordsEnding), kLargestFile);
  File file{.name = name, .bytes = bytes};
  if (contents) file.head = ReadArchivedRun(*contents);
  if (!file.head) Log(log_, "Quillet: unreadable file: ", ForeignText(name));
  return file;
}

std::optional<std::int64_t> ArchiveReader::ForEachRecord(const StoredRun& run,
                                                         const ArchivedRecord& record) const {
  std::int64_t records = 0;
  for (const std::string& name : run.names) {
    const auto contents = files_.Read(PathOf(name, kRecordsEnding), kLargestFile);
    const auto head = contents ? ReadArchivedRun(*contents, record) : std::nullopt;
    if (!head) return std::nullopt;
    records += head->records;
  }
  return records;
}

std::optional<std::int64_t> ArchiveReader::ForEachLine(
    const StoredRun& run, const Settings* settings,
    const std::function<void(const std::string& line)>& line) const {
  std::int64_t records = 0;
  for (const std::string& name : run.names) {
    const auto contents = files_.Read(PathOf(name, kRecordsEnding), kLargestFile);
    const auto head = contents ? ReadArchivedLines(*contents, settings, line) : std::nullopt;
    if (!head) return std::nullopt;
    records += head->records;
  }
  return records;
}

std::optional<std::string> ArchiveReader::Lines(const StoredRun& run, std::size_t limit) const {
  std::string lines;
  // An interrupted run may contain records whose lines were not written.
  if (!run.live && !run.head.complete) {
    const auto records = ForEachLine(run, nullptr, [&](const std::string& line) { lines += line; });
    return records ? std::optional(lines) : std::nullopt;
  }
  for (const std::string& name : run.names) {
    const auto contents = files_.Read(PathOf(name, kLinesEnding), std::min(limit, kLargestFile));
    if (!contents) return std::nullopt;
    lines += *contents;
    if (lines.size() >= limit) break;
  }
  return lines;
}

std::string ArchiveReader::LinesPath(const StoredRun& run) const {
  return PathOf(run.names.front(), kLinesEnding);
}

std::string ArchiveReader::PathOf(const std::string& name, std::string_view ending) const {
  return folder_ + "/" + name + std::string(ending);
}

}  // namespace quillet
