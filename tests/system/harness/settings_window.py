"""The settings window of the program under test."""

from harness.waiting import wait_until


class SettingsWindow:
    """The settings window. Each method looks up the controls again."""

    def __init__(self, desktop, quillet):
        self._desktop = desktop
        self._quillet = quillet

    def is_open(self):
        return self._desktop.xdotool("search", "--onlyvisible", "--name", "^Settings$") is not None

    def open(self):
        """Presses Settings and waits until the window has focus."""
        self._quillet.press("Settings")
        self.wait_until_open()

    def wait_until_open(self):
        """Waits until the window is open and has focus."""
        wait_until(self.is_open, "the settings window")
        wait_until(self.has_focus, "focus in the settings window")

    def has_focus(self, name="Settings"):
        return self._desktop.xdotool("getactivewindow", "getwindowname") == name

    def open_panel(self):
        """Opens the file panel and waits until it has focus."""
        self.type_keys("alt+b")
        wait_until(lambda: self.has_focus("Choose a file for the records"), "the file panel")

    def _dialog(self):
        application = self._desktop.accessibility.application(self._quillet.pid)
        (dialog,) = [node for node in application.children()
                     if node.role == "dialog" and node.name == "Settings"]
        return dialog

    def box(self, name):
        return self._dialog().find("check box", name)

    def list(self, name):
        return self._dialog().find("combo box", name)

    def field(self, name):
        return self._dialog().find("text", name)

    def press(self, button):
        self._dialog().find("push button", button).act("Press")

    def type_keys(self, *keys):
        self._desktop.xdotool("key", *keys)

    def choose(self, name, position):
        """Selects a list item with the keyboard. Positions start at 0."""
        self.list(name).grab_focus()
        self.type_keys("Home", *["Down"] * position)
        wait_until(lambda: self.chosen(name) == position,
                   lambda: f"position {position} of {name}, not {self.chosen(name)}", limit=10)

    def chosen(self, name):
        """Returns the position of the selected list item, or None if none is selected."""
        (entries,) = self.list(name).children()
        chosen = [position for position, entry in enumerate(entries.children())
                  if entry.is_selected()]
        return chosen[0] if chosen else None

    def wait_until_closed(self):
        wait_until(lambda: not self.is_open(), "the settings window to close")
