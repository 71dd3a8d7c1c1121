"""Kills the program while it writes the file."""

import os
import random
import time

from fault_case import FOLDER, OUTPUT, FaultTest, some_records
from harness.product import Quillet

_KILLS = 250
_LONGEST_DELAY = 0.030  # seconds from the start of writing to the kill
_OLD_LINES = 100_000
_TIMEOUT = 30  # seconds until the program must have begun to write


class KillTest(FaultTest):

    def check(self, seed):
        """Kills the program at random times while it appends records to a file of 6.6 MB.
        Afterwards, the file must have either its complete old or its complete new contents."""
        chance = random.Random(seed)
        self.begin(some_records(64), auto_sync=1, append_data=1)
        old = "".join(f"{line:08d} a line that was saved yesterday and must remain intact.\r\n"
                      for line in range(_OLD_LINES))
        new = old + self.text()
        counts = {"old": 0, "new": 0}
        left = 0
        while sum(counts.values()) < _KILLS:
            with open(OUTPUT, "w", encoding="ascii", newline="") as file:
                file.write(old)
            self.quillet = Quillet(self.desktop, self.devices)
            began = self.wait_for_writing()
            time.sleep(chance.uniform(0, _LONGEST_DELAY))
            self.quillet.kill()
            with open(OUTPUT, encoding="utf-8", newline="") as file:
                text = file.read()
            self.assertIn(text, (old, new))
            if not began:
                continue
            counts["old" if text == old else "new"] += 1
            for name in self.temporary_files():
                left += 1
                os.unlink(f"{FOLDER}/{name}")
        print(f"{seed}: {_KILLS} kills, {counts}, {left} temporary files left", flush=True)
        self.quillet = None

    def temporary_files(self):
        return [name for name in os.listdir(FOLDER) if name.startswith(".out.txt.quillet-")]

    def wait_for_writing(self):
        """Waits until the program begins to write. Returns False after a time-out."""
        end = time.monotonic() + _TIMEOUT
        before = os.stat(OUTPUT).st_ino
        # A new inode number means that the file was already replaced.
        while not self.temporary_files() and os.stat(OUTPUT).st_ino == before:
            self.assertTrue(self.quillet.process.is_running(), self.quillet.process.status())
            if time.monotonic() > end:
                return False
            time.sleep(0.0002)
        return True

    def test_kill_while_writing_keeps_file_intact_seed_1(self):
        self.check(1)

    def test_kill_while_writing_keeps_file_intact_seed_2(self):
        self.check(2)

    def test_kill_while_writing_keeps_file_intact_seed_3(self):
        self.check(3)

    def test_kill_while_writing_keeps_file_intact_seed_4(self):
        self.check(4)
