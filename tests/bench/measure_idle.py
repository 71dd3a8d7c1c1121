"""Measures the processor time of the idle program.

Baseline: idle_loop, which runs at the same time.
"""

import os
import time

from harness.case import SystemTest
from harness.processes import Process

_ROUNDS = 16
_SPAN = 5.0  # seconds
_PORTS = 32  # the maximum that the program lists


def _processor_seconds(pid):
    """Returns the processor time of all threads of a process."""
    total = 0
    for task in os.listdir(f"/proc/{pid}/task"):
        with open(f"/proc/{pid}/task/{task}/schedstat", encoding="ascii") as schedstat:
            total += int(schedstat.read().split()[0])
    return total / 1e9


class Idle(SystemTest):

    def setUp(self):
        super().setUp()
        # umockdev intercepts each read. Both processes preload it, so that the cost is the same.
        self._environment = self.desktop.environment | self.devices.environment

    def _measure(self, name, *line):
        folder = os.path.dirname(os.environ["SYSTEM_TEST_QUILLET"])
        loop = Process("idle_loop", [f"{folder}/idle_loop", *line], self._environment)
        self.addCleanup(loop.stop)
        pids = (self.quillet.pid, loop.pid)
        time.sleep(1)
        for _ in range(_ROUNDS):
            before = [_processor_seconds(pid) for pid in pids]
            time.sleep(_SPAN)
            after = [_processor_seconds(pid) for pid in pids]
            self.assertTrue(loop.is_running(), loop.output())
            spent = (end - start for start, end in zip(before, after))
            print("figure", name, *spent, sep="\t", flush=True)

    def test_measures_idle_processor_time(self):
        self.plugged_in_scanner()
        other = self.scanner(node="ttyACM1", place="3-2:1.0")
        other.switch_on()  # only idle_loop reads this port; the program gets no event
        self.start_connected()
        self._measure("idle-connected", other.link)
        self.quillet.press("Disconnect")
        self.quillet.wait_for_connect_label("Connect")
        time.sleep(1)
        self._measure("idle-disconnected")
        self.quillet.choose_port(1)
        self.quillet.press("Connect")
        self.quillet.wait_for_connect_label("Disconnect")
        for number in range(1, _PORTS):
            self.devices.add_scanner(f"ttyACM{number}", f"4-{number}:1.0")
            self.log.wait_for(f"-[SyncController updatePortList:][{number + 1}]")
        self._measure("idle-ports", other.link)
