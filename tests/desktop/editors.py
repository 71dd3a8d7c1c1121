"""Programs into which records are typed or pasted."""

import os
import re
import subprocess

from harness.processes import Process
from harness.waiting import wait_until

PROGRAMS = os.path.join(os.path.dirname(os.path.realpath(__file__)), "programs")
TEXT_WINDOW = f"{PROGRAMS}/text_window.py"


class Editor:
    """A program that opens a window and writes the text that it receives to a file."""

    def __init__(self, test, name, command, path, **popen):
        desktop = test.desktop
        self.path = path
        self._desktop = desktop
        self.process = Process(name, command, desktop.environment, **popen)
        test.addCleanup(self.process.stop)
        wait_until(lambda: os.path.exists(path), lambda: f"{name}\n{self.process.output()}")
        wait_until(self._windows, f"the window of {name}")
        self.window = self._windows()[-1]
        self.focus()

    def _windows(self):
        found = self._desktop.xdotool("search", "--onlyvisible", "--name", f"^{self.TITLE}$")
        return found.splitlines() if found else []

    def focus(self):
        self._desktop.xdotool("windowactivate", "--sync", self.window)
        wait_until(self.has_focus, "the editor to have focus")

    def has_focus(self):
        return self._desktop.xdotool("getwindowfocus") is not None and \
            self._desktop.xdotool("getactivewindow") == self.window

    def text(self):
        with open(self.path, encoding="utf-8", newline="") as file:
            return file.read()

    def wait_for_text(self, text, limit=40):
        wait_until(lambda: self.text() == text,
                   lambda: f"{len(text)} characters that end with\n{text[-500:]!r}\nThe file has "
                           f"{len(self.text())}\n{self.text()[-500:]!r}\nThe window with focus: "
                           f"{self._desktop.xdotool('getwindowfocus', 'getwindowname')}", limit)


class Terminal(Editor):
    """xterm connected to terminal_reader.py."""

    TITLE = "terminal reader"

    def __init__(self, test, path="/tmp/terminal.text"):
        # If xterm opened the pseudo-terminal, the terminal's group would change to one that does
        # not exist in the sandbox.
        window_side, program_side = os.openpty()
        reader = Process("reader", ["/usr/bin/python3", f"{PROGRAMS}/terminal_reader.py", path],
                         test.desktop.environment, stdin=program_side)
        test.addCleanup(reader.stop)
        wait_until(lambda: os.path.exists(path), lambda: f"the reader\n{reader.output()}")
        super().__init__(test, "xterm", ["xterm", "-fa", "DejaVu Sans Mono", "-title", self.TITLE,
                                         f"-S{os.ttyname(program_side)}/{window_side}"],
                         path, pass_fds=[window_side])
        os.close(window_side)
        os.close(program_side)
        # With -S, xterm first writes its window ID to the terminal.
        wait_until(lambda: super(Terminal, self).text().endswith("\n"), "xterm's first line")
        self._first_line = len(super().text())

    def text(self):
        return super().text()[self._first_line:]

    def time_of_last_read(self):
        """Returns the time.monotonic() value of the last read. The reader saves this value
        only during pauses."""
        if not os.path.exists(self.path + ".time"):
            return 0.0
        with open(self.path + ".time", encoding="ascii") as file:
            return float(file.read())


class TextWindow(Editor):
    """text_window.py, a window with a text field."""

    TITLE = "text window"

    def __init__(self, test, path="/tmp/window.text", paste_delay=0):
        super().__init__(test, "text-window",
                         ["/usr/bin/python3", TEXT_WINDOW, path, str(paste_delay)], path)


class KeyWindow(Editor):
    """key_window.py, a plain Xlib client."""

    TITLE = "key window"

    def __init__(self, test, path="/tmp/keys.text"):
        super().__init__(test, "key-window", ["/usr/bin/python3", f"{PROGRAMS}/key_window.py",
                                              path], path)


def caps_lock(desktop):
    """Returns whether Caps Lock is on."""
    output = subprocess.run(["xset", "q"], env=desktop.environment, capture_output=True, text=True,
                          check=True).stdout
    return re.search(r"Caps Lock:\s+(\w+)", output).group(1) == "on"


def set_caps_lock(desktop, on):
    if caps_lock(desktop) != on:
        desktop.xdotool("key", "Caps_Lock")
    wait_until(lambda: caps_lock(desktop) == on, f"Caps Lock {on}")
