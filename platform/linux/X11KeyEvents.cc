#include "platform/linux/X11KeyEvents.h"

#include <xcb/xcbext.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <vector>

// This C header has a member named "explicit", a C++ keyword.
#ifdef __clang__
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wkeyword-macro"
#endif
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
#ifdef __clang__
#pragma clang diagnostic pop
#endif

#include "platform/linux/X11OwnKeys.h"
#include "platform/linux/Xcb.h"

namespace quillet::platform::linux_desktop {

class X11KeyEvents::Connection : public XcbConnection {
 public:
  Connection() {
    if (IsBroken()) return;
    const auto* test = xcb_get_extension_data(xcb_, &xcb_test_id);
    if (test == nullptr || !test->present) return;
    canTest_ = true;
    // X key codes are evdev codes plus this offset.
    offset_ = xcb_get_setup(xcb_)->min_keycode;
    FollowCapsLock();
  }
  bool CanTest() const { return canTest_; }

  // Returns the Caps Lock state last reported by the server, without a round trip.
  bool CapsLock() {
    while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(xcb_)}) {
      // All XKB events have the same type; pad0 has the XKB subtype.
      if (keyboardEvent_ != 0 && (event->response_type & 0x7F) == keyboardEvent_ &&
          event->pad0 == XCB_XKB_STATE_NOTIFY) {
        const auto* state = reinterpret_cast<const xcb_xkb_state_notify_event_t*>(event.get());
        capsLock_ = (state->lockedMods & XCB_MOD_MASK_LOCK) != 0;
      }
    }
    return capsLock_;
  }

  void Send(std::span<const KeyStroke> strokes, std::uint32_t ownKeys) {
    while (!strokes.empty()) {
      const auto some = strokes.first(std::min(strokes.size(), kMostAnnounced));
      if (ownKeys != 0) AnnounceKeys(xcb_, ownKeys, some);
      for (const KeyStroke stroke : some) Put(stroke);
      if (ownKeys != 0) ConfirmKeys(xcb_, ownKeys);
      strokes = strokes.subspan(some.size());
    }
    xcb_flush(xcb_);
  }

 private:
  void Put(KeyStroke stroke) {
    xcb_test_fake_input(xcb_, stroke.down ? XCB_KEY_PRESS : XCB_KEY_RELEASE,
                        static_cast<std::uint8_t>(stroke.code + offset_), XCB_CURRENT_TIME,
                        XCB_NONE, 0, 0, 0);
  }

  void FollowCapsLock() {
    const auto* extension = xcb_get_extension_data(xcb_, &xcb_xkb_id);
    if (extension == nullptr || !extension->present) return;
    const XcbReply<xcb_xkb_use_extension_reply_t> use{
        xcb_xkb_use_extension_reply(xcb_, xcb_xkb_use_extension(xcb_, 1, 0), nullptr)};
    if (!use || !use->supported) return;
    xcb_xkb_select_events_details_t details{};
    details.affectState = XCB_XKB_STATE_PART_MODIFIER_LOCK;
    details.stateDetails = XCB_XKB_STATE_PART_MODIFIER_LOCK;
    xcb_xkb_select_events_aux(xcb_, XCB_XKB_ID_USE_CORE_KBD, XCB_XKB_EVENT_TYPE_STATE_NOTIFY, 0, 0,
                              0, 0, &details);
    const XcbReply<xcb_xkb_get_state_reply_t> state{
        xcb_xkb_get_state_reply(xcb_, xcb_xkb_get_state(xcb_, XCB_XKB_ID_USE_CORE_KBD), nullptr)};
    if (!state) return;
    capsLock_ = (state->lockedMods & XCB_MOD_MASK_LOCK) != 0;
    keyboardEvent_ = extension->first_event;
  }

  bool canTest_ = false;
  std::uint8_t offset_ = 0;
  std::uint8_t keyboardEvent_ = 0;  // event type of XKB; 0 if XKB is not available
  bool capsLock_ = false;
};

X11KeyEvents::X11KeyEvents(SystemLog& log, std::uint32_t ownKeys)
    : failure_(log), ownKeys_(ownKeys) {}

X11KeyEvents::~X11KeyEvents() = default;

void X11KeyEvents::Post(std::span<const KeyEvent> events) {
  if (!Connect()) return;
  std::vector<KeyStroke> strokes;
  ToKeyStrokes(events, connection_->CapsLock(),
               [&](KeyStroke stroke) { strokes.push_back(stroke); });
  connection_->Send(strokes, ownKeys_);
}

bool X11KeyEvents::Connect() {
  if (connection_ && !connection_->IsBroken()) return connection_->CanTest();
  connection_ = std::make_unique<Connection>();
  if (connection_->CanTest()) {
    failure_.Clear();
    return true;
  }
  failure_.Set(connection_->IsBroken() ? "the X server cannot be reached"
                                       : "the X server has no XTEST extension");
  return false;
}

}  // namespace quillet::platform::linux_desktop
