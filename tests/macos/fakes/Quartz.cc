#include "tests/macos/fakes/Quartz.h"

#include <CoreGraphics/CoreGraphics.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/macos/fakes/Objects.h"

namespace quillet::macos_tests {
namespace {

class EventSource final : public Object {
 public:
  explicit EventSource(int value) : state(value) {}
  ~EventSource() override { Called("source released"); }
  const int state;
};

class Event final : public Object {
 public:
  explicit Event(PostedKey value) : event(value) {}
  ~Event() override { Called(Name() + " released"); }
  std::string Name() const { return event.down ? "down" : "up"; }
  PostedKey event;
};

}  // namespace

Quartz& Quartz::Shared() {
  static auto& shared = *new Quartz;
  return shared;
}

void Quartz::Reset() {
  *this = {};
}

}  // namespace quillet::macos_tests

using namespace quillet::macos_tests;

extern "C" {

CGEventSourceRef CGEventSourceCreate(CGEventSourceStateID state) {
  Called("source created");
  if (!Quartz::Shared().hasSources) return nullptr;
  auto& source = *new EventSource(state);
  return reinterpret_cast<CGEventSourceRef>(static_cast<Object*>(&source));
}

CGEventRef CGEventCreateKeyboardEvent(CGEventSourceRef source, CGKeyCode key, bool down) {
  const int state = source == nullptr ? -1 : As<EventSource>(source).state;
  if (!Quartz::Shared().hasEvents) return nullptr;
  auto& event = *new Event({.key = key, .down = down, .sourceState = state});
  Called(event.Name() + " created");
  return reinterpret_cast<CGEventRef>(static_cast<Object*>(&event));
}

void CGEventSetFlags(CGEventRef reference, CGEventFlags flags) {
  auto& event = As<Event>(reference);
  Called(event.Name() + " flags");
  event.event.flags = flags;
  event.event.flagsWereSet = true;
}

void CGEventPost(CGEventTapLocation tap, CGEventRef reference) {
  auto& event = As<Event>(reference);
  Called(event.Name() + " posted");
  event.event.tap = static_cast<int>(tap);
  Quartz::Shared().posted.push_back(event.event);
}

bool CGPreflightPostEventAccess() {
  return Quartz::Shared().mayPost;
}

bool CGRequestPostEventAccess() {
  ++Quartz::Shared().requests;
  return Quartz::Shared().mayPost;
}

}  // extern "C"
