#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillet::platform {

// The controls of the program's windows. Texts are UTF-8. All calls and callbacks are on the main
// thread.

/// A scrolling, read-only view of text.
class TextView {
 public:
  virtual ~TextView() = default;
  virtual void Append(std::string_view text) = 0;  ///< appends text; only LF ends a line

  /// Appends whole records. If the records in the view exceed 100,000 lines or 16 Mi characters,
  /// removes their oldest lines. Lines that contain text from Append or SetText are kept.
  virtual void AppendRecords(std::string_view text) = 0;

  /// Sets the action to call when the view removes records.
  virtual void OnRecordsRemoved(std::function<void()> action) = 0;

  virtual void ScrollToEnd() = 0;                   ///< scrolls to the end of the text
  virtual void SetText(std::string_view text) = 0;  ///< replaces the whole text
};

/// A drop-down list. Positions are zero-based; titles may repeat. The first item added to an empty
/// list becomes selected. If the selected item is removed, the next item becomes selected, or the
/// last item if no item follows.
class PopUpList {
 public:
  virtual ~PopUpList() = default;
  /// Appends an item.
  /// @param title   text of the item
  /// @param detail  distinguishes items with the same title; shown next to the title; may be empty
  virtual void AddItem(std::string_view title, std::string_view detail) = 0;
  virtual void RemoveItem(std::int32_t position) = 0;  ///< ignores invalid positions
  virtual void SelectItem(std::int32_t position) = 0;  ///< invalid positions clear the selection
  virtual std::int32_t NumberOfItems() const = 0;      ///< returns the number of items
  virtual std::string ItemTitle(std::int32_t position) const = 0;  ///< "" for an invalid position
  virtual std::int32_t SelectedItem() const = 0;  ///< returns -1 if no item is selected

  /// Sets the action to call when the user or an update of the list changes the selected item or
  /// its position. The argument is the new position, or -1 if no item is selected.
  virtual void OnSelection(std::function<void(std::int32_t position)> action) = 0;
};

/// A labelled item of the main window's toolbar.
class ToolbarItem {
 public:
  virtual ~ToolbarItem() = default;
  virtual void SetLabel(std::string_view label) = 0;       ///< replaces the label
  virtual void OnPress(std::function<void()> action) = 0;  ///< sets the action to call when pressed
};

/// A button in the status strip.
struct StripAction {
  std::string title;          ///< text of the button, a few words
  std::function<void()> run;  ///< called when the button is pressed
};

/// The line below the main view. Empty initially. Its height never changes.
class StatusDisplay {
 public:
  static constexpr std::size_t kMaximumActions = 2;  ///< maximum number of buttons

  virtual ~StatusDisplay() = default;

  /// Replaces the contents of the line.
  /// @param text      one line; its end is cut off if the window is too narrow
  /// @param fraction  progress shown as a bar, 0 to 1; negative: unknown; no value: no progress bar
  /// @param actions   buttons from left to right, at most kMaximumActions
  virtual void Show(std::string_view text, std::optional<double> fraction,
                    const std::vector<StripAction>& actions) = 0;
};

/// A window. Exists until the program ends, even while it is hidden.
class Window {
 public:
  virtual ~Window() = default;
  virtual void SetTitle(std::string_view title) = 0;  ///< replaces the title

  /// Sets the action to call when the user or the desktop closes the window for the first time.
  virtual void OnClose(std::function<void()> action) = 0;

  /// Shows the window in front of the program's other windows without requesting focus. Some
  /// desktops focus every new window.
  virtual void OrderFront() = 0;

  virtual void MakeKeyAndOrderFront() = 0;  ///< brings the window to the front with focus
  virtual void Close() = 0;                 ///< hides the window; does not call OnClose's action
};

}  // namespace quillet::platform
