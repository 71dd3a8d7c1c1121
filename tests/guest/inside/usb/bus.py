"""A simulated scanner on a USB gadget, and functions that read the state of the USB bus."""

import os
import re
import subprocess

from harness.scanner import Scanner
from harness.waiting import wait_until

_HERE = os.path.dirname(os.path.abspath(__file__))
_TERMINALS = "/sys/class/tty"
# usbmon's format: "Co" is a control transfer to the device. The fields after "s" are the request's
# type, number, value, index, length and data.
_REQUEST = re.compile(r" Co:\d+:\d+:0 s 21 (20|22) (\w{4}) \w{4} \w{4} \d+(?: = ([\w ]+))?")


def as_root(*command):
    """Runs a command as root. Returns its output."""
    done = subprocess.run(["sudo", *command], capture_output=True, text=True)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(command)}: {done.stderr}")
    return done.stdout


def modem_terminals():
    """Returns the names of all USB modem terminals (ttyACM*)."""
    return sorted(name for name in os.listdir(_TERMINALS) if name.startswith("ttyACM"))


def port_name(terminal):
    """Returns the program's name for a terminal: "usbmodem", bus, port and interface number."""
    interface = os.path.basename(os.path.realpath(f"{_TERMINALS}/{terminal}/device"))
    bus, port, _configuration, number = re.fullmatch(r"(\d)-(\d):(\d)\.(\d)", interface).groups()
    return f"usbmodem{bus}{port}{number}"


class UsbScanner(Scanner):
    """A scanner on a USB gadget. The kernel chooses the port's name."""

    _LINE = "--device"

    def __init__(self, desktop, _devices, records=(), **more):
        as_root("bash", f"{_HERE}/../usb-scanner", "create")
        super().__init__(desktop, None, records, node="ttyGS0", **more)

    def _has_opened_line(self):
        """Returns whether the last line of the transcript is "port opened"."""
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
        # Until the simulator opens its end of the line, the terminal echoes the program's commands.
        wait_until(self._has_opened_line, "the simulator to open its terminal")
        before = modem_terminals()
        self._bind("dummy_udc.0")
        wait_until(lambda: len(modem_terminals()) > len(before), "a new terminal")

    def unplug(self):
        before = modem_terminals()
        self._bind("")
        wait_until(lambda: len(modem_terminals()) < len(before), "the terminal to disappear")

    def discard(self):
        self.stop()
        as_root("bash", f"{_HERE}/../usb-scanner", "remove")
        wait_until(lambda: not os.path.exists(self.link), f"{self.link} to disappear")

    def sent_bytes(self):
        """Returns the number of bytes that the scanner has sent since it was switched on."""
        lines = re.findall(r"^[\d.]+ > ((?:[0-9a-f]{2} )+) ", self.transcript(), re.MULTILINE)
        return sum(len(line.split()) for line in lines)

    def wait_for_more_sent(self, before, count):
        wait_until(lambda: self.sent_bytes() >= before + count,
                   lambda: f"{count} bytes sent, not {self.sent_bytes() - before}")


class BusTrace:
    """Records USB transfers with usbmon while the context is active."""

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
        """Returns the SET_LINE_CODING and SET_CONTROL_LINE_STATE requests as text, in order."""
        with open("/tmp/usbmon", encoding="ascii") as trace:
            requests = _REQUEST.findall(trace.read())
        described = []
        for kind, value, data in requests:
            if kind == "22":
                described.append(f"DTR {int(value, 16) & 1} RTS {int(value, 16) >> 1 & 1}")
                continue
            coding = bytes.fromhex(data.replace(" ", ""))
            described.append(f"{int.from_bytes(coding[:4], 'little')} {coding[6]}"
                             f"{'NOEMS'[coding[5]]}{('1', '1.5', '2')[coding[4]]}")
        return described
