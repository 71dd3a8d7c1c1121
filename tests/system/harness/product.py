"""The program under test, as its user meets it."""

import os
import signal

from harness.accessibility import Unreachable
from harness.processes import Process
from harness.waiting import wait_until
from harness.window_manager import close_window

VIEW = "Messages and records"
PORT_LIST = "Port"

_FOLDER = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

# A program that is built with sanitizers ends with a status of theirs after a report. umockdev is
# loaded before their libraries, which does no harm: it stands in for none of the functions that
# manage memory. What other libraries do themselves is left out.
_SANITIZERS = {
    "ASAN_OPTIONS": "verify_asan_link_order=0",
    "LSAN_OPTIONS": f"print_suppressions=0:suppressions={_FOLDER}/libraries.lsan",
    "TSAN_OPTIONS": f"halt_on_error=1:suppressions={_FOLDER}/libraries.tsan",
    "UBSAN_OPTIONS": "print_stacktrace=1",
}


class Quillet:
    """One run of the program, from its start on."""

    def __init__(self, desktop, devices, *, environment=None, **popen):
        self._desktop = desktop
        environment = (desktop.environment | devices.environment | _SANITIZERS
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
        windows = self._windows("--name", "^Quillet V")
        return windows[0] if windows else None

    def _windows(self, *which):
        """The numbers of the program's visible windows, opened lists among them."""
        found = self._desktop.xdotool("search", "--all", "--onlyvisible", "--pid", self.pid, *which)
        return found.splitlines() if found else []

    def title(self):
        """The window's title as the window manager shows it."""
        return self._desktop.xdotool("getwindowname", self.window())

    def wait_for_title(self, title):
        wait_until(lambda: self.title() == title, lambda: f"title {title!r}, not {self.title()!r}")

    def screen_reader_title(self):
        return self._frame().name

    def _settled(self, question):
        """The answer to a question about the window, asked again when something in the window
        went away meanwhile."""
        answers = []

        def ask():
            try:
                answers.append(question())
            except Unreachable:
                if not self.process.is_running():
                    raise
            return answers

        wait_until(ask, "the window to settle")
        return answers[0]

    # The view

    def view(self):
        """The whole text of the view."""
        if self._view_node is None:
            self._view_node = self._settled(lambda: self._frame().find("text", VIEW))
        self.last_view = self._view_node.text()
        return self.last_view

    def wait_for_view(self, text):
        """Waits until the view's text is exactly this."""
        wait_until(lambda: self.view() == text,
                   lambda: f"the view to show\n{text!r}\nIt shows\n{self.last_view!r}")

    def wait_for_view_start(self, text):
        """Waits until the view's text begins so; for what more may follow at any moment."""
        wait_until(lambda: self.view().startswith(text),
                   lambda: f"the view to begin with\n{text!r}\nIt shows\n{self.last_view!r}")

    def wait_for_view_end(self, text):
        wait_until(lambda: self.view().endswith(text),
                   lambda: f"the view to end with\n{text!r}\nIt shows\n{self.last_view!r}")

    # The progress of a run, beside the view

    def progress(self):
        """The text beside the view; None while there is none."""
        labels = [node.name for node in self._frame().descendants()
                  if node.role == "label" and node.name != PORT_LIST]
        return labels[0] if labels else None

    def wait_for_progress(self, text):
        wait_until(lambda: self._settled(self.progress) == text,
                   lambda: f"the progress {text!r}; it is {self._settled(self.progress)!r}")

    def wait_for_silence(self, text):
        """Waits until the progress is this, and nothing new has come for some seconds."""
        wait_until(lambda: (self._settled(self.progress) or "").startswith(
                       f"{text}  ·  no data for "),
                   lambda: f"silence behind {text!r}; it is {self._settled(self.progress)!r}")

    # The toolbar

    def _buttons(self):
        def find():
            toolbar = self._frame().find("tool bar")
            return {node.name: node for node in toolbar.children() if node.role == "push button"}
        return self._settled(find)

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
            self._list_node = self._settled(lambda: self._frame().find("combo box", PORT_LIST))
        return self._list_node

    def _port_entries(self):
        (entries,) = self._port_list().children()
        return entries.children()

    def ports(self):
        """The entries of the port list."""
        return self._settled(lambda: [entry.name for entry in self._port_entries()])

    def wait_for_ports(self, entries):
        wait_until(lambda: self.ports() == entries,
                   lambda: f"the port list {entries}; it is {self.ports()}")

    def chosen_port(self):
        """The chosen entry as an assistive technology can tell it: by the entry's state, or as the
        list's own text. None when it cannot tell."""
        chosen = self._settled(lambda: [entry.name for entry in self._port_entries()
                                        if entry.is_selected()])
        if not chosen and self._port_list().has_text():
            chosen = [self._port_list().text()]
        return chosen[0] if len(chosen) == 1 else None

    def wait_for_chosen_port(self, name):
        wait_until(lambda: self.chosen_port() == name,
                   lambda: f"{name} to be told as chosen, not {self.chosen_port()}", limit=10)

    def choose_port(self, position):
        """Opens the list and chooses an entry, counted from 0."""
        self._desktop.xdotool("windowactivate", "--sync", self.window())
        self._port_list().act("Press")
        wait_until(lambda: len(self._windows()) == 2, "the opened list on the screen")
        self._desktop.xdotool("key", "Home", *["Down"] * position, "Return")
        wait_until(lambda: len(self._windows()) == 1, "the list to be closed")

    def type_keys(self, *keys):
        self._desktop.xdotool("windowactivate", "--sync", self.window(), "key", *keys)

    # The end

    def close_window(self):
        """Closes the window as a user does, through the window manager."""
        close_window(self._desktop.environment["DISPLAY"], int(self.window()))

    def wait_for_end(self):
        """Waits until the program has ended by itself; returns its status."""
        return self.process.wait()

    def kill(self):
        self.process.send(signal.SIGKILL)
        self.process.wait()

    def output(self):
        """What it has written to its standard output and error streams, which is nothing."""
        return self.process.output()
