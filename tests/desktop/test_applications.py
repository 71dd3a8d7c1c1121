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

    def prepare(self, application, arguments="%F"):
        for path in (_PROGRAM + ".starts", _PROGRAM + ".text", _PROGRAM + ".palette"):
            if os.path.exists(path):
                os.unlink(path)
        self.addCleanup(self.stop_application)
        shutil.copy(TEXT_WINDOW, _PROGRAM)
        with open(_ENTRY, "w", encoding="ascii") as entry:
            entry.write(f"[Desktop Entry]\nType=Application\nName=Stock\nExec={_PROGRAM} {arguments}\n")
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

    @staticmethod
    def text(ending=".text"):
        with open(_PROGRAM + ending, encoding="utf-8", newline="") as file:
            return file.read()

    def window(self, title):
        return self.desktop.xdotool("search", "--onlyvisible", "--name", f"^{title}$")

    def start_application(self):
        """By a run, which does not wait for it: what is typed meanwhile goes to whatever is in
        front."""
        self.synchronize()
        wait_until(lambda: os.path.exists(_PROGRAM + ".text"), "the application")
        wait_until(lambda: self.window("text window"), "its window")

    def check_application(self, application):
        self.prepare(application)
        self.start_application()
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

    def test_palette_that_stays_on_top_takes_nothing_from_the_document(self):
        self.prepare(_ENTRY, "--palette")
        self.start_application()
        wait_until(lambda: self.window("palette"), "the palette")
        self.desktop.xdotool("windowactivate", "--sync", self.window("text window"))
        document, palette = self.text(), self.text(".palette")

        self.quillet.press("Clear")
        self.synchronize()
        document += _ALL
        self.wait_for_texts(document, palette)

        other = Terminal(self)
        self.assertTrue(other.has_focus())
        self.quillet.press("Clear")
        self.synchronize()
        document += _ALL
        self.wait_for_texts(document, palette)
        self.assertEqual("", other.text())

    def wait_for_texts(self, document, palette):
        """Waits for the document's text; the palette's must be as it was."""
        wait_until(lambda: self.text() == document,
                   lambda: f"the records in the document, which has {self.text()!r}, the palette "
                           f"{self.text('.palette')!r}")
        self.assertEqual(palette, self.text(".palette"))

    def test_path_that_names_nothing_is_logged_and_typing_goes_on(self):
        self.prepare("/Applications/TextEdit")
        window = TextWindow(self)
        self.synchronize()
        window.wait_for_text(_ALL)
        self.assertEqual(1 + _COUNT, self.log.lines().count(
            "-[SyncController RunApplication]:Couldn't get FSRef"))
