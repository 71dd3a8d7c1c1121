"""The test case that all cases with a USB scanner are."""

import glob
import os
import shutil
import sys
import unittest

from bus import UsbScanner, modem_terminals
from harness import messages
from harness.desktop import Desktop
from harness.product import Quillet
from harness.scanner import some_records
from harness.settings import FOLDER, Settings
from harness.system_log import SystemLog
from harness.waiting import wait_until

OUTPUT = f"{FOLDER}/out.txt"
_STORY_LINES = 60


class _Machine:
    """The devices are the machine's own: nothing stands in for them."""

    environment = {}


class UsbTest(unittest.TestCase):
    """An ordinary user's desktop. Whatever a test does, the program must end in good order when
    its window is closed, and must have written nothing to its standard streams."""

    maxDiff = None

    def setUp(self):
        self.assertNotEqual(0, os.getuid(), "for an ordinary user")
        self.quillet = self.desktop = None
        self.scanners = []
        for path in glob.glob("/tmp/*.output"):
            os.unlink(path)
        self.log = SystemLog("/tmp/log.socket")
        self.addCleanup(self._sweep)
        self.desktop = Desktop()

    def run(self, result=None):
        before = len(result.failures) + len(result.errors)
        outcome = super().run(result)
        if len(result.failures) + len(result.errors) > before:
            print(self._story(), file=sys.stderr)
        return outcome

    def _story(self):
        parts = ["The end of the log:", *self.log.lines()[-_STORY_LINES:]]
        if self.quillet is not None:
            parts += ["The view, when last looked at:", self.quillet.last_view]
        for path in sorted(glob.glob("/tmp/*.output")):
            with open(path, encoding="utf-8", errors="replace") as output:
                parts += [f"{path}:", output.read()]
        for scanner in self.scanners:
            parts += [f"{scanner.link}:", *scanner.transcript().splitlines()[-_STORY_LINES:]]
        return "\n".join(parts)

    def tearDown(self):
        if self.quillet is not None:
            self.quillet.close_window()
            self.assertEqual(0, self.quillet.wait_for_end())
            self.assertEqual("", self.quillet.output(), "on the program's standard streams")
        for scanner in self.scanners:
            self.assertEqual("", scanner.stop(), "sent to the scanner that is no command")

    def _sweep(self):
        if self.quillet is not None:
            self.quillet.process.stop()
        for scanner in self.scanners:
            scanner.take_away()
        if self.desktop is not None:
            self.desktop.stop()
        self.log.stop()
        shutil.rmtree(FOLDER, ignore_errors=True)

    # The parts of a test

    def scanner(self, records=(), **more):
        """A scanner that holds these records; it is not plugged in yet."""
        scanner = UsbScanner(self.desktop, records, **more)
        self.scanners.append(scanner)
        return scanner

    def plugged_in_scanner(self, records=(), **more):
        scanner = self.scanner(records, **more)
        scanner.plug_in()
        self.assertIn("ttyACM0", modem_terminals())
        return scanner

    def start(self):
        self.quillet = Quillet(self.desktop, _Machine)
        self.quillet.wait_for_window()
        return self.quillet

    def start_connected(self):
        """Starts the program and waits until the scanner at ttyACM0 is connected and the program
        is ready for more. The view is empty then."""
        self.start().wait_for_view(messages.STARTED + messages.connecting())
        self.quillet.wait_until_attempt_is_over()
        return self.quillet

    def assert_file(self, text, path=OUTPUT):
        with open(path, "rb") as file:
            written = file.read()
        self.assertEqual(text.encode("utf-8"), written)
        return len(written)

    @staticmethod
    def say(text):
        """A figure, for the person who runs the case."""
        print(text, flush=True)


__all__ = ["OUTPUT", "Settings", "UsbTest", "messages", "some_records", "wait_until"]
