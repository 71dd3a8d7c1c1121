"""The program under test and its main window."""

import os
import re
import signal

from harness.accessibility import Unreachable
from harness.messages import SILENCE
from harness.processes import Process
from harness.waiting import wait_until
from harness.window_manager import close_window

VIEW = "Messages and records"
PORT_LIST = "Port"

_FOLDER = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
_THREADS = f"{os.path.dirname(_FOLDER)}/libraries.tsan"

# Run-time options for builds with sanitizers. If a sanitizer reports an error, the program's exit
# status is not 0, so the test fails. The address sanitizer need not verify the link order, because
# the preloaded umockdev library does not replace memory functions.
_SANITIZERS = {
    "ASAN_OPTIONS": "verify_asan_link_order=0",
    "LSAN_OPTIONS": f"print_suppressions=0:suppressions={_FOLDER}/libraries.lsan",
    # By default, the thread sanitizer waits a second before the process ends.
    "TSAN_OPTIONS": f"atexit_sleep_ms=0:halt_on_error=1:suppressions={_THREADS}",
    "UBSAN_OPTIONS": "print_stacktrace=1",
}


class Quillet:
    """The running program under test."""

    def __init__(self, desktop, devices, *, environment=None, prefix=(), **popen):
        self._desktop = desktop
        environment = (desktop.environment | devices.environment | _SANITIZERS
                       | (environment or {}))
        self.process = Process("quillet", [*prefix, os.environ["SYSTEM_TEST_QUILLET"]], environment,
                               **popen)
        self.last_view = ""
        self._frame_node = None
        self._parts = {}  # controls that exist as long as the window

    @property
    def pid(self):
        return self.process.pid

    # The window

    def _frame(self):
        if self._frame_node is None:
            wait_until(self._find_frame, lambda: f"the window\n{self.process.output()}")
        return self._frame_node

    def _find_frame(self):
        if not self.process.is_running():
            raise AssertionError(f"the program ended with status {self.process.status()}\n"
                                 + self.process.output())
        try:
            application = self._desktop.accessibility.application(self.pid)
            frames = application.children() if application else []
        except Unreachable:
            return False  # the program has not registered completely yet
        if frames:
            (self._frame_node,) = frames
        return bool(frames)

    def _part(self, role, name=None):
        """Returns the control of the main window with this role and name."""
        if role not in self._parts:
            self._parts[role] = self._settled(lambda: self._frame().find_child(role, name))
        return self._parts[role]

    def wait_for_window(self):
        """Waits until the window is on the screen and accessible."""
        self._frame()
        wait_until(self.window, "the window on the screen")

    def window(self):
        """Returns the X11 ID of the main window, or None if the window is not visible."""
        windows = self.windows("--name", "^Quillet V")
        return windows[0] if windows else None

    def _visible_window(self):
        """Waits for the main window. Returns its X11 ID."""
        # Retries, because a search for windows fails while another window is being destroyed.
        return wait_until(self.window, "the window")

    def windows(self, *options):
        """Returns the X11 IDs of the program's visible windows, including open drop-down lists."""
        found = self._desktop.xdotool("search", "--all", "--onlyvisible", "--pid", self.pid,
                                      *options)
        return found.splitlines() if found else []

    def title(self):
        """Returns the displayed window title."""
        return self._desktop.xdotool("getwindowname", self._visible_window())

    def wait_for_title(self, title):
        wait_until(lambda: self.title() == title, lambda: f"title {title!r}, not {self.title()!r}")

    def _settled(self, read):
        """Returns the result of read(). Retries if a control disappears during the call."""
        results = []

        def attempt():
            try:
                results.append(read())
            except Unreachable:
                if not self.process.is_running():
                    raise
            return results

        wait_until(attempt, "the window to settle")
        return results[0]

    # The view

    def view(self):
        """Returns the text of the view."""
        self.last_view = self._part("text", VIEW).text()
        return self.last_view

    def _wait_for_view(self, condition, text, relation):
        wait_until(lambda: condition(self.view()),
                   lambda: f"the view to {relation}\n{text!r}\nThe view is\n{self.last_view!r}")

    def wait_for_view(self, text):
        """Waits until the view shows exactly this text."""
        self._wait_for_view(lambda view: view == text, text, "be")

    def wait_for_view_start(self, text):
        self._wait_for_view(lambda view: view.startswith(text), text, "begin with")

    def wait_for_view_end(self, text):
        self._wait_for_view(lambda view: view.endswith(text), text, "end with")

    # The status strip

    def _strip(self):
        """Returns the text of the status strip (None if it has no label), and a dictionary of its
        buttons by title."""
        controls = self._part("status bar").children()
        labels = [node.name for node in controls if node.role == "label"]
        buttons = [(node.name, node) for node in controls if node.role == "push button"]
        return (labels[0] if labels else None,
                {title: button for title, button in buttons if title})

    def progress(self):
        """Returns the text of the status strip, which may be empty."""
        return self._strip()[0]

    def wait_for_progress(self, text):
        wait_until(lambda: self._settled(self.progress) == text,
                   lambda: f"the progress text {text!r}, not {self._settled(self.progress)!r}")

    def wait_for_message(self, pattern, *buttons):
        """Waits until the status strip shows exactly these buttons and a text that matches the
        regular expression `pattern`. Returns the match."""
        def matches():
            text, titles = self._settled(self._strip)
            found = re.fullmatch(pattern, text or "")
            return list(titles) == list(buttons) and found
        return wait_until(matches, lambda: f"{pattern!r} with {buttons}, not "
                          f"{self._settled(self.progress)!r} with "
                          f"{list(self._settled(self._strip)[1])}")

    def press_in_strip(self, title):
        """Presses a button in the status strip and waits until it is released or disappears."""
        button = self._settled(self._strip)[1][title]
        button.act("Press")

        def is_released():
            try:
                return not button.is_pressed()
            except Unreachable:
                return True
        wait_until(is_released, f"{title} to be released")

    def wait_for_restart(self):
        """Waits until the program has started again and shows its window."""
        self._frame_node = None
        self._parts.clear()
        self.wait_for_window()

    def wait_for_silence(self, text):
        """Waits until the progress display shows `text` and reports that no data is arriving."""
        wait_until(lambda: (self._settled(self.progress) or "").startswith(text + SILENCE),
                   lambda: f"silence after {text!r}, not {self._settled(self.progress)!r}")

    # The toolbar

    def _buttons(self):
        def find():
            return {node.name: node for node in self._part("tool bar").children()
                    if node.role == "push button"}
        return self._settled(find)

    def buttons(self):
        """Returns the buttons' labels from left to right."""
        return list(self._buttons())

    def press(self, *labels):
        """Presses buttons and waits until the program has handled each press. Updates of the view
        may still be pending."""
        for label in labels:
            button = self._buttons()[label]
            button.act("Press")
            wait_until(lambda button=button: not button.is_pressed(), f"{label} to be released")

    def clear(self):
        """Presses Clear until the view is empty. One press may not suffice, because Clear has
        no effect during an attempt to connect."""
        def is_cleared():
            self.press("Clear")
            return self.view() == ""
        wait_until(is_cleared, lambda: f"an empty view, not {self.last_view!r}")

    def connect_label(self):
        """Returns the label of the button that connects and disconnects."""
        return self.buttons()[0]

    def wait_for_connect_label(self, label):
        wait_until(lambda: self.connect_label() == label, f"the label {label}")

    # The port list

    def _port_list(self):
        if PORT_LIST not in self._parts:
            self._parts[PORT_LIST] = self._settled(
                lambda: self._part("tool bar").find("combo box", PORT_LIST))
        return self._parts[PORT_LIST]

    def _port_entries(self):
        (entries,) = self._port_list().children()
        return entries.children()

    def ports(self):
        """Returns the entries of the port list."""
        return self._settled(lambda: [entry.name for entry in self._port_entries()])

    def port_paths(self):
        """Returns the paths shown next to the entries of the port list."""
        return self._settled(lambda: [entry.description for entry in self._port_entries()])

    def wait_for_ports(self, entries):
        wait_until(lambda: self.ports() == entries,
                   lambda: f"the port list {entries}, not {self.ports()}")

    def chosen_port(self):
        """Returns the selected port, or None if it cannot be determined. Reads the states of the
        entries. If no entry is selected, reads the text of the list."""
        chosen = self._settled(lambda: [entry.name for entry in self._port_entries()
                                        if entry.is_selected()])
        if not chosen and self._port_list().has_text():
            chosen = [self._port_list().text()]
        return chosen[0] if len(chosen) == 1 else None

    def chosen_port_path(self):
        """Returns the path shown next to the selected port."""
        return self._settled(lambda: self._port_list().description)

    def wait_for_chosen_port(self, name):
        wait_until(lambda: self.chosen_port() == name,
                   lambda: f"{name} selected, not {self.chosen_port()}")

    def choose_port(self, position):
        """Opens the port list and selects an entry. Positions start at 0."""
        self._desktop.xdotool("windowactivate", "--sync", self._visible_window())
        self._port_list().act("Press")
        wait_until(lambda: len(self.windows()) == 2, "the open list on the screen")
        self._desktop.xdotool("key", "Home", *["Down"] * position, "Return")
        wait_until(lambda: len(self.windows()) == 1, "the list to close")

    def type_keys(self, *keys):
        self._desktop.xdotool("windowactivate", "--sync", self._visible_window(), "key", *keys)

    # Exit

    def close_window(self):
        """Closes the window through the window manager."""
        close_window(self._desktop.environment["DISPLAY"], int(self._visible_window()))

    def wait_for_end(self):
        """Waits until the program exits. Returns its exit status."""
        return self.process.wait()

    def kill(self):
        self.process.send(signal.SIGKILL)
        self.process.wait()
