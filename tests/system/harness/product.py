"""The program under test, as its user meets it."""

import os
import signal

from harness.accessibility import Unreachable
from harness.processes import Process
from harness.waiting import wait_until

VIEW = "Messages and records"
PORT_LIST = "combo box"

# A report of the address sanitizer's or the thread sanitizer's ends the program with a status of
# its own. umockdev is loaded before the sanitizers' libraries, which does no harm: it stands in for
# none of the functions that manage memory.
_SANITIZERS = {
    "ASAN_OPTIONS": "verify_asan_link_order=0",
    "LSAN_OPTIONS": "print_suppressions=0",
    "TSAN_OPTIONS": "halt_on_error=1",
    "UBSAN_OPTIONS": "print_stacktrace=1",
}


def _sanitizer_environment():
    environment = dict(_SANITIZERS)
    suppressions = os.environ.get("SYSTEM_TEST_SUPPRESSIONS")
    if suppressions:
        environment["TSAN_OPTIONS"] += f":suppressions={suppressions}"
    return environment


class Quillet:
    """One run of the program, from its start on."""

    def __init__(self, desktop, devices, *, environment=None, **popen):
        self._desktop = desktop
        environment = (desktop.environment | devices.environment | _sanitizer_environment()
                       | (environment or {}))
        self.process = Process("quillet", [os.environ["SYSTEM_TEST_QUILLET"]], environment, **popen)
        self.last_view = ""
        self._frame_node = None
        self._view_node = None
        self._list_node = None

    @property
    def pid(self):
        return self.process.pid

    # The window

    def _frame(self):
        if self._frame_node is None:
            wait_until(self._find_frame, f"the window\n{self.process.output()}")
        return self._frame_node

    def _find_frame(self):
        if not self.process.is_running():
            raise AssertionError(f"the program ended with status {self.process.status()}\n"
                                 + self.process.output())
        try:
            application = self._desktop.accessibility.application(self.pid)
            frames = application.children() if application else []
        except Unreachable:
            return False  # it was just about to come
        if frames:
            (self._frame_node,) = frames
        return bool(frames)

    def wait_for_window(self):
        """Waits until there is a window and everything that comes at the start is in it."""
        self._frame()
        wait_until(lambda: self.window(), "the window on the screen")

    def window(self):
        """The X server's number of the visible window; None when there is none."""
        found = self._desktop.xdotool("search", "--onlyvisible", "--pid", self.pid, "--name", ".")
        return found.splitlines()[0] if found else None

    def title(self):
        """The window's title as the window manager shows it."""
        return self._desktop.xdotool("getwindowname", self.window())

    def wait_for_title(self, title):
        wait_until(lambda: self.title() == title, lambda: f"title {title!r}, not {self.title()!r}")

    def screen_reader_title(self):
        return self._frame().name

    # The view

    def view(self):
        """The whole text of the view."""
        if self._view_node is None:
            self._view_node = self._frame().find("text", VIEW)
        self.last_view = self._view_node.text()
        return self.last_view

    def wait_for_view(self, text):
        """Waits until the view's text is exactly this."""
        wait_until(lambda: self.view() == text,
                   lambda: f"the view to show\n{text!r}\nIt shows\n{self.last_view!r}")

    def wait_for_view_end(self, text):
        wait_until(lambda: self.view().endswith(text),
                   lambda: f"the view to end with\n{text!r}\nIt shows\n{self.last_view!r}")

    # The toolbar

    def _buttons(self):
        toolbar = self._frame().find("tool bar")
        return {node.name: node for node in toolbar.children() if node.role == "push button"}

    def buttons(self):
        """The labels of the buttons, from left to right."""
        return list(self._buttons())

    def press(self, label):
        """Presses a button. What it does has been done, or refused, when this returns; what it
        shows may still be on its way."""
        button = self._buttons()[label]
        button.act("Press")
        wait_until(lambda: not button.is_pressed(), f"{label} to come up again")

    def wait_until_attempt_is_over(self):
        """Waits until no attempt to connect runs any more. The view is empty then: Clear is
        refused as long as one runs, and nothing else tells."""
        def is_cleared():
            self.press("Clear")
            return self.view() == ""
        wait_until(is_cleared, lambda: f"the view to be cleared; it shows {self.last_view!r}")

    def connect_label(self):
        """What the button for connecting is for at the moment."""
        return self.buttons()[0]

    def wait_for_connect_label(self, label):
        wait_until(lambda: self.connect_label() == label, f"the label {label}")

    # The port list

    def _port_list(self):
        if self._list_node is None:
            self._list_node = self._frame().find(PORT_LIST)
        return self._list_node

    def ports(self):
        """The entries of the port list."""
        (entries,) = self._port_list().children()
        return [entry.name for entry in entries.children()]

    def wait_for_ports(self, entries):
        wait_until(lambda: self.ports() == entries,
                   lambda: f"the port list {entries}; it is {self.ports()}")

    def chosen_port(self):
        return self._port_list().name

    def choose_port(self, position):
        """Chooses an entry, counted from 0, with the keyboard."""
        self._port_list().grab_focus()
        self.type_keys("Home", *["Down"] * position)
        wanted = self.ports()[position]
        wait_until(lambda: self.chosen_port() == wanted,
                   lambda: f"{wanted} to be chosen, not {self.chosen_port()}")

    def type_keys(self, *keys):
        self._desktop.xdotool("windowactivate", "--sync", self.window(), "key", *keys)

    # The end

    def close_window(self):
        """Closes the window as a user does, through the window manager."""
        self.type_keys("alt+F4")

    def wait_for_end(self):
        """Waits until the program has ended by itself; returns its status."""
        return self.process.wait()

    def kill(self):
        self.process.send(signal.SIGKILL)
        self.process.wait()

    def output(self):
        """What it has written to its standard output and error streams, which is nothing."""
        return self.process.output()
