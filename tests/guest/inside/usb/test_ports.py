"""Plugs in a serial converter as well as the scanner."""

import ctypes
import os
import struct

from bus import as_root
from case import UsbTest, messages, wait_until

_IN_OPEN = 0x20


class Openings:
    """Counts how often processes open a device. Consecutive opens count once, because inotify(7)
    merges identical events."""

    def __init__(self, path):
        libc = ctypes.CDLL(None, use_errno=True)
        self._descriptor = libc.inotify_init1(os.O_NONBLOCK | os.O_CLOEXEC)
        if libc.inotify_add_watch(self._descriptor, path.encode(), _IN_OPEN) < 0:
            raise OSError(ctypes.get_errno(), path)

    def count(self):
        """Returns the number of times the device has been opened since the last call."""
        try:
            data = os.read(self._descriptor, 65536)
        except BlockingIOError:
            return 0
        number = 0
        while data:
            mask, length = struct.unpack_from("4xI4xI", data)
            number += mask & _IN_OPEN != 0
            data = data[16 + length:]
        return number


class PortsTest(UsbTest):

    def test_does_not_open_a_serial_converter(self):
        as_root("modprobe", "ftdi_sio")
        wait_until(lambda: os.path.exists("/dev/ttyUSB0"), "the converter")
        as_root("udevadm", "settle")
        converter = Openings("/dev/ttyUSB0")
        quillet = self.start()
        quillet.wait_for_view_start(messages.STARTED + messages.ATTEMPT + "Trying to connect..")
        quillet.wait_for_ports(["None", "None"])
        self.assertTrue(any("ttyUSB0" in line for line in self.log.lines()))
        self.assertEqual(0, converter.count())

        self.plugged_in_scanner()
        wait_until(lambda: os.access("/dev/ttyACM0", os.R_OK), "the permission for the scanner")
        scanner = Openings("/dev/ttyACM0")
        quillet.wait_for_view_end(messages.connected() + messages.CLOCK_SET)
        self.assertNotIn("ttyUSB", quillet.view())
        self.assertGreaterEqual(scanner.count(), 1)
        quillet.wait_for_ports(["None", "Tavo[005771]"])
        quillet.clear()
        self.disconnect()
        quillet.press("Connect")
        quillet.wait_for_view(messages.disconnected() + messages.connecting())
        self.assertGreaterEqual(scanner.count(), 1)
        self.assertEqual(0, converter.count())
