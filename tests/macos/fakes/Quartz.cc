// Fake Quartz event services.

#include <CoreGraphics/CoreGraphics.h>

#include "tests/macos/fakes/Fakes.h"

using namespace quillet::macos_tests;

namespace {

struct EventSource final : Object {
  explicit EventSource(int value) : state(value) {}
  ~EventSource() override { Called("source released"); }
  const int state;
};

struct Event final : Object {
  explicit Event(PostedKey value) : key(value) { Called(Name() + " created"); }
  ~Event() override { Called(Name() + " released"); }
  std::string Name() const { return key.down ? "down" : "up"; }
  PostedKey key;
};

}  // namespace

extern "C" {

CGEventSourceRef CGEventSourceCreate(CGEventSourceStateID state) {
  Called("source created");
  return TheMac().hasSources ? Make<CGEventSourceRef, EventSource>(state) : nullptr;
}

CGEventRef CGEventCreateKeyboardEvent(CGEventSourceRef source, CGKeyCode key, bool down) {
  const int state = source == nullptr ? -1 : As<EventSource>(source).state;
  if (!TheMac().hasEvents) return nullptr;
  return Make<CGEventRef, Event>(PostedKey{.key = key, .down = down, .sourceState = state});
}

void CGEventSetFlags(CGEventRef reference, CGEventFlags flags) {
  auto& event = As<Event>(reference);
  Called(event.Name() + " flags");
  event.key.flags = flags;
  event.key.flagsWereSet = true;
}

void CGEventKeyboardSetUnicodeString(CGEventRef reference, unsigned long length,
                                     const uint16_t* text) {
  As<Event>(reference).key.text.assign(text, text + length);
}

void CGEventSetIntegerValueField(CGEventRef reference, CGEventField field, int64_t value) {
  EXPECT_EQ(field, 42U) << "not kCGEventSourceUserData";
  As<Event>(reference).key.userData = value;
}

int64_t CGEventGetIntegerValueField(CGEventRef reference, CGEventField field) {
  EXPECT_EQ(field, 42U) << "not kCGEventSourceUserData";
  return As<Event>(reference).key.userData;
}

void CGEventPost(CGEventTapLocation tap, CGEventRef reference) {
  auto& event = As<Event>(reference);
  Called(event.Name() + " posted");
  event.key.tap = static_cast<int>(tap);
  TheMac().posted.push_back(event.key);
}

bool CGPreflightPostEventAccess() {
  return TheMac().mayPost;
}

bool CGRequestPostEventAccess() {
  ++TheMac().requests;
  return TheMac().mayPost;
}

}  // extern "C"
