"""Measures the processor time of the idle program, and how soon it reads incoming data."""

import os
import random
import select
import threading
import time

from harness.case import Settings, SystemTest, wait_until

_ROUNDS = 9
_SPAN = 5.0  # seconds
_PORTS = 32  # the maximum that the program lists

_SCANS = 60
_SILENCE = 2.0  # seconds; after one silent second, the system may delay the program's timers
_LATEST_READ = 10  # ms
_LIMIT = 5.0  # seconds


def _processor_seconds(pid):
    """Returns the processor time of all threads of a process."""
    total = 0
    for task in os.listdir(f"/proc/{pid}/task"):
        with open(f"/proc/{pid}/task/{task}/schedstat", encoding="ascii") as schedstat:
            total += int(schedstat.read().split()[0])
    return total / 1e9


def _time_unread(line):
    """Polls a terminal until data has arrived and has been read.

    Returns an upper bound on the time that the data was unread, in seconds. If no poll found unread
    data, returns the longest time between two polls.
    """
    start = before = time.monotonic()
    arrived = None
    longest = 0
    while True:
        readable, _, _ = select.select([line], [], [], 0)
        now = time.monotonic()
        longest = max(longest, now - before)
        if readable and arrived is None:
            arrived = before
        if arrived is not None and not readable:
            return now - arrived
        if now - start > _LIMIT:
            if readable:
                raise AssertionError("unread input")
            return longest
        before = now


class Idle(SystemTest):

    def _measure(self, name):
        time.sleep(1)
        for _ in range(_ROUNDS):
            before = _processor_seconds(self.quillet.pid)
            time.sleep(_SPAN)
            spent = _processor_seconds(self.quillet.pid) - before
            print("figure", name, spent, _SPAN / 100, sep="\t", flush=True)

    def test_measures_idle_processor_time(self):
        self.plugged_in_scanner()
        other = self.scanner(node="ttyACM1", place="3-2:1.0")
        other.switch_on()
        self.start_connected()
        self._measure("idle-connected")
        self.quillet.press("Disconnect")
        self.quillet.wait_for_connect_label("Connect")
        self._measure("idle-disconnected")
        self.quillet.choose_port(1)
        self.quillet.press("Connect")
        self.quillet.wait_for_connect_label("Disconnect")
        for number in range(1, _PORTS):
            self.devices.add_scanner(f"ttyACM{number}", f"4-{number}:1.0")
            self.log.wait_for(f"-[SyncController updatePortList:][{number + 1}]")
        self._measure("idle-ports")

    def test_measures_time_to_first_read(self):
        """Measures how soon the program reads the first byte of a scan. Sleeps before each scan,
        because polling would keep the processor busy and shorten the program's pauses."""
        Settings(destination=1).save()
        scanner = self.plugged_in_scanner()
        self.start_connected()
        line = os.open(scanner.link, os.O_RDONLY | os.O_NONBLOCK | os.O_NOCTTY)
        self.addCleanup(os.close, line)
        for number in range(_SCANS):
            time.sleep(_SILENCE + random.uniform(0, 0.02))
            scan = threading.Thread(target=scanner.scan, args=(0, f"{number:012d}"))
            scan.start()
            delay = 1e3 * _time_unread(line)
            scan.join()
            print("figure", "first-read", delay, _LATEST_READ, sep="\t", flush=True)
        wait_until(lambda: self.quillet.view().count("\n") == _SCANS, "all scans in the view")
