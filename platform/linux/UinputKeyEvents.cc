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
  for (int code = KEY_ESC; code <= kHighestKeyCode; ++code) {
    if (ioctl(descriptor, UI_SET_KEYBIT, code) < 0) return false;
  }
  if (!AddSilentAxes(descriptor)) return false;
  uinput_setup setup{};
  setup.id.bustype = BUS_VIRTUAL;
  std::strncpy(setup.name, "Quillet keyboard", sizeof setup.name - 1);
  return ioctl(descriptor, UI_DEV_SETUP, &setup) >= 0 && ioctl(descriptor, UI_DEV_CREATE) >= 0;
}

}  // namespace

int MakeVirtualKeyboard(const char* path) {
  const int descriptor = open(path, O_RDWR | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0 || Describe(descriptor)) return descriptor;
  const int error = errno;
  close(descriptor);
  errno = error;
  return -1;
}

UinputKeyEvents::UinputKeyEvents(SystemLog& log, Clock& clock, SentKeys& sent, MakeKeyboard make)
    : clock_(clock),
      sent_(sent),
      make_(std::move(make)),
      failure_(log),
      pace_(clock, kTimePerEvent, kMostAhead, kReadingPause) {}

void UinputKeyEvents::Post(std::span<const KeyEvent> events) {
  if (!HaveKeyboard()) return;
  ReadLights();
  std::vector<KeyStroke> strokes;
  ToKeyStrokes(events, capsLock_, [&](KeyStroke stroke) {
    strokes.push_back(stroke);
    if (strokes.size() * kEventsPerStroke < kReportSize) return;
    Write(strokes);
    strokes.clear();
  });
  Write(strokes);
}

bool UinputKeyEvents::HaveKeyboard() {
  if (keyboard_) return true;
  keyboard_.emplace(make_());
  if (!keyboard_->IsOpen()) {
    GiveUpKeyboard(errno);
    return false;
  }
  failure_.Clear();
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
  std::string reason = std::string("/dev/uinput: ") + std::strerror(error);
  if (error == EACCES || error == EPERM) {
    reason += ". Install the udev rule 70-quillet-uinput.rules.";
  }
  failure_.Set(reason);
}

}  // namespace quillet::platform::linux_desktop
