#include "simulator/Transcript.h"

#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

namespace quillet::simulator {

Transcript::Transcript(bool keep, const std::string& file)
    : keep_(keep), start_(std::chrono::steady_clock::now()) {
  if (file.empty()) return;
  file_.open(file);
  if (!file_) throw std::system_error(errno, std::generic_category(), file);
}

void Transcript::Add(std::chrono::steady_clock::time_point time, Direction direction, Bytes bytes) {
  if (bytes.empty()) return;
  const std::scoped_lock lock(mutex_);
  TranscriptEntry entry{time, direction, std::move(bytes)};
  // Each line is flushed, so the file contains only whole lines if the process is killed.
  if (file_.is_open()) file_ << FormatLine(entry, start_) + '\n' << std::flush;
  if (keep_) entries_.push_back(std::move(entry));
}

std::vector<TranscriptEntry> Transcript::Entries() const {
  const std::scoped_lock lock(mutex_);
  return entries_;
}

std::string FormatLine(const TranscriptEntry& entry, std::chrono::steady_clock::time_point start) {
  const bool event = entry.direction == Direction::kEvent;
  const char sign = event ? '#' : entry.direction == Direction::kSent ? '>' : '<';
  char line[48];
  std::snprintf(line, sizeof line, "%.6f %c ",
                std::chrono::duration<double>(entry.time - start).count(), sign);
  return line + (event ? "" : ToHex(entry.bytes) + "  ") + ToReadable(entry.bytes);
}

}  // namespace quillet::simulator
