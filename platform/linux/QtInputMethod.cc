#include "platform/linux/QtInputMethod.h"

#include <xcb/res.h>
#include <xcb/xcb.h>

#include <cstdint>
#include <fstream>
#include <string_view>

#include "platform/linux/Xcb.h"

namespace quillet::platform::linux_desktop {
namespace {

class FocusedProgram : public XcbConnection {
 public:
  // Returns the ID of the process that owns the focused window, or 0 if it is unknown.
  std::uint32_t Process() {
    const auto* const extension = IsBroken() ? nullptr : xcb_get_extension_data(xcb_, &xcb_res_id);
    if (extension == nullptr || !extension->present) return 0;
    const XcbReply<xcb_get_input_focus_reply_t> focus{
        xcb_get_input_focus_reply(xcb_, xcb_get_input_focus(xcb_), nullptr)};
    if (!focus) return 0;
    const xcb_res_client_id_spec_t client{focus->focus, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    const XcbReply<xcb_res_query_client_ids_reply_t> reply{
        xcb_res_query_client_ids_reply(xcb_, xcb_res_query_client_ids(xcb_, 1, &client), nullptr)};
    if (!reply) return 0;
    const auto ids = xcb_res_query_client_ids_ids_iterator(reply.get());
    const bool isKnown = ids.rem > 0 && xcb_res_client_id_value_value_length(ids.data) > 0;
    return isKnown ? *xcb_res_client_id_value_value(ids.data) : 0;
  }
};

}  // namespace

std::string QtInputMethodInFocus() {
  const std::uint32_t process = FocusedProgram().Process();
  if (process == 0) return {};
  // /proc/PID/maps lists the files that the process has loaded (proc(5)).
  std::ifstream maps("/proc/" + std::to_string(process) + "/maps");
  for (std::string line; std::getline(maps, line);) {
    const std::size_t folder = line.rfind("/platforminputcontexts/");
    if (folder == std::string::npos) continue;
    const std::string_view file = std::string_view(line).substr(folder);
    if (file.find("libibus") != std::string_view::npos) return "IBus";
    if (file.find("libfcitx") != std::string_view::npos) return "Fcitx";
  }
  return {};
}

}  // namespace quillet::platform::linux_desktop
