#include "platform/linux/WaylandKeyEvents.h"

#include <linux/input-event-codes.h>
#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>

#include <algorithm>
#include <vector>

#include "base/UniqueFd.h"
#include "platform/linux/PlainKeymap.h"
#include "platform/linux/VirtualKeyboardProtocol.h"
#include "platform/linux/WaylandConnection.h"

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t kControlMask = 4;  // X11 protocol, section 2: #x0004 is Control

constexpr char kNotAccepted[] = "the Wayland compositor is not accepting keystrokes from Quillet";
constexpr auto kFirstKeyPause = 300ms;

// A compositor disconnects an application whose socket is full. The socket holds about 280 small
// writes, or 50 writes of kStrokesAtOnce strokes (unix(7), net.core.wmem_default; libwayland-server
// 1.21). At 1,250 characters per second, an application can therefore stop reading for up
// to 2.5 s without being disconnected.
constexpr std::size_t kStrokesAtOnce = 140;
constexpr std::chrono::nanoseconds kTimePerStroke = 400us;
constexpr auto kTypingPause = 10ms;

// Returns a file with the text and a final NUL.
UniqueFd MakeFile(const std::string& text) {
  UniqueFd file(memfd_create("quillet-keymap", MFD_CLOEXEC));
  const auto size = static_cast<ssize_t>(text.size() + 1);
  if (!file.IsOpen() || write(file.Get(), text.c_str(), text.size() + 1) != size) return {};
  return file;
}

}  // namespace

class WaylandKeyEvents::Keyboard {
 public:
  Keyboard(Clock& clock, std::chrono::milliseconds patience) : patience_(patience) {
    if (!IsOffered()) return;
    auto* const manager = connection_.wanted();
    // The null pointer is a placeholder for the ID of the new keyboard.
    keyboard_ = Request(manager, kCreateVirtualKeyboard, &VirtualKeyboardInterface(),
                        connection_.seat(), nullptr);
    const std::string keymap = PlainKeymap();
    const UniqueFd file = MakeFile(keymap);
    Request(keyboard_, VirtualKeyboardRequest::kKeymap, nullptr, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1,
            file.Get(), static_cast<std::uint32_t>(keymap.size() + 1));
    // Sending modifiers makes the new keyboard the seat's current keyboard. Applications then read
    // its keymap. If the seat had no keyboard, they also create their keyboard objects now.
    SetModifiers(0);
    if (Finish()) clock.Sleep(kFirstKeyPause);
  }
  ~Keyboard() {
    if (keyboard_ != nullptr) wl_proxy_destroy(keyboard_);
  }
  Keyboard(const Keyboard&) = delete;
  Keyboard& operator=(const Keyboard&) = delete;

  bool IsReachable() const { return !connection_.IsBroken(); }
  bool IsOffered() const {
    return IsReachable() && connection_.wanted() != nullptr && connection_.seat() != nullptr;
  }

  void Press(KeyStroke stroke, std::uint32_t time) {
    Request(keyboard_, VirtualKeyboardRequest::kKey, nullptr, time, std::uint32_t{stroke.code},
            std::uint32_t{stroke.down});
    if (stroke.code == KEY_LEFTCTRL) SetModifiers(stroke.down ? kControlMask : 0);
  }
  bool IsBehind() const { return connection_.IsBehind(); }
  bool Finish() { return connection_.Roundtrip(patience_); }

 private:
  template <class... Arguments>
  static wl_proxy* Request(wl_proxy* proxy, std::uint32_t request, const wl_interface* created,
                           Arguments... arguments) {
    return wl_proxy_marshal_flags(proxy, request, created, 1, 0, arguments...);
  }
  void SetModifiers(std::uint32_t depressed) {
    Request(keyboard_, VirtualKeyboardRequest::kModifiers, nullptr, depressed, std::uint32_t{0},
            std::uint32_t{0}, std::uint32_t{0});
  }

  const std::chrono::milliseconds patience_;
  WaylandConnection connection_{&VirtualKeyboardManagerInterface()};
  wl_proxy* keyboard_ = nullptr;
};

WaylandKeyEvents::WaylandKeyEvents(SystemLog& log, Clock& clock, SentKeys& sent,
                                   std::chrono::milliseconds patience)
    : clock_(clock),
      sent_(sent),
      patience_(patience),
      failure_(log),
      pace_(clock, kTimePerStroke, kStrokesAtOnce, kTypingPause) {}

WaylandKeyEvents::~WaylandKeyEvents() = default;

bool WaylandKeyEvents::IsOffered() {
  return WaylandConnection(&VirtualKeyboardManagerInterface()).wanted() != nullptr;
}

bool WaylandKeyEvents::Connect() {
  if (keyboard_ && keyboard_->IsOffered()) return true;
  keyboard_ = std::make_unique<Keyboard>(clock_, patience_);
  return keyboard_->IsOffered();
}

void WaylandKeyEvents::Post(std::span<const KeyEvent> events) {
  std::vector<KeyStroke> strokes;
  for (const KeyEvent& event : events) {
    const std::uint16_t code = PlainKeyCode(event.character);
    if (code == 0) continue;
    const bool withControl = event.down && event.flag == KeyFlag::kCommand;
    if (withControl) strokes.push_back({KEY_LEFTCTRL, true});
    strokes.push_back({code, event.down});
    if (withControl) strokes.push_back({KEY_LEFTCTRL, false});
  }
  if (strokes.empty()) return;
  if (!Connect()) {
    return failure_.Set(keyboard_->IsReachable()
                            ? "the Wayland compositor does not support virtual keyboards"
                            : "the Wayland compositor cannot be reached");
  }
  // If the connection ends, the rest of the record is dropped instead of being sent over the next
  // connection.
  for (std::span<const KeyStroke> rest = strokes; !rest.empty();) {
    const auto some = rest.first(std::min(rest.size(), kStrokesAtOnce));
    rest = rest.subspan(some.size());
    if (!Send(some)) return failure_.Set(kNotAccepted);
  }
  failure_.Clear();
}

// Sends strokes. Returns false if the compositor has not accepted them.
bool WaylandKeyEvents::Send(std::span<const KeyStroke> strokes) {
  if (!keyboard_->IsOffered()) return false;
  if (keyboard_->IsBehind() && !keyboard_->Finish()) return false;
  pace_.Wait(strokes.size());
  const auto now = clock_.Now();
  const auto time = static_cast<std::uint32_t>(
      std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
  sent_.BeginWrite(strokes, now);
  for (const KeyStroke stroke : strokes) keyboard_->Press(stroke, time);
  const bool isAccepted = keyboard_->Finish();
  sent_.EndWrite(now);
  return isAccepted;
}

}  // namespace quillet::platform::linux_desktop
