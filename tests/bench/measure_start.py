"""Measures the time from launch until the window is painted, and the memory use when idle.

Baseline: a window with the same controls, which do nothing.
"""

import os
import re
import signal
import subprocess
import time

from harness.case import SystemTest
from harness.waiting import wait_until

_ROUNDS = 9
_SETTLING = 2.0  # seconds from the first paint until the program is idle


def _resident_mebibytes(pid):
    with open(f"/proc/{pid}/status", encoding="ascii") as status:
        return int(re.search(r"VmRSS:\s+(\d+) kB", status.read()).group(1)) / 1024


class Start(SystemTest):

    def test_measures_startup_time_and_memory(self):
        """Starts Quillet and the baseline alternately. The first round is a warm-up."""
        folder = os.path.dirname(os.environ["SYSTEM_TEST_QUILLET"])
        environment = self.desktop.environment | self.devices.environment
        for round_number in range(_ROUNDS + 1):
            figures = [self._start_once(f"{folder}/first_paint", program, environment)
                       for program in (os.environ["SYSTEM_TEST_QUILLET"], f"{folder}/empty_window")]
            if round_number:
                for name, values in zip(("start", "memory"), zip(*figures)):
                    print("figure", name, *values, sep="\t", flush=True)

    def _start_once(self, first_paint, program, environment):
        """Returns the time to the first paint in seconds and the idle resident memory in MiB."""
        done = subprocess.run([first_paint, program], env=environment, stdout=subprocess.PIPE,
                              check=True, text=True)
        seconds, pid = done.stdout.split()
        time.sleep(_SETTLING)
        memory = _resident_mebibytes(pid)
        os.kill(int(pid), signal.SIGKILL)
        wait_until(lambda: not self._is_running(pid), "the program to exit")
        time.sleep(0.3)  # until the X server has removed the window
        return float(seconds), memory

    def _is_running(self, pid):
        try:
            with open(f"/proc/{pid}/stat", encoding="ascii") as stat:
                return stat.read().rpartition(")")[2].split()[0] != "Z"
        except FileNotFoundError:
            return False
