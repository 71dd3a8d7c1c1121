"""Base classes of the tests that run the program on a desktop."""

import os
import re
import shutil
import sys
import unittest

from harness import messages, other_user
from harness.desktop import Desktop
from harness.lines import file_text
from harness.product import Quillet
from harness.scanner import Record, Scanner, some_records
from harness.settings import FOLDER, OUTPUT, Settings
from harness.system_log import SystemLog
from harness.waiting import wait_until

SHARED = "/Users/Shared"
CHAIN = ["W", "M", "V", "w1#", "C"]  # the commands sent when connecting
BURST = ["W", "N", "GS1", "P", "W", "GS0"]  # the commands of a burst run
_GENERATED = re.compile(r"QuilletData([^_/]*)_\d{8}_\d{6}\.txt")
_REPORTED_LINES = 60  # lines of each log to print after a failure
# Qt 6.8 prints this line if a test reads a control that has just been destroyed.
_STALE_OBJECT = re.compile(r"qt\.accessibility\.atspi: Could not find accessible on path: .*\n")


class ProductTest(unittest.TestCase):
    """Base class of all tests of the program. Each test starts with a new desktop without scanners.

    After each test, tearDown() closes the window. The test fails if the exit status is not 0, if
    the program has written to its standard streams, or if a scanner has received an invalid
    command.
    """

    maxDiff = None
    log_path = "/dev/log"
    display_options = ()  # additional options for the X server
    scanner_class = Scanner

    def setUp(self):
        self.desktop = self.devices = self.quillet = None
        self.scanners = []
        self.log = SystemLog(self.log_path)
        self.desktop_report = []
        self.addCleanup(self._clean_up)
        self.desktop = Desktop(self.display_options)
        self.devices = self.create_devices()

    def create_devices(self):
        """Returns the devices that the program sees. See harness.devices.Devices."""
        raise NotImplementedError

    def remove_files(self):
        """Removes the files that the test created."""
        raise NotImplementedError

    def run(self, result=None):
        before = len(result.failures) + len(result.errors)
        outcome = super().run(result)
        if len(result.failures) + len(result.errors) > before:
            print(self._report(), file=sys.stderr)
        return outcome

    def tearDown(self):
        if self.quillet is not None and self.quillet.process.is_running():
            self.close()
        if self.quillet is not None:
            self.assertEqual("", _STALE_OBJECT.sub("", self.quillet.process.output()),
                             "standard streams")
        for scanner in self.scanners:
            self.assertEqual("", scanner.stop(), "invalid commands")

    def _clean_up(self):
        if self.quillet is not None:
            self.quillet.process.stop()
        for scanner in self.scanners:
            scanner.discard()
        if self.desktop is not None:
            self.desktop_report = self.desktop.report()
            self.desktop.stop()
        self.log.stop()
        self.remove_files()

    def _report(self):
        parts = ["The last lines of the log:",
                 *[repr(line) for line in self.log.datagrams()[-_REPORTED_LINES:]],
                 "The desktop:", *self.desktop_report]
        if self.quillet is not None:
            parts += ["The view when last read:", self.quillet.last_view,
                      "The program's standard streams:", self.quillet.process.output()]
        for scanner in self.scanners:
            if os.path.exists(scanner.transcript_path):
                parts += [f"The last bytes on {scanner.link}:",
                          *scanner.transcript().splitlines()[-_REPORTED_LINES:]]
        return "\n".join(parts)

    # Test steps
    def scanner(self, records=(), **more):
        """Creates a scanner with these records. Does not plug it in."""
        scanner = self.scanner_class(self.desktop, self.devices, records, **more)
        self.scanners.append(scanner)
        return scanner

    def plugged_in_scanner(self, records=(), **more):
        scanner = self.scanner(records, **more)
        scanner.plug_in()
        return scanner

    def start(self, **popen):
        """Starts the program and waits for its window."""
        self.quillet = Quillet(self.desktop, self.devices, **popen)
        self.devices.listener = self.quillet.process
        self.quillet.wait_for_window()
        return self.quillet

    def start_connected(self, clock_set=True):
        """Starts the program, waits until the scanner at ttyACM0 is connected, and clears the
        view. `clock_set`: whether the program must set the scanner's clock."""
        self.start()
        text = messages.STARTED + messages.connecting()
        if not clock_set:
            text = text.removesuffix(messages.CLOCK_SET)
        self.quillet.wait_for_view(text)
        self.quillet.wait_for_connect_label("Disconnect")
        self.quillet.clear()
        return self.quillet

    def synchronize(self, expected_view):
        """Presses Synchronize and waits until the view shows exactly `expected_view`."""
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view(expected_view)

    def synchronize_to_file(self, records, settings=Settings(), path=OUTPUT, **scanner):
        """Synchronizes to a file. Expects exactly these records in it. The view must be empty."""
        self.synchronize(messages.file_run(len(records), path))
        self.assert_file(path, file_text(records, settings, **scanner))

    def disconnect(self):
        """Presses Disconnect. The program must be connected, and the view must be empty."""
        self.quillet.press("Disconnect")
        self.quillet.wait_for_view(messages.disconnected())
        self.quillet.wait_for_connect_label("Connect")

    def close(self):
        """Closes the window and expects exit status 0."""
        self.quillet.close_window()
        self.assertEqual(0, self.quillet.wait_for_end())

    # Expected files
    def assert_file(self, path, text):
        with open(path, "rb") as file:
            self.assertEqual(text.encode("utf-8"), file.read())


class SystemTest(ProductTest):
    """Base class of tests with mocked USB devices. Before the first start, the data folder does not
    exist."""

    faults = None  # library for preload(), built by add_preloaded_library() in ProductTests.cmake

    def create_devices(self):
        from harness.devices import Devices  # tests/guest has no umockdev
        return Devices()

    def remove_files(self):
        for name in os.listdir("/Users"):
            os.chmod(f"/Users/{name}", 0o700)
            if os.path.isdir(f"/Users/{name}"):
                shutil.rmtree(f"/Users/{name}")
            else:
                os.unlink(f"/Users/{name}")

    def preload(self, **environment):
        """Returns `environment` plus the variable that preloads the fault library."""
        folder = os.path.dirname(os.environ["SYSTEM_TEST_SIMULATOR"])
        before = self.devices.environment["LD_PRELOAD"]
        return {"LD_PRELOAD": f"{folder}/{self.faults}.so:{before}", **environment}

    def end_program(self):
        """Closes the program and switches off the last scanner, so that the test can start both
        again."""
        self.close()
        self.assertEqual("", self.scanners.pop().stop(), "invalid commands")

    def generated_files(self):
        """Returns the paths of all files with generated names, oldest first."""
        return sorted(f"{SHARED}/{name}" for name in os.listdir(SHARED)
                      if _GENERATED.fullmatch(name))

    def wait_for_generated_file(self):
        """Waits for a file with a generated name. Returns its path."""
        wait_until(self.generated_files, "a file with a generated name")
        (path,) = self.generated_files()
        return path

    def assert_no_stray_files(self, *expected):
        """Expects the shared folder to contain only these files and the settings file."""
        found = sorted(os.path.join(folder, name) for folder, _folders, names in os.walk(SHARED)
                       for name in names)
        self.assertEqual(sorted([*expected, f"{FOLDER}/QuilletRegistry.txt"]), found)


class OtherUserTest(SystemTest):
    """Base class of tests with a second user. As with the installed package, every user may create
    files in /Users/Shared, but not rename or delete other users' files."""

    def setUp(self):
        if not other_user.available():
            self.skipTest("only root can run commands as another user")
        super().setUp()
        os.mkdir(SHARED)
        os.chmod(SHARED, 0o1777)

    def remove_files(self):
        # Users cannot remove each other's files, so each user removes their own.
        shutil.rmtree(SHARED, ignore_errors=True)
        other_user.run("find /Users -user $(id -un) -prune -exec rm -rf {} + || true")
        super().remove_files()


__all__ = ["BURST", "CHAIN", "FOLDER", "OUTPUT", "SHARED", "OtherUserTest", "ProductTest", "Record",
           "Settings", "SystemTest", "messages", "some_records", "wait_until"]
