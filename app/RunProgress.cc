#include "app/RunProgress.h"

#include <algorithm>
#include <cmath>

namespace quillet {
namespace {

using namespace std::chrono_literals;
using Phase = RunState::Phase;

// The rate is that of the last seconds: long enough to be steady, short enough to follow a change.
constexpr RunProgress::Time kWindow = 4s;
constexpr RunProgress::Time kLeastWindow = 800ms;

// After how long without any change the scanner counts as silent.
constexpr RunProgress::Time kSilence = 3s;

// After how long nothing can be hoped for: the longest that any answer is waited for is 50 seconds.
constexpr RunProgress::Time kHopelessSilence = 60s;

constexpr const char* kSeparator = "  ·  ";

// With one place behind the point. Not by way of the C library, which would ask the locale for it.
std::string WithTenths(double value) {
  const auto tenths = static_cast<long long>(std::llround(value * 10));
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

double InKilobytes(double bytes) {
  return bytes / 1000;
}

std::string Kilobytes(double bytes) {
  return WithTenths(InKilobytes(bytes)) + " kB";
}

std::string PerSecond(const RunState& state, double rate) {
  if (state.phase == Phase::kBurst) return Kilobytes(rate) + "/s";
  return (rate < 10 ? WithTenths(rate) : std::to_string(std::llround(rate))) + " per second";
}

std::string TimeLeft(double seconds) {
  const auto whole = static_cast<long long>(std::ceil(seconds));
  if (whole < 100) return std::to_string(std::max(whole, 1LL)) + " s left";
  return std::to_string((whole + 59) / 60) + " min left";
}

std::string Records(std::int32_t count) {
  return std::to_string(count) + (count == 1 ? " record" : " records");
}

double Fraction(double part, double whole) {
  return whole > 0 ? std::clamp(part / whole, 0.0, 1.0) : -1;
}

}  // namespace

RunProgress::Shown RunProgress::Look(Time now, const RunState& state) {
  if (lastChange_ < 0ms || state != seen_) {
    if (state.phase != seen_.phase) samples_.clear();
    seen_ = state;
    lastChange_ = now;
  }
  Shown shown = Describe(now, state);
  const Time silent = now - lastChange_;
  if (silent < kSilence || state.phase == Phase::kGivenUp) return shown;
  const std::string seconds = std::to_string(silent / 1s) + " s";
  if (silent < kHopelessSilence) {
    shown.text += kSeparator;
    shown.text += "nothing new for " + seconds;
  } else {
    shown.text = "Nothing new for " + seconds + ". If it stays so, please start Quillet again.";
  }
  return shown;
}

RunProgress::Shown RunProgress::Describe(Time now, const RunState& state) {
  switch (state.phase) {
    case Phase::kPreparing:
      return {"Asking the scanner for its records", -1};
    case Phase::kRecords:
      Remember(now, state.records);
      return {"Received " + std::to_string(state.records) + " of " + Records(state.expected) +
                  Pace(state, state.expected - state.records),
              Fraction(state.records, state.expected)};
    case Phase::kBurst:
      if (state.announced == 0) return {"Waiting for " + Records(state.expected), -1};
      Remember(now, state.bytes);
      return {Records(state.expected) + kSeparator + WithTenths(InKilobytes(state.bytes)) + " of " +
                  Kilobytes(state.announced) + Pace(state, state.announced - state.bytes),
              Fraction(state.bytes, state.announced)};
    case Phase::kDelivering:
      Remember(now, state.records);
      return {"Delivered " + std::to_string(state.records) + " of " + Records(state.expected) +
                  Pace(state, state.expected - state.records),
              Fraction(state.records, state.expected)};
    case Phase::kGivenUp:
      return {"The scanner did not answer. Please start Quillet again.", 0};
    case Phase::kClosing:
      break;
  }
  return {"Received " + Records(state.records), 1};
}

// Rate and time left, as far as they are known yet.
std::string RunProgress::Pace(const RunState& state, double remaining) const {
  const double rate = Rate();
  if (rate <= 0) return {};
  std::string pace = kSeparator + PerSecond(state, rate);
  if (remaining > 0) pace += kSeparator + TimeLeft(remaining / rate);
  return pace;
}

double RunProgress::Rate() const {
  if (samples_.size() < 2) return 0;
  const Time taken = samples_.back().time - samples_.front().time;
  if (taken < kLeastWindow) return 0;
  const double covered = samples_.back().position - samples_.front().position;
  return covered / std::chrono::duration<double>(taken).count();
}

void RunProgress::Remember(Time now, double position) {
  samples_.push_back({now, position});
  while (samples_.size() > 2 && now - samples_[1].time >= kWindow) samples_.pop_front();
}

}  // namespace quillet
