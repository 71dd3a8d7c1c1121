"""The test case that all system tests are."""

import os
import re
import shutil
import sys
import unittest

from harness import messages
from harness.desktop import Desktop
from harness.devices import Devices
from harness.product import Quillet
from harness.scanner import Record, Scanner, some_records
from harness.settings import FOLDER, Settings
from harness.system_log import SystemLog
from harness.waiting import wait_until

SHARED = "/Users/Shared"
_GENERATED = re.compile(r"QuilletData([^_/]*)_\d{8}_\d{6}\.txt")

# How much of what was written while a test ran is shown when it fails.
_STORY_LINES = 60


class SystemTest(unittest.TestCase):
    """A desktop with nothing plugged in and no data folder yet.

    Whatever a test does, the program must end in good order when its window is closed at the end,
    must have written nothing to its standard streams, and must have sent no scanner anything that
    is no command.
    """

    maxDiff = None

    def setUp(self):
        self.desktop = self.devices = self.quillet = None
        self.scanners = []
        self.log = SystemLog()
        self.desktop_story = []
        self.addCleanup(self._sweep)
        self.desktop = Desktop()
        self.devices = Devices()

    def run(self, result=None):
        before = len(result.failures) + len(result.errors)
        outcome = super().run(result)
        if len(result.failures) + len(result.errors) > before:
            print(self._story(), file=sys.stderr)
        return outcome

    def tearDown(self):
        if self.quillet is not None and self.quillet.process.is_running():
            self.close()
        if self.quillet is not None:
            self.assertEqual("", self.quillet.output(), "on the program's standard streams")
        for scanner in self.scanners:
            self.assertEqual("", scanner.stop(), "sent to the scanner")

    def _sweep(self):
        """Ends whatever still runs, and leaves nothing to the next test."""
        if self.quillet is not None:
            self.quillet.process.stop()
        for scanner in self.scanners:
            scanner.stop()
        if self.desktop is not None:
            self.desktop_story = self.desktop.story()
            self.desktop.stop()
        self.log.stop()
        for name in os.listdir("/Users"):
            os.chmod(f"/Users/{name}", 0o700)
            if os.path.isdir(f"/Users/{name}"):
                shutil.rmtree(f"/Users/{name}")
            else:
                os.unlink(f"/Users/{name}")

    def _story(self):
        parts = []
        if self.quillet is not None:
            parts += ["The view, when last looked at:", self.quillet.last_view,
                      "The program's standard streams:", self.quillet.output()]
        parts += ["The end of the log:",
                  *[repr(line) for line in self.log.datagrams()[-_STORY_LINES:]],
                  "The desktop:", *self.desktop_story]
        for scanner in self.scanners:
            if os.path.exists(scanner.transcript_path):
                parts += [f"The end of what passed on {scanner.link}:",
                          *scanner.transcript().splitlines()[-_STORY_LINES:]]
        return "\n".join(parts)

    # The parts of a test

    def scanner(self, records=(), **more):
        """A scanner that holds these records; it is not plugged in yet."""
        scanner = Scanner(self.desktop, self.devices, records, **more)
        self.scanners.append(scanner)
        return scanner

    def plugged_in_scanner(self, records=(), **more):
        scanner = self.scanner(records, **more)
        scanner.plug_in()
        return scanner

    def start(self, **popen):
        """Starts the program."""
        self.quillet = Quillet(self.desktop, self.devices, **popen)
        self.devices.listener = self.quillet.process
        self.quillet.wait_for_window()
        return self.quillet

    def start_connected(self, clock_set=True):
        """Starts the program and waits until the scanner at ttyACM0 is connected and the program
        is ready for more. The view is empty then."""
        self.start()
        text = messages.STARTED + messages.connecting()
        if not clock_set:
            text = text.removesuffix(messages.CLOCK_SET)
        self.quillet.wait_for_view(text)
        self.quillet.wait_for_connect_label("Disconnect")
        self.quillet.wait_until_attempt_is_over()
        return self.quillet

    def close(self):
        """Closes the window, upon which the program ends in good order."""
        self.quillet.close_window()
        self.assertEqual(0, self.quillet.wait_for_end())

    # What it leaves behind

    def generated_files(self):
        """The files with generated names, oldest first."""
        return sorted(f"{SHARED}/{name}" for name in os.listdir(SHARED)
                      if _GENERATED.fullmatch(name))

    def wait_for_generated_file(self):
        """Waits until there is a file with a generated name; returns its path."""
        wait_until(self.generated_files, "a file with a generated name")
        (path,) = self.generated_files()
        return path

    def assert_file(self, path, text):
        """The file's bytes are exactly this text's in UTF-8."""
        with open(path, "rb") as file:
            self.assertEqual(text.encode("utf-8"), file.read())

    def assert_no_stray_files(self, *expected):
        """Nothing is left in the shared folder but these paths, the settings file and folders."""
        found = sorted(os.path.join(folder, name) for folder, _folders, names in os.walk(SHARED)
                       for name in names)
        self.assertEqual(sorted([*expected, f"{FOLDER}/QuilletRegistry.txt"]), found)


__all__ = ["FOLDER", "SHARED", "Record", "Settings", "SystemTest", "messages", "some_records",
           "wait_until"]
