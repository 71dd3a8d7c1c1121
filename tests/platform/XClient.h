#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct xcb_connection_t;

namespace quillet::test {

/// A program with windows on the X server to which DISPLAY leads. It lists them as a window manager
/// does, of which there is none.
class XClient {
 public:
  XClient();
  XClient(const XClient&) = delete;
  XClient& operator=(const XClient&) = delete;
  ~XClient();

  /// @return a new window, which is on top of those before
  std::uint32_t MakeWindow();

  void SetText(std::uint32_t window, const std::string& property, const std::string& text);
  void SetNumber(std::uint32_t window, const std::string& property, std::uint32_t number);
  void SetActive(std::uint32_t window);
  std::uint32_t Atom(const std::string& name);

  /// Gives the focus to a new window.
  void TakeKeys();
  /// The code of the next key that has come to it, negative for its release; 0 when none has.
  int NextKey();

  /// Makes the server tell every program of a changed keyboard.
  void ChangeKeyboard();

 private:
  void Set(std::uint32_t window, const std::string& property, std::uint32_t type, int bits,
           const void* data, std::size_t count);

  xcb_connection_t* const xcb_;
  const std::uint32_t root_;
  std::vector<std::uint32_t> windows_;
};

}  // namespace quillet::test
