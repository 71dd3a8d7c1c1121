#include "app/RunProgress.h"

#include <algorithm>
#include <cmath>

namespace quillet {
namespace {

using namespace std::chrono_literals;
using Phase = RunState::Phase;

// The rate is the average over the last kWindow. It is unknown until kLeastWindow has passed.
constexpr RunProgress::Time kWindow = 4s;
constexpr RunProgress::Time kLeastWindow = 800ms;

// If the run's state has not changed for this long, the display shows "no data".
constexpr RunProgress::Time kSilence = 3s;
// If the run's state has not changed for this long, the display advises a restart. Longer than the
// longest time-out for an answer, which is 50 s.
constexpr RunProgress::Time kHopelessSilence = 60s;

constexpr const char* kSeparator = "  ·  ";

// Formats a number with one decimal place, independent of the locale.
std::string WithTenths(double value) {
  const auto tenths = static_cast<long long>(std::llround(value * 10));
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

std::string Kilobytes(double bytes) {
  return WithTenths(bytes / 1000) + " kB";
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

double Fraction(double part, double whole) {
  return whole > 0 ? std::clamp(part / whole, 0.0, 1.0) : -1;
}

}  // namespace

std::string Counted(std::int64_t records) {
  return std::to_string(records) + (records == 1 ? " record" : " records");
}

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
    shown.text += "no data for " + seconds;
  } else {
    shown.text = "No data for over a minute.";
    shown.advice = "If this continues, restart Quillet.";
  }
  return shown;
}

RunProgress::Shown RunProgress::Describe(Time now, const RunState& state) {
  switch (state.phase) {
    case Phase::kPreparing:
      return {"Requesting records from the scanner…", -1};
    case Phase::kRecords:
    case Phase::kDelivering:
      Remember(now, state.records);
      return {(state.phase == Phase::kRecords ? "Received " : "Delivered ") +
                  std::to_string(state.records) + " of " + Counted(state.expected) +
                  Pace(state, state.expected - state.records),
              Fraction(state.records, state.expected)};
    case Phase::kBurst:
      if (state.announced == 0) return {"Waiting for " + Counted(state.expected), -1};
      Remember(now, state.bytes);
      return {Counted(state.expected) + kSeparator + WithTenths(state.bytes / 1000.0) + " of " +
                  Kilobytes(state.announced) + Pace(state, state.announced - state.bytes),
              Fraction(state.bytes, state.announced)};
    case Phase::kGivenUp:
      return {"The scanner did not respond.", 0, "Restart Quillet to continue."};
    case Phase::kClosing:
      break;
  }
  return {"Received " + Counted(state.records), 1};
}

// Returns the rate and time left, or an empty string while the rate is unknown.
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
