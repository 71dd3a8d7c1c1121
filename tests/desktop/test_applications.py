"""Records for an application that is named in the settings."""

import os
import shutil
import signal

from editors import TEXT_WINDOW, Terminal, TextWindow
from harness.case import Record, SystemTest, messages
from harness.waiting import wait_until
from test_typing import data_only

_TIME = "2026-11-16 09:15:00"
_COUNT = 100
_PROGRAM = "/tmp/stock"
_ENTRY = "/tmp/stock.desktop"
_TEXTS = [f"Item {number}" for number in range(_COUNT)]
_ALL = "".join(text + "\n" for text in _TEXTS)


class ApplicationsTest(SystemTest):

    def prepare(self, application):
        for path in (_PROGRAM + ".starts", _PROGRAM + ".text"):
            if os.path.exists(path):
                os.unlink(path)
        self.addCleanup(self.stop_application)
        shutil.copy(TEXT_WINDOW, _PROGRAM)
        with open(_ENTRY, "w", encoding="ascii") as entry:
            entry.write(f"[Desktop Entry]\nType=Application\nName=Stock\nExec={_PROGRAM} %F\n")
        data_only(destination=3, application=application).save()
        self.plugged_in_scanner([Record(6, text.encode(), _TIME) for text in _TEXTS],
                                options=["--speed", "unlimited"])
        self.start_connected()

    def synchronize(self):
        self.quillet.press("Synchronize")
        wait_until(lambda: self.quillet.view().endswith(
            messages.count(_COUNT) + messages.FINISHED), "the end of the run", 100)

    def stop_application(self):
        for pid in self.starts():
            if os.path.exists(f"/proc/{pid}"):
                os.kill(pid, signal.SIGKILL)

    def starts(self):
        if not os.path.exists(_PROGRAM + ".starts"):
            return []
        with open(_PROGRAM + ".starts", encoding="ascii") as starts:
            return [int(pid) for pid in starts.read().split()]

    def text(self):
        with open(_PROGRAM + ".text", encoding="utf-8", newline="") as file:
            return file.read()

    def check_application(self, application):
        self.prepare(application)
        # The run starts the application and does not wait for it: what is typed meanwhile goes to
        # whatever is in front.
        self.synchronize()
        wait_until(lambda: os.path.exists(_PROGRAM + ".text"), "the application")
        wait_until(lambda: self.desktop.xdotool("search", "--onlyvisible", "--name",
                                                "^text window$"), "its window")
        other = Terminal(self)
        self.assertTrue(other.has_focus())
        before = self.text()
        self.quillet.press("Clear")
        self.synchronize()
        wait_until(lambda: self.text() == before + _ALL,
                   lambda: f"the records in the application, which has {self.text()!r}")
        self.assertEqual("", other.text())
        self.assertFalse(other.has_focus())
        self.assertEqual(1, len(self.starts()))
        (pid,) = self.starts()
        self.assertTrue(os.path.exists(f"/proc/{pid}"))
        self.close()
        self.assertTrue(os.path.exists(f"/proc/{pid}"), "ended together with the program")

    def test_desktop_entry_is_started_once_and_brought_forward(self):
        self.check_application(_ENTRY)

    def test_executable_file_is_started_once_and_brought_forward(self):
        self.check_application(_PROGRAM)

    def test_path_that_names_nothing_is_logged_and_typing_goes_on(self):
        self.prepare("/Applications/TextEdit")
        window = TextWindow(self)
        self.synchronize()
        window.wait_for_text(_ALL)
        self.assertEqual(1 + _COUNT, self.log.lines().count(
            "-[SyncController RunApplication]:Couldn't get FSRef"))
