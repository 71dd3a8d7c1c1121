"""Mocked USB devices in udev and sysfs. The simulators create the terminals in /dev."""

import os
import signal

import gi

gi.require_version("UMockdev", "1.0")
from gi.repository import UMockdev  # noqa: E402

_CONTROLLER = "/devices/pci0000:00/0000:00:14.0"


class Devices:
    def __init__(self):
        self._testbed = UMockdev.Testbed.new()
        if "devices" in os.listdir("/sys"):
            raise AssertionError("run the test under umockdev-wrapper")
        self._microseconds = 1_000_000
        self._present = set()
        self.listener = None  # the process of the program under test

    @property
    def environment(self):
        """Returns the variables that make a program see these devices instead of the machine's."""
        libraries = [os.environ.get("SYSTEM_TEST_PRELOAD", ""), "libumockdev-preload.so.0"]
        return {"LD_PRELOAD": ":".join(filter(None, libraries)),
                "UMOCKDEV_DIR": self._testbed.get_root_dir()}

    def _add(self, path, *lines):
        """Adds a device if it does not exist yet."""
        if path not in self._present:
            self._present.add(path)
            self._testbed.add_from_string("\n".join([f"P: {path}", *lines]) + "\n")

    def _add_usb(self, place, driver, product):
        """Adds a USB device and its interface. Returns the interface's path.

        `place` is in the kernel's notation, BUS-PORT:CONFIGURATION.INTERFACE.
        """
        device = place.split(":")[0]
        path = f"{_CONTROLLER}/usb{device.split('-')[0]}/{device}"
        self._add(path, "E: SUBSYSTEM=usb", "E: DEVTYPE=usb_device",
                  f"A: product={product}")
        path += f"/{place}"
        self._add(path, "E: SUBSYSTEM=usb", "E: DEVTYPE=usb_interface",
                  f"E: DRIVER={driver}", f"L: driver=../../../../../../bus/usb/drivers/{driver}")
        return path

    def _add_terminal(self, parent, kernel_name, driver, model):
        path = f"{parent}/tty/{kernel_name}"
        self._microseconds += 1000
        self._add(path, f"E: DEVNAME=/dev/{kernel_name}", "E: SUBSYSTEM=tty",
                  f"E: USEC_INITIALIZED={self._microseconds}", "E: ID_BUS=usb",
                  f"E: ID_USB_DRIVER={driver}", f"E: ID_MODEL={model.replace(' ', '_')}",
                  "E: ID_MODEL_ENC=" + model.replace(" ", "\\x20"), "E: ID_USB_INTERFACE_NUM=00")
        return f"/sys{path}"

    def add_scanner(self, kernel_name="ttyACM0", place="3-1:1.0"):
        """Plugs in a CDC-ACM device. Returns the sysfs path of its terminal."""
        interface = self._add_usb(place, "cdc_acm", "Tavo Scanner")
        return self._add_terminal(interface, kernel_name, "cdc_acm", "Tavo Scanner")

    def add_converter(self, kernel_name="ttyUSB0", place="1-4:1.0", model="USB Serial Converter"):
        """Plugs in a USB serial converter. Returns the terminal's path in sysfs."""
        interface = self._add_usb(place, "ftdi_sio", model)
        port = f"{interface}/{kernel_name}"
        self._add(port, "E: SUBSYSTEM=usb-serial", "E: DRIVER=ftdi_sio")
        return self._add_terminal(port, kernel_name, "ftdi_sio", model)

    def remove(self, terminal):
        """Removes a terminal. The kernel removes a device first and then sends the event. umockdev
        can send the event only while the device exists. The program is therefore suspended until
        the device has been removed."""
        if self.listener is not None:
            self.listener.send(signal.SIGSTOP)
        self._testbed.uevent(terminal, "remove")
        self._testbed.remove_device(terminal)
        if self.listener is not None:
            self.listener.send(signal.SIGCONT)
        self._present.remove(terminal.removeprefix("/sys"))
