"""Measures the processor time of the idle program."""

import os
import time

from harness.case import SystemTest

_ROUNDS = 9
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
