#include "platform/linux/UinputKeyEvents.h"

#include <fcntl.h>
#include <linux/uinput.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "base/Retry.h"

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;

// Time for udev to process a new keyboard and for the desktop to open it.
constexpr auto kNewKeyboardPause = 1500ms;

// Unused axes enlarge the kernel's event buffer for each reader from 64 to 512 events: its size is
// eight times the estimated events per packet, rounded up to a power of two (drivers/input/input.c,
// input_estimate_events_per_packet; drivers/input/evdev.c, evdev_compute_buffer_size).
constexpr std::array kSilentAxes = {REL_Z,    REL_RX,       REL_RY, REL_RZ, REL_DIAL,
                                    REL_MISC, REL_RESERVED, 0x0d,   0x0e,   0x0f};
constexpr int kFirstSilentPosition = ABS_VOLUME;
constexpr int kLastSilentPosition = ABS_RESERVED;
static_assert(8 * (1 + 7 + kSilentAxes.size() + kLastSilentPosition - kFirstSilentPosition + 1) >
              256);

// The steady rate is 320 characters (1280 events) per second. A burst may be up to 96 events ahead
// of this rate. Typical records are therefore sent immediately, and no event is lost if the desktop
// stops reading for 0.3 s.
constexpr std::chrono::nanoseconds kTimePerEvent = 781250ns;
constexpr std::size_t kMostAhead = 96;
constexpr auto kReadingPause = 25ms;
static_assert(kMostAhead + 300ms / kTimePerEvent < 512);

// Events per write. The desktop must be able to read all of them during one pause.
constexpr std::size_t kReportSize = 32;
static_assert(kReportSize * kTimePerEvent <= kReadingPause);
constexpr std::size_t kEventsPerStroke = 2;

// Includes the keys of ToKeyStrokes and all keys that SessionLayout may find, such as Yen (124) on
// Japanese keyboards.
constexpr int kHighestCode = kHighestRealCode - 8;
static_assert(kHighestCode >= KEY_YEN && kHighestCode >= kHighestKeyCode);

constexpr std::uint32_t kLockModifier = 2;  // Caps Lock (X11 protocol, section 2)

std::uint16_t EvdevCode(std::uint32_t xkbCode) {
  constexpr std::uint32_t kOffset =
      8;  // XKB key code minus evdev code (xkbcommon.h, xkb_keycode_t)
  return static_cast<std::uint16_t>(xkbCode - kOffset);
}

input_event Event(std::uint16_t type, std::uint16_t code, std::int32_t value) {
  input_event event{};  // the kernel sets the time
  event.type = type;
  event.code = code;
  event.value = value;
  return event;
}

bool AddSilentAxes(int descriptor) {
  if (ioctl(descriptor, UI_SET_EVBIT, EV_REL) < 0 || ioctl(descriptor, UI_SET_EVBIT, EV_ABS) < 0) {
    return false;
  }
  for (const int axis : kSilentAxes) {
    if (ioctl(descriptor, UI_SET_RELBIT, axis) < 0) return false;
  }
  for (int axis = kFirstSilentPosition; axis <= kLastSilentPosition; ++axis) {
    uinput_abs_setup setup{};
    setup.code = static_cast<std::uint16_t>(axis);
    setup.absinfo.maximum = 1;  // libinput rejects devices with an empty axis range
    if (ioctl(descriptor, UI_ABS_SETUP, &setup) < 0) return false;
  }
  return true;
}

// udev treats a device as a keyboard only if it has all keys from Esc to S (udev-builtin-input_id.c
// in systemd).
bool Describe(int descriptor) {
  if (ioctl(descriptor, UI_SET_EVBIT, EV_KEY) < 0 || ioctl(descriptor, UI_SET_EVBIT, EV_LED) < 0 ||
      ioctl(descriptor, UI_SET_LEDBIT, LED_CAPSL) < 0) {
    return false;
  }
  for (int code = KEY_ESC; code <= kHighestCode; ++code) {
    if (code == KEY_POWER) continue;  // systemd-logind would treat the device as a power button
    if (ioctl(descriptor, UI_SET_KEYBIT, code) < 0) return false;
  }
  if (!AddSilentAxes(descriptor)) return false;
  uinput_setup setup{};
  setup.id.bustype = BUS_VIRTUAL;
  std::strncpy(setup.name, "Quillet keyboard", sizeof setup.name - 1);
  return ioctl(descriptor, UI_DEV_SETUP, &setup) >= 0 && ioctl(descriptor, UI_DEV_CREATE) >= 0;
}

std::string ReasonFor(int error) {
  std::string reason = std::string("/dev/uinput: ") + std::strerror(error);
  if (error == EACCES || error == EPERM) {
    reason += ". Install the udev rules file 70-quillet-uinput.rules.";
  }
  return reason;
}

}  // namespace

std::string UinputProblem(const char* path) {
  const UniqueFd file(open(path, O_RDWR | O_NONBLOCK | O_CLOEXEC));
  return file.IsOpen() ? "" : ReasonFor(errno);
}

int MakeVirtualKeyboard(const char* path) {
  const int descriptor = open(path, O_RDWR | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0 || Describe(descriptor)) return descriptor;
  const int error = errno;
  close(descriptor);
  errno = error;
  return -1;
}

UinputKeyEvents::UinputKeyEvents(SystemLog& log, Clock& clock, SentKeys& sent, MakeKeyboard make,
                                 SessionLayout* layout)
    : clock_(clock),
      sent_(sent),
      make_(std::move(make)),
      layout_(layout),
      failure_(log),
      pace_(clock, kTimePerEvent, kMostAhead, kReadingPause) {}

void UinputKeyEvents::Post(std::span<const KeyEvent> events) {
  if (!HaveKeyboard()) return;
  failure_.Clear();
  ReadLights();
  const std::vector<KeyStroke> strokes = StrokesFor(events);
  constexpr std::size_t kStrokesInReport = kReportSize / kEventsPerStroke;
  for (std::span<const KeyStroke> rest = strokes; !rest.empty();) {
    const auto some = rest.first(std::min(rest.size(), kStrokesInReport));
    rest = rest.subspan(some.size());
    Write(some);
  }
}

// Holds modifiers only while a key is pressed, like ToKeyStrokes. Returns no strokes if a key is
// missing, so that the whole record is dropped.
std::vector<KeyStroke> UinputKeyEvents::StrokesFor(std::span<const KeyEvent> events) {
  std::vector<KeyStroke> strokes;
  const auto put = [&](KeyStroke stroke) { strokes.push_back(stroke); };
  if (layout_ == nullptr || !layout_->Update()) {
    ToKeyStrokes(events, capsLock_, put);
    return strokes;
  }
  std::uint16_t pressed = 0;
  const auto release = [&] {
    if (pressed != 0) put({std::exchange(pressed, std::uint16_t{0}), false});
  };
  for (const KeyEvent& event : events) {
    if (!event.down) {
      release();
      continue;
    }
    const KeyChords chords = layout_->Find(event, capsLock_ ? kLockModifier : 0);
    if (chords.empty()) {
      failure_.Set(ReasonWithoutKey(event));
      return {};
    }
    for (const KeyChord& chord : chords) {
      release();
      for (const std::uint32_t code : chord.modifiers) put({EvdevCode(code), true});
      put({pressed = EvdevCode(chord.code), true});
      for (auto it = chord.modifiers.rbegin(); it != chord.modifiers.rend(); ++it) {
        put({EvdevCode(*it), false});
      }
    }
  }
  return strokes;
}

std::string UinputKeyEvents::Untypable(std::string_view text) {
  std::string missing;
  if (layout_ == nullptr || !layout_->Update()) return missing;
  for (const char character : text) {
    const KeyEvent press{0, true, KeyFlag::kNone, character};
    if (missing.find(character) == std::string::npos &&
        layout_->Find(press, capsLock_ ? kLockModifier : 0).empty()) {
      missing += character;
    }
  }
  return missing;
}

bool UinputKeyEvents::HaveKeyboard() {
  if (keyboard_) return true;
  keyboard_.emplace(make_());
  if (!keyboard_->IsOpen()) {
    GiveUpKeyboard(errno);
    return false;
  }
  clock_.Sleep(kNewKeyboardPause);
  return true;
}

void UinputKeyEvents::ReadLights() {
  std::array<input_event, 16> lights{};
  for (;;) {
    const ssize_t count = read(keyboard_->Get(), lights.data(), sizeof lights);
    if (count < static_cast<ssize_t>(sizeof lights[0])) return;  // no more events
    for (std::size_t i = 0; i < static_cast<std::size_t>(count) / sizeof lights[0]; ++i) {
      if (lights[i].type == EV_LED && lights[i].code == LED_CAPSL) capsLock_ = lights[i].value != 0;
    }
  }
}

void UinputKeyEvents::Write(std::span<const KeyStroke> strokes) {
  if (!keyboard_ || strokes.empty()) return;
  std::vector<input_event> report;
  for (const KeyStroke stroke : strokes) {
    report.push_back(Event(EV_KEY, stroke.code, stroke.down));
    report.push_back(Event(EV_SYN, SYN_REPORT, 0));
  }
  pace_.Wait(report.size());
  const std::size_t size = report.size() * sizeof report[0];
  sent_.BeginWrite(strokes, clock_.Now());
  const ssize_t written =
      RetryOnSignal([&] { return write(keyboard_->Get(), report.data(), size); });
  sent_.EndWrite(clock_.Now());
  if (written != static_cast<ssize_t>(size)) {
    GiveUpKeyboard(written < 0 ? errno : EIO);
  }
}

void UinputKeyEvents::GiveUpKeyboard(int error) {
  keyboard_.reset();
  capsLock_ = false;  // the desktop sends the Caps Lock state to the next keyboard
  failure_.Set(ReasonFor(error));
}

}  // namespace quillet::platform::linux_desktop
