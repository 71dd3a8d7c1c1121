#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace quillet::platform {

// The controls of the program's windows. Texts are UTF-8. Calls and callbacks: main thread.

/// A scrolling, read-only view of text.
class TextView {
 public:
  virtual ~TextView() = default;
  virtual void Append(std::string_view text) = 0;   ///< appends text; only LF ends a line
  virtual void ScrollToEnd() = 0;                   ///< scrolls to the end of the text
  virtual void SetText(std::string_view text) = 0;  ///< replaces the whole text
};

/// A list that shows its selected item. Positions count from 0; titles may repeat. The first item
/// added to an empty list becomes selected. If the selected item is removed, the next item becomes
/// selected, or the last item if no item follows.
class PopUpList {
 public:
  virtual ~PopUpList() = default;
  virtual void AddItem(std::string_view title) = 0;    ///< adds an item at the end
  virtual void RemoveItem(std::int32_t position) = 0;  ///< ignores invalid positions
  virtual void SelectItem(std::int32_t position) = 0;  ///< clears the selection if invalid
  virtual std::int32_t NumberOfItems() const = 0;      ///< returns the number of items
  virtual std::string ItemTitle(std::int32_t position) const = 0;  ///< returns "" if invalid
  virtual std::int32_t SelectedItem() const = 0;  ///< returns -1 if no item is selected

  /// Sets the action to call when the selected item or its position changes, whether the user or an
  /// update of the list changed it. The argument is the new position, or -1 if no item is selected.
  virtual void OnSelection(std::function<void(std::int32_t position)> action) = 0;
};

/// A labelled item of the main window's toolbar.
class ToolbarItem {
 public:
  virtual ~ToolbarItem() = default;
  virtual void SetLabel(std::string_view label) = 0;       ///< replaces the label
  virtual void OnPress(std::function<void()> action) = 0;  ///< sets the action to call when pressed
};

/// The line below the main view, which shows progress or a message. Hidden initially.
class ProgressDisplay {
 public:
  virtual ~ProgressDisplay() = default;

  /// Shows a progress message.
  /// @param text      one short line
  /// @param fraction  completed part, 0 to 1; negative if unknown
  virtual void Show(std::string_view text, double fraction) = 0;

  virtual void ShowMessage(std::string_view text) = 0;  ///< shows one line without progress
  virtual void Hide() = 0;                              ///< hides the display
};

/// A window, hidden or visible. Exists until the program ends.
class Window {
 public:
  virtual ~Window() = default;
  virtual void SetTitle(std::string_view title) = 0;  ///< replaces the title

  /// Sets the action to call once, when the user or the desktop closes the window.
  virtual void OnClose(std::function<void()> action) = 0;

  /// Shows the window in front of the program's other windows without requesting focus. Some
  /// desktops focus every new window.
  virtual void OrderFront() = 0;

  virtual void MakeKeyAndOrderFront() = 0;  ///< shows the window in front, with keyboard focus
  virtual void Close() = 0;                 ///< hides the window; does not call OnClose's action
};

}  // namespace quillet::platform
