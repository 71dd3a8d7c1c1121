#include "simulator/OutputQueue.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace quillet::simulator {
namespace {

constexpr double kBitsPerByte = 10;  // start bit, eight data bits, stop bit
constexpr double kNanosecondsPerSecond = 1e9;

}  // namespace

OutputQueue::OutputQueue(std::uint64_t bits_per_second) : bits_per_second_(bits_per_second) {}

void OutputQueue::Append(Bytes bytes, Time earliest, Duration pause) {
  if (bytes.empty()) return;
  size_ += bytes.size();
  pieces_.push_back({std::move(bytes), 0, earliest, pause});
}

void OutputQueue::InsertNow(Bytes bytes, Time now) {
  if (bytes.empty()) return;
  SplitHead();
  size_ += bytes.size();
  pieces_.push_front({std::move(bytes), 0, now, Duration::zero()});
}

void OutputQueue::HoldUntil(Time until) {
  SplitHead();
  line_free_ = std::max(line_free_, until);
}

void OutputQueue::Drop(std::size_t count) {
  SplitHead();
  while (count > 0 && !pieces_.empty()) {
    Bytes& bytes = pieces_.front().bytes;
    const std::size_t part = std::min(count, bytes.size());
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(part));
    size_ -= part;
    count -= part;
    if (bytes.empty()) pieces_.pop_front();
  }
}

void OutputQueue::Clear() {
  pieces_.clear();
  size_ = 0;
  line_free_ = Time::min();
}

std::span<const std::uint8_t> OutputQueue::Due(Time now) const {
  if (pieces_.empty()) return {};
  const Piece& head = pieces_.front();
  const Time start = StartOf(head);
  if (now < start) return {};
  std::size_t passed = head.bytes.size();
  if (bits_per_second_ != 0) {
    const double bytes = static_cast<double>((now - start).count()) *
                         static_cast<double>(bits_per_second_) /
                         (kBitsPerByte * kNanosecondsPerSecond);
    if (bytes < static_cast<double>(passed)) passed = static_cast<std::size_t>(bytes);
  }
  if (passed <= head.sent) return {};
  return std::span{head.bytes}.subspan(head.sent, passed - head.sent);
}

void OutputQueue::Consume(std::size_t count, Time now) {
  if (count == 0) return;
  Piece& head = pieces_.front();
  head.sent += count;
  size_ -= count;
  if (head.sent < head.bytes.size()) return;
  line_free_ = bits_per_second_ == 0 ? now : StartOf(head) + LineTime(head.bytes.size());
  pieces_.pop_front();
}

void OutputQueue::Stall(Time now) {
  if (pieces_.empty()) return;
  Piece& head = pieces_.front();
  head.earliest = std::max(StartOf(head), now - LineTime(head.sent));
}

Time OutputQueue::NextDue() const {
  if (pieces_.empty()) return Time::max();
  const Piece& head = pieces_.front();
  const std::size_t per_millisecond = static_cast<std::size_t>(bits_per_second_ / 10'000);
  const std::size_t step = std::clamp<std::size_t>(per_millisecond, 1, head.bytes.size());
  return StartOf(head) + LineTime(std::min(head.sent + step, head.bytes.size()));
}

Time OutputQueue::StartOf(const Piece& piece) const {
  if (line_free_ == Time::min()) return piece.earliest;
  return std::max(piece.earliest, line_free_ + piece.pause);
}

Duration OutputQueue::LineTime(std::size_t bytes) const {
  if (bits_per_second_ == 0) return Duration::zero();
  const double nanoseconds = static_cast<double>(bytes) * kBitsPerByte * kNanosecondsPerSecond /
                             static_cast<double>(bits_per_second_);
  return Duration{static_cast<Duration::rep>(std::ceil(nanoseconds))};
}

void OutputQueue::SplitHead() {
  if (pieces_.empty() || pieces_.front().sent == 0) return;
  Piece& head = pieces_.front();
  line_free_ = StartOf(head) + LineTime(head.sent);
  head.bytes.erase(head.bytes.begin(), head.bytes.begin() + static_cast<std::ptrdiff_t>(head.sent));
  head.sent = 0;
  head.earliest = Time::min();
  head.pause = Duration::zero();
}

}  // namespace quillet::simulator
