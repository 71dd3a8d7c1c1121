#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct xcb_connection_t;

namespace quillet::test {

/// An X client with windows on the server specified by DISPLAY. It also sets the properties of the
/// root window that a window manager would set.
class XClient {
 public:
  XClient();
  XClient(const XClient&) = delete;
  XClient& operator=(const XClient&) = delete;
  ~XClient();

  /// Creates a window on top of the others. @return its ID
  std::uint32_t MakeWindow();

  void SetText(std::uint32_t window, const std::string& property, const std::string& text);
  void SetNumber(std::uint32_t window, const std::string& property, std::uint32_t number);
  void SetActive(std::uint32_t window);
  std::uint32_t Atom(const std::string& name);

  /// Creates a window and gives it focus.
  void TakeFocus();
  /// Gives focus to the window created last. The window must be visible.
  void Focus();
  /// Returns the code of the window's next key event: negative for a release, 0 if there is none.
  int NextKey();

  /// Starts receiving messages that are sent to the root window.
  void ListenToRoot();
  /// Returns the bytes of all received messages with 8-bit data.
  std::string Messages();

  /// Requests the clipboard in a format. Creates a window if there is none.
  /// @param format  "UTF8_STRING", or "TARGETS" for the list of formats
  void RequestClipboard(const std::string& format = "UTF8_STRING");
  /// Returns the answer to RequestClipboard, or no value if it has not arrived. Discards all other
  /// events.
  std::optional<std::string> Clipboard();

  /// Changes the keyboard's mapping, which the server reports to every client.
  void ChangeKeyboard();

 private:
  void Set(std::uint32_t window, const std::string& property, std::uint32_t type, int bits,
           const void* data, std::size_t count);
  void Synchronize() { Atom("round trip"); }

  xcb_connection_t* const xcb_;
  const std::uint32_t root_;
  std::vector<std::uint32_t> windows_;
};

}  // namespace quillet::test
