"""A simulated scanner and its USB cable."""

import dataclasses
import itertools
import os
import re
import subprocess
import tempfile

from harness.processes import Process
from harness.waiting import wait_until

_RECEIVED = re.compile(r"^[\d.]+ < ((?:[0-9a-f]{2} )+) ", re.MULTILINE)
_CLOCK_COMMAND = re.compile(rb"w1#C(.{6})", re.DOTALL)


@dataclasses.dataclass
class Record:
    """A record in the scanner's memory."""

    symbology: int  # one byte; 0xFF marks an erased slot
    data: bytes
    time: str  # "YYYY-MM-DD HH:MM:SS"

    def table_line(self):
        data = "".join(f"\\x{byte:02x}" if byte < 0x20 or byte >= 0x7F or byte in b'\\"' else
                       chr(byte) for byte in self.data)
        return f'0x{self.symbology:02x},"{data}",{self.time}\n'


def some_records(count):
    """Returns `count` different records."""
    return [Record(symbology=number % 10, data=b"%012d" % (4_006_381_000_000 + 37 * number),
                   time=f"2026-11-{1 + number // 60 % 28:02d} {number % 24:02d}:{number % 60:02d}:"
                        f"{number * 7 % 60:02d}")
            for number in range(count)]


class Scanner:
    """A simulator process with a table of records. plug_in() connects it to the computer.

    `faults` are lines of the simulator's fault script, for example "on P delay 700". `options` are
    added to the simulator's command line.
    """

    _LINE = "--link"
    _FOLDER = "/dev"  # folder of `link`, the path of the terminal
    _USER = []  # command prefix that runs the simulator as another user

    def __init__(self, desktop, devices, records=(), *, serial="2104005771", model="old",
                 node="ttyACM0", place="3-1:1.0", faults=(), options=()):
        self._desktop = desktop
        self._devices = devices
        self._node = node
        self._place = place
        self._terminal = None
        self._process = None
        base = f"{tempfile.gettempdir()}/{node}"
        self.link = f"{self._FOLDER}/{node}"
        self.transcript_path = f"{base}.transcript"
        with open(f"{base}.csv", "w", encoding="ascii") as table:
            table.writelines(record.table_line() for record in records)
        with open(f"{base}.faults", "w", encoding="utf-8") as script:
            script.writelines(rule + "\n" for rule in faults)
        self._command = [*self._USER, os.environ["SYSTEM_TEST_SIMULATOR"],
                         "--csv", f"{base}.csv", "--faults", f"{base}.faults", self._LINE, self.link,
                         "--transcript", self.transcript_path, "--serial", serial,
                         "--model", model, *options]

    def switch_on(self):
        """Starts the simulator, which creates the terminal. The program receives no event."""
        self._process = Process(f"simulator-{self._node}", self._command,
                                self._desktop.environment, stdin=subprocess.PIPE,
                                stdout=subprocess.PIPE)
        self._expect_ready(self._read_line())

    def _expect_ready(self, line):
        if line != f"ready {self.link}":
            raise AssertionError(f"the simulator printed {line!r}\n{self._process.output()}")

    def _read_line(self):
        return self._process.stdout.readline().decode().rstrip("\n")

    def _send(self, line):
        self._process.stdin.write(line.encode() + b"\n")
        self._process.stdin.flush()
        return self._read_line()

    def _send_expecting_ok(self, line):
        answer = self._send(line)
        if answer != "ok":
            raise AssertionError(f"{line}: {answer}")

    # The cable

    def plug_in(self):
        if self._process is None:
            self.switch_on()
        elif not os.path.lexists(self.link):
            self._expect_ready(self._send("plug"))
        self._terminal = self._devices.add_scanner(self._node, self._place)

    def unplug(self):
        self.hang_up()
        self.remove_device()

    def hang_up(self):
        """Closes the line. The program receives no event."""
        self._send_expecting_ok("unplug")

    def remove_device(self):
        """Removes the device. Its line must already be closed."""
        self._devices.remove(self._terminal)

    def wait_until_line_is_closed(self):
        """Waits until an "unplug" fault closes the line."""
        wait_until(lambda: not os.path.lexists(self.link), f"{self.link} to disappear")

    def wait_until_unplugged(self):
        """Waits until a fault closes the line, then removes the device."""
        self.wait_until_line_is_closed()
        self.remove_device()

    # Faults and events

    def scan(self, symbology, data):
        """Scans a barcode."""
        self._send_expecting_ok(f"scan 0x{symbology:02x} {data}")

    def fault(self, *rules):
        """Adds rules to the fault script."""
        for rule in rules:
            self._send_expecting_ok(f"fault {rule}")

    # Results

    def all_commands(self):
        """Returns the commands that the scanner has received since it was switched on."""
        _name, count = self._send("commands").split()
        return [self._read_line().strip() for _ in range(int(count))]

    def commands(self):
        """Returns the received commands, with consecutive wake-ups merged. On a busy machine, the
        program may repeat a wake-up because the answer takes longer than 0.5 s."""
        commands = self.all_commands()
        return [command for before, command in itertools.pairwise(["", *commands])
                if (before, command) != ("W", "W")]

    def wait_for_commands(self, expected):
        wait_until(lambda: self.commands() == expected,
                   lambda: f"commands {expected}, not {self.commands()}")

    def record_count(self):
        return int(self._send("records").split()[1])

    def clock_settings(self):
        """Returns the received clock settings: year - 2000, month, day, hour, minute, second."""
        received = b"".join(bytes.fromhex(line) for line in _RECEIVED.findall(self.transcript()))
        return [tuple(fields) for fields in _CLOCK_COMMAND.findall(received)]

    def transcript(self):
        with open(self.transcript_path, encoding="utf-8") as transcript:
            return transcript.read()

    def stop(self):
        """Switches the scanner off. Returns the simulator's error messages about invalid commands."""
        if self._process is None:
            return ""
        self._process.stop()
        return self._process.output()

    def discard(self):
        """Removes the scanner after a test."""
        self.stop()
