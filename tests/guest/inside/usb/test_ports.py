"""More than one serial device."""

import ctypes
import os
import struct

from bus import as_root, modem_terminals, port_name
from case import OUTPUT, Settings, UsbTest, messages, some_records, wait_until
from harness.lines import file_text

_OTHER_SERIAL = "2104009999"
_IN_OPEN = 0x20


class Openings:
    """Counts how often a device is opened since it was last asked, by whomever. Openings without
    anything else between them count as one (inotify(7))."""

    def __init__(self, path):
        libc = ctypes.CDLL(None, use_errno=True)
        self._descriptor = libc.inotify_init1(os.O_NONBLOCK | os.O_CLOEXEC)
        if libc.inotify_add_watch(self._descriptor, path.encode(), _IN_OPEN) < 0:
            raise OSError(ctypes.get_errno(), path)

    def count(self):
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

    def test_second_scanner_is_listed_and_connected_on_request(self):
        Settings(filename=OUTPUT).save()
        records = some_records(5)
        first = self.plugged_in_scanner()
        second = self.scanner(records, number=1, serial=_OTHER_SERIAL)
        second.plug_in()
        quillet = self.start_connected()
        self.assertEqual(["ttyACM0", "ttyACM1"], modem_terminals())
        self.assertEqual([], second.commands())
        quillet.press("Disconnect")
        text = messages.disconnected()
        quillet.wait_for_view(text)
        quillet.wait_for_ports(["None", port_name("ttyACM0"), port_name("ttyACM1")])
        quillet.choose_port(2)
        before = first.commands()
        quillet.press("Connect")
        quillet.wait_for_view(text + messages.connecting("ttyACM1", "009999"))
        quillet.wait_for_title("Quillet V1.25[009999]")
        self.assertEqual(before, first.commands())
        quillet.wait_until_attempt_is_over()
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.file_run(5, OUTPUT))
        self.assert_file(file_text(records, serial=_OTHER_SERIAL))

    def test_second_scanner_comes_and_goes_beside_the_connected_one(self):
        records = some_records(5)
        Settings(filename=OUTPUT).save()
        self.plugged_in_scanner(records)
        quillet = self.start_connected()
        second = self.scanner(number=1, serial=_OTHER_SERIAL)
        second.plug_in()
        self.log.wait_for("deviceAdded", 2)
        second.unplug()
        self.log.wait_for("deviceRemoved", 2)
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.file_run(5, OUTPUT))
        self.assert_file(file_text(records))
        quillet.wait_for_ports(["None", "Tavo[005771]"])
        self.assertEqual([], second.commands())

    def test_converter_is_never_opened(self):
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
        wait_until(lambda: os.access("/dev/ttyACM0", os.R_OK), "the user's right to the scanner")
        scanner = Openings("/dev/ttyACM0")
        quillet.wait_for_view_end(messages.connected() + messages.CLOCK_SET)
        self.assertNotIn("ttyUSB", quillet.view())
        self.assertGreaterEqual(scanner.count(), 1)
        quillet.wait_for_ports(["None", "Tavo[005771]"])
        quillet.wait_until_attempt_is_over()
        quillet.press("Disconnect")
        quillet.wait_for_view(messages.disconnected())
        quillet.press("Connect")
        quillet.wait_for_view(messages.disconnected() + messages.connecting())
        self.assertGreaterEqual(scanner.count(), 1)
        self.assertEqual(0, converter.count())
