#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace quillet::platform {

// The controls of the program's windows, each as little as the program needs of it. Texts are
// UTF-8. Every call is made on the main thread, and so is every action that a control reports.

/// A scrolling view of text that the user can select and copy but not change.
class TextView {
 public:
  virtual ~TextView() = default;

  /// Appends text. A line feed ends a line; no other character does.
  virtual void Append(std::string_view text) = 0;

  /// Scrolls so that the end of the text is visible.
  virtual void ScrollToEnd() = 0;

  /// Replaces the whole text.
  virtual void SetText(std::string_view text) = 0;
};

/// A list of which one item is selected and shown. Positions count from 0; titles may repeat. The
/// first item of an empty list is selected as it is added. When the selected item is removed, the
/// item that takes its position is selected, or the last one.
class PopUpList {
 public:
  virtual ~PopUpList() = default;

  /// Adds an item at the end.
  virtual void AddItem(std::string_view title) = 0;

  /// Removes the item at a position; a position without an item does nothing.
  virtual void RemoveItem(std::int32_t position) = 0;

  /// Selects the item at a position; a position without an item selects nothing.
  virtual void SelectItem(std::int32_t position) = 0;

  /// How many items there are.
  virtual std::int32_t NumberOfItems() const = 0;

  /// The title at a position, empty when there is no such item.
  virtual std::string ItemTitle(std::int32_t position) const = 0;

  /// The position of the selected item, -1 when none is.
  virtual std::int32_t SelectedItem() const = 0;

  /// Sets what is called, with the new position, whenever another item is selected, by the user
  /// or by a change of the list; also when the selected item has moved, and with -1 when none is
  /// selected any longer.
  virtual void OnSelection(std::function<void(std::int32_t position)> action) = 0;
};

/// A labelled item of the main window's toolbar.
class ToolbarItem {
 public:
  virtual ~ToolbarItem() = default;

  /// Replaces the label.
  virtual void SetLabel(std::string_view label) = 0;

  /// Sets what is called when the user presses the item.
  virtual void OnPress(std::function<void()> action) = 0;
};

/// How far something has come, shown beside the main view and never in it.
class ProgressDisplay {
 public:
  virtual ~ProgressDisplay() = default;

  /// Shows how far it has come.
  /// @param text      what is going on, in a few words
  /// @param fraction  how much of it is done, 0 to 1; a negative one when that is not known
  virtual void Show(std::string_view text, double fraction) = 0;

  /// Hides the display. Hidden initially.
  virtual void Hide() = 0;
};

/// A window. It exists, hidden or shown, as long as the program runs.
class Window {
 public:
  virtual ~Window() = default;

  /// Replaces the title.
  virtual void SetTitle(std::string_view title) = 0;

  /// Sets what is called once when the user, or the desktop, closes the window.
  virtual void OnClose(std::function<void()> action) = 0;

  /// Shows the window in front of the program's others, without asking for the keyboard. (Some
  /// desktops give it to every window that appears.)
  virtual void OrderFront() = 0;

  /// Shows the window in front and gives it the keyboard.
  virtual void MakeKeyAndOrderFront() = 0;

  /// Takes the window off the screen. That is not reported through OnClose.
  virtual void Close() = 0;
};

}  // namespace quillet::platform
