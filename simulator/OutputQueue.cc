#include "simulator/OutputQueue.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace quillet::simulator {
namespace {

constexpr double kBitsPerByte = 10;  // start bit, eight data bits, stop bit
constexpr double kNanosecondsPerSecond = 1e9;

}  // namespace

void OutputQueue::Append(Bytes bytes, Time earliest, Duration pause) {
  if (bytes.empty()) return;
  pieces_.push_back({std::move(bytes), 0, earliest, pause});
}

void OutputQueue::InsertNow(Bytes bytes, Time now) {
  if (bytes.empty()) return;
  SplitHead();
  pieces_.push_front({std::move(bytes), 0, now, Duration::zero()});
}

void OutputQueue::HoldUntil(Time until) {
  SplitHead();
  lineFree_ = std::max(lineFree_, until);
}

void OutputQueue::Drop(std::size_t count) {
  SplitHead();
  while (count > 0 && !pieces_.empty()) {
    Bytes& bytes = pieces_.front().bytes;
    const std::size_t part = std::min(count, bytes.size());
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(part));
    count -= part;
    if (bytes.empty()) pieces_.pop_front();
  }
}

void OutputQueue::Clear() {
  pieces_.clear();
  lineFree_ = Time::min();
}

std::span<const std::uint8_t> OutputQueue::Due(Time now) const {
  if (pieces_.empty()) return {};
  const Piece& head = pieces_.front();
  const Time start = StartOf(head);
  if (now < start) return {};
  std::size_t passed = head.bytes.size();
  if (bitsPerSecond_ != 0) {
    const double bytes = static_cast<double>((now - start).count()) *
                         static_cast<double>(bitsPerSecond_) /
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
  if (head.sent < head.bytes.size()) return;
  lineFree_ = bitsPerSecond_ == 0 ? now : StartOf(head) + LineTime(head.bytes.size());
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
  const std::size_t perMillisecond = static_cast<std::size_t>(bitsPerSecond_ / 10'000);
  const std::size_t step = std::clamp<std::size_t>(perMillisecond, 1, head.bytes.size());
  return StartOf(head) + LineTime(std::min(head.sent + step, head.bytes.size()));
}

Time OutputQueue::StartOf(const Piece& piece) const {
  if (lineFree_ == Time::min()) return piece.earliest;
  return std::max(piece.earliest, lineFree_ + piece.pause);
}

Duration OutputQueue::LineTime(std::size_t bytes) const {
  if (bitsPerSecond_ == 0) return Duration::zero();
  const double nanoseconds = static_cast<double>(bytes) * kBitsPerByte * kNanosecondsPerSecond /
                             static_cast<double>(bitsPerSecond_);
  return Duration{static_cast<Duration::rep>(std::ceil(nanoseconds))};
}

void OutputQueue::SplitHead() {
  if (pieces_.empty() || pieces_.front().sent == 0) return;
  Piece& head = pieces_.front();
  lineFree_ = StartOf(head) + LineTime(head.sent);
  head.bytes.erase(head.bytes.begin(), head.bytes.begin() + static_cast<std::ptrdiff_t>(head.sent));
  head.sent = 0;
  head.earliest = Time::min();
  head.pause = Duration::zero();
}

}  // namespace quillet::simulator
