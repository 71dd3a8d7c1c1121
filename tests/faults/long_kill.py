"""The program is killed while it writes the file."""

import os
import random
import signal
import time

from fault_case import FOLDER, PATH, FaultTest, some_records
from harness.product import Quillet

_KILLS = 250
_LONGEST_DELAY = 0.030  # seconds from the first sign of the file to the end
_OLD_LINES = 100_000
_PATIENCE = 30  # seconds for a run; one whose wake-ups a stalled machine has kept back never ends


class KillTest(FaultTest):

    def check(self, number):
        """A file of some megabytes to which a run's records are added is the old one or the new one,
        whole, whenever the program is killed."""
        chance = random.Random(number)
        self.begin(some_records(64), auto_sync=1, append_data=1)
        old = "".join(f"{line:08d} a line that was saved yesterday, and that is to stay so\r\n"
                      for line in range(_OLD_LINES))
        new = old + self.text()
        counts = {"old": 0, "new": 0}
        left = 0
        while sum(counts.values()) < _KILLS:
            with open(PATH, "w", encoding="ascii", newline="") as file:
                file.write(old)
            self.quillet = Quillet(self.desktop, self.devices)
            began = self.wait_for_writing()
            time.sleep(chance.uniform(0, _LONGEST_DELAY))
            self.quillet.process.send(signal.SIGKILL)
            self.quillet.process.wait()
            with open(PATH, encoding="utf-8", newline="") as file:
                text = file.read()
            self.assertIn(text, (old, new))
            if not began:
                continue
            counts["old" if text == old else "new"] += 1
            for name in self.temporary_files():
                left += 1
                os.unlink(f"{FOLDER}/{name}")
        print(f"{number}: {_KILLS} kills, {counts}, {left} temporary files left",
              flush=True)
        self.quillet = None

    def temporary_files(self):
        return [name for name in os.listdir(FOLDER) if name.startswith(".out.txt.quillet-")]

    def wait_for_writing(self):
        """Waits for the first sign of the file; says whether there was one."""
        pause = 0.0002
        end = time.monotonic() + _PATIENCE
        before = os.stat(PATH).st_ino
        # On a busy machine the whole writing may fall between two looks.
        while not self.temporary_files() and os.stat(PATH).st_ino == before:
            self.assertTrue(self.quillet.process.is_running(), self.quillet.process.status())
            if time.monotonic() > end:
                return False
            time.sleep(pause)
        return True

    def test_first_kills(self):
        self.check(1)

    def test_second_kills(self):
        self.check(2)

    def test_third_kills(self):
        self.check(3)

    def test_fourth_kills(self):
        self.check(4)
