"""Base class of the tests with a USB scanner."""

import glob
import os
import shutil

from bus import UsbScanner, modem_terminals
from harness.case import OUTPUT, ProductTest, Settings, messages, some_records, wait_until
from harness.settings import FOLDER


class _RealDevices:
    """Replaces the mocked devices, so that the program sees the guest's real devices."""

    environment = {}


class UsbTest(ProductTest):
    """Base class of tests with a USB scanner. The tests run as an ordinary user."""

    log_path = "/tmp/log.socket"
    scanner_class = UsbScanner

    def setUp(self):
        self.assertNotEqual(0, os.getuid(), "run as an ordinary user")
        for path in glob.glob("/tmp/*.output"):
            os.unlink(path)
        super().setUp()

    def create_devices(self):
        return _RealDevices()

    def remove_files(self):
        shutil.rmtree(FOLDER, ignore_errors=True)

    def plugged_in_scanner(self, records=(), **more):
        scanner = super().plugged_in_scanner(records, **more)
        self.assertIn("ttyACM0", modem_terminals())
        return scanner

    @staticmethod
    def say(text):
        """Prints a result."""
        print(text, flush=True)


__all__ = ["OUTPUT", "Settings", "UsbTest", "messages", "some_records", "wait_until"]
