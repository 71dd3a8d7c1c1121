"""The simulated scanner behind the kernel's USB gadget, and what the kernel makes of it."""

import os
import re
import subprocess

from harness.scanner import Scanner
from harness.waiting import wait_until

_HERE = os.path.dirname(os.path.abspath(__file__))
_TERMINALS = "/sys/class/tty"
# "Co" is a request to the device; "s" what is submitted: type, request, value, index, length, data.
_REQUEST = re.compile(r" Co:\d+:\d+:0 s 21 (20|22) (\w{4}) \w{4} \w{4} \d+(?: = ([\w ]+))?")


def as_root(*command):
    """What plugs and watches has the administrator's rights; the program never has."""
    done = subprocess.run(["sudo", *command], capture_output=True, text=True)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(command)}: {done.stderr}")
    return done.stdout


def modem_terminals():
    """The kernel's names of the modem-class devices that are there."""
    return sorted(name for name in os.listdir(_TERMINALS) if name.startswith("ttyACM"))


def port_name(terminal):
    """What the program is to call it: by the socket, bus-port:configuration.interface."""
    interface = os.path.basename(os.path.realpath(f"{_TERMINALS}/{terminal}/device"))
    bus, port, _configuration, number = re.fullmatch(r"(\d)-(\d):(\d)\.(\d)", interface).groups()
    return f"usbmodem{bus}{port}{number}"


class UsbScanner(Scanner):
    """A scanner on USB. The kernel names the computer's end of the line."""

    _LINE = "--device"

    def __init__(self, desktop, records=(), **more):
        as_root("bash", f"{_HERE}/../usb-scanner", "create")
        super().__init__(desktop, None, records, node="ttyGS0", **more)

    def _has_opened_line(self):
        """Whether that is the last that happened to it."""
        with open(self.transcript_path, "rb") as transcript:
            transcript.seek(max(0, os.path.getsize(self.transcript_path) - 1000))
            lines = transcript.read().decode("utf-8", "replace").splitlines()
        return lines[-1:] != [] and lines[-1].endswith(" # port opened")

    def _bind(self, controller):
        with open("/sys/kernel/config/usb_gadget/scanner/UDC", "w", encoding="ascii") as file:
            file.write(f"{controller}\n")

    def plug_in(self):
        if self._process is None:
            self.switch_on()
        # A fresh line echoes what it is sent until somebody has opened it, the scanner's end too.
        wait_until(self._has_opened_line, "the scanner to open its line")
        before = modem_terminals()
        self._bind("dummy_udc.0")
        wait_until(lambda: len(modem_terminals()) > len(before), "the computer to see the scanner")

    def unplug(self):
        before = modem_terminals()
        self._bind("")
        wait_until(lambda: len(modem_terminals()) < len(before), "the computer to miss the scanner")

    def take_away(self):
        """The socket is as if it had never been there."""
        self.stop()
        as_root("bash", f"{_HERE}/../usb-scanner", "remove")
        wait_until(lambda: not os.path.exists(self.link), f"{self.link} to go")

    def sent_bytes(self):
        """How many bytes it has sent since it was switched on."""
        lines = re.findall(r"^[\d.]+ > ((?:[0-9a-f]{2} )+) ", self.transcript(), re.MULTILINE)
        return sum(len(line.split()) for line in lines)

    def wait_for_more_sent(self, before, count):
        wait_until(lambda: self.sent_bytes() >= before + count,
                   lambda: f"{count} bytes to be sent; there are {self.sent_bytes() - before}")


class BusTrace:
    """What the kernel sends to the devices, written down by usbmon while this is open."""

    def __enter__(self):
        as_root("modprobe", "usbmon")
        with open("/tmp/usbmon", "wb") as output:
            self._process = subprocess.Popen(["sudo", "cat", "/sys/kernel/debug/usb/usbmon/0u"],
                                             stdout=output)
        return self

    def __exit__(self, *_):
        as_root("kill", *subprocess.check_output(
            ["ps", "-o", "pid=", "--ppid", str(self._process.pid)], text=True).split())
        self._process.wait()

    @staticmethod
    def line_requests():
        """SET_LINE_CODING and SET_CONTROL_LINE_STATE in words, one behind the other."""
        with open("/tmp/usbmon", encoding="ascii") as trace:
            requests = _REQUEST.findall(trace.read())
        said = []
        for kind, value, data in requests:
            if kind == "22":
                said.append(f"DTR {int(value, 16) & 1} RTS {int(value, 16) >> 1 & 1}")
                continue
            coding = bytes.fromhex(data.replace(" ", ""))
            said.append(f"{int.from_bytes(coding[:4], 'little')} {coding[6]}"
                        f"{'NOEMS'[coding[5]]}{('1', '1.5', '2')[coding[4]]}")
        return said
