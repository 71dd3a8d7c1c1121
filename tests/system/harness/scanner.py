"""A simulated scanner and the USB socket that it is plugged into."""

import dataclasses
import itertools
import os
import re
import subprocess

from harness.processes import Process
from harness.waiting import wait_until

_RECEIVED = re.compile(r"^[\d.]+ < ((?:[0-9a-f]{2} )+) ", re.MULTILINE)
_CLOCK_COMMAND = re.compile(rb"w1#C(.{6})", re.DOTALL)


@dataclasses.dataclass
class Record:
    """One scan as the scanner has stored it."""

    symbology: int  # the byte; 0xFF is an erased slot
    data: bytes
    time: str  # "YYYY-MM-DD HH:MM:SS"

    def table_line(self):
        data = "".join(f"\\x{byte:02x}" if byte < 0x20 or byte >= 0x7F or byte in b'\\"' else
                       chr(byte) for byte in self.data)
        return f'0x{self.symbology:02x},"{data}",{self.time}\n'


def some_records(count):
    """Records that all differ."""
    return [Record(symbology=number % 10, data=b"%012d" % (4_006_381_000_000 + 37 * number),
                   time=f"2026-11-{1 + number // 60 % 28:02d} {number % 24:02d}:{number % 60:02d}:"
                        f"{number * 7 % 60:02d}")
            for number in range(count)]


class Scanner:
    """Holds its records from the start; is at the computer from plug_in() on.

    `faults` is what goes wrong with it, as "on P delay 700"; `options` are further words of the
    simulator's command line.
    """

    _LINE = "--link"

    def __init__(self, desktop, devices, records=(), *, serial="2104005771", model="old",
                 node="ttyACM0", place="3-1:1.0", faults=(), options=()):
        self._desktop = desktop
        self._devices = devices
        self._node = node
        self._place = place
        self._terminal = None
        self._process = None
        base = f"/tmp/{node}"
        self.link = f"/dev/{node}"
        self.transcript_path = f"{base}.transcript"
        with open(f"{base}.csv", "w", encoding="ascii") as table:
            table.writelines(record.table_line() for record in records)
        with open(f"{base}.faults", "w", encoding="utf-8") as script:
            script.writelines(rule + "\n" for rule in faults)
        self._command = [os.environ["SYSTEM_TEST_SIMULATOR"], "--csv", f"{base}.csv",
                         "--faults", f"{base}.faults", self._LINE, self.link,
                         "--transcript", self.transcript_path, "--serial", serial,
                         "--model", model, *options]

    # The line

    def switch_on(self):
        """Its terminal is there from now on, although the computer is not told yet."""
        self._process = Process(f"simulator-{self._node}", self._command,
                                self._desktop.environment, stdin=subprocess.PIPE,
                                stdout=subprocess.PIPE)
        self._expect_ready(self._read_line())

    def _expect_ready(self, line):
        if line != f"ready {self.link}":
            raise AssertionError(f"the simulator says {line!r}\n{self._process.output()}")

    def _read_line(self):
        return self._process.stdout.readline().decode().rstrip("\n")

    def _tell(self, line):
        self._process.stdin.write(line.encode() + b"\n")
        self._process.stdin.flush()
        return self._read_line()

    def _tell_expecting_ok(self, line):
        answer = self._tell(line)
        if answer != "ok":
            raise AssertionError(f"{line}: {answer}")

    # The cable

    def plug_in(self):
        if self._process is None:
            self.switch_on()
        elif not os.path.lexists(self.link):
            self._expect_ready(self._tell("plug"))
        self._terminal = self._devices.add_scanner(self._node, self._place)

    def unplug(self):
        self._tell_expecting_ok("unplug")
        self.leave_socket()

    def leave_socket(self):
        """The computer notices that the scanner has gone, whose line is down already."""
        self._devices.remove(self._terminal)

    def wait_until_line_is_down(self):
        wait_until(lambda: not os.path.lexists(self.link), f"{self.link} to go")

    # What happens to it

    def scan(self, symbology, data):
        """Somebody scans a barcode."""
        self._tell_expecting_ok(f"scan 0x{symbology:02x} {data}")

    def fault(self, rule):
        """One more thing that goes wrong from now on."""
        self._tell_expecting_ok(f"fault {rule}")

    # What it has seen

    def all_commands(self):
        """What the computer has sent since the scanner was switched on."""
        _name, count = self._tell("commands").split()
        return [self._read_line().strip() for _ in range(int(count))]

    def commands(self):
        """The same, with one attempt to wake the scanner where there were several in a row: on a
        busy machine the scanner may not get to answer within the half second that it is given."""
        commands = self.all_commands()
        return [command for before, command in itertools.pairwise(["", *commands])
                if (before, command) != ("W", "W")]

    def wait_for_commands(self, expected):
        """Waits until these are all the commands."""
        wait_until(lambda: self.commands() == expected,
                   lambda: f"{expected}; there are {self.commands()}")

    def record_count(self):
        return int(self._tell("records").split()[1])

    def clock_settings(self):
        """The clock commands: year minus 2000, month, day, hour, minute, second of each."""
        received = b"".join(bytes.fromhex(line) for line in _RECEIVED.findall(self.transcript()))
        return [tuple(fields) for fields in _CLOCK_COMMAND.findall(received)]

    def transcript(self):
        with open(self.transcript_path, encoding="utf-8") as transcript:
            return transcript.read()

    def stop(self):
        """Switches it off; returns what it found wrong with the computer, which is nothing."""
        if self._process is None:
            return ""
        self._process.stop()
        return self._process.output()
