"""Tests delivery to the application named in the settings."""

import os
import shutil
import signal

from editors import TEXT_WINDOW, Terminal
from harness.case import wait_until
from typing_case import TypingCase, data_only, lines

_PROGRAM = "/tmp/stock"
_ENTRY = "/tmp/stock.desktop"
_TEXTS = [f"Item {number}" for number in range(100)]


class ApplicationsTest(TypingCase):

    def prepare(self, application, arguments="%F"):
        """Installs the application with a desktop entry, and starts the program with a scanner."""
        for ending in (".starts", ".text", ".palette"):
            if os.path.exists(_PROGRAM + ending):
                os.unlink(_PROGRAM + ending)
        self.addCleanup(self.stop_application)
        shutil.copy(TEXT_WINDOW, _PROGRAM)
        with open(_ENTRY, "w", encoding="ascii") as entry:
            entry.write(f"[Desktop Entry]\nType=Application\nName=Stock\n"
                        f"Exec={_PROGRAM} {arguments}\n")
        self.connect(_TEXTS, data_only(destination=3, application=application))

    def stop_application(self):
        for pid in self.starts():
            if os.path.exists(f"/proc/{pid}"):
                os.kill(pid, signal.SIGKILL)

    def starts(self):
        """Returns the process IDs of all instances of the application started so far."""
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
        """Starts the application by synchronizing. The first records may be lost, because the run
        does not wait until the application is ready."""
        self.deliver()
        wait_until(lambda: os.path.exists(_PROGRAM + ".text"), "the application")
        wait_until(lambda: self.window("text window"), "the application's window")

    def deliver_again(self, expected):
        """Delivers the records to the running application and waits until its text is
        `expected`."""
        self.quillet.press("Clear")
        self.deliver()
        wait_until(lambda: self.text() == expected,
                   lambda: f"the records in the application, not {self.text()!r}")

    def check_application(self, application):
        self.prepare(application)
        self.start_application()
        other = Terminal(self)
        self.assertTrue(other.has_focus())
        self.deliver_again(self.text() + lines(_TEXTS))
        self.assertEqual("", other.text())
        self.assertFalse(other.has_focus())
        (pid,) = self.starts()
        self.assertTrue(os.path.exists(f"/proc/{pid}"))
        self.close()
        self.assertTrue(os.path.exists(f"/proc/{pid}"), "the application ended with the program")

    def test_starts_desktop_entry_once_and_activates_it(self):
        self.check_application(_ENTRY)

    def test_starts_executable_once_and_activates_it(self):
        self.check_application(_PROGRAM)

    def test_types_into_the_document_not_the_palette(self):
        self.prepare(_ENTRY, "--palette")
        self.start_application()
        wait_until(lambda: self.window("palette"), "the palette")
        self.desktop.xdotool("windowactivate", "--sync", self.window("text window"))
        document, palette = self.text(), self.text(".palette")
        self.deliver_again(document + lines(_TEXTS))
        self.assertEqual(palette, self.text(".palette"))

        other = Terminal(self)
        self.assertTrue(other.has_focus())
        self.deliver_again(document + lines(_TEXTS) * 2)
        self.assertEqual(palette, self.text(".palette"))
        self.assertEqual("", other.text())
